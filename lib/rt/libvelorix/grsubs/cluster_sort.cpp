#include "grsubs/cluster_sort.h"

#include <algorithm>
#include <cmath>

namespace velorix {
namespace {

using Cell = ClusterScratch::Cell;

// Not-a-number sorts last, so that the order is total whatever the input.
bool before(const Cell& a, const Cell& b) {
    if (a.value != b.value) {
        if (std::isnan(a.value)) return !std::isnan(b.value) ? false : a.number < b.number;
        if (std::isnan(b.value)) return true;
        return a.value < b.value;
    }
    return a.number < b.number;
}

void insertion_sort(Cell* first, Cell* last) {
    for (Cell* next = first + 1; next < last; ++next) {
        const Cell cell = *next;
        Cell* place = next;
        for (; place > first && cell.value < place[-1].value; --place) *place = place[-1];
        *place = cell;
    }
}

// Up to here insertion beats std::sort (cells of 16 bytes, measured on random values).
constexpr int kInsertionLimit = 24;

void sort_run(Cell* first, Cell* last) {
    if (last - first <= kInsertionLimit) {
        insertion_sort(first, last);
    } else {
        std::sort(first, last, before);
    }
}

// Puts the cells into their buckets; returns the size of the largest.
int32_t fill_buckets(int n, double low, double scale, ClusterScratch& scratch) {
    int32_t* ends = scratch.bucket_end.data();
    int32_t largest = 0;
    std::fill(ends, ends + n + 1, 0);
    for (int i = 0; i < n; ++i) {
        Cell& cell = scratch.cells[static_cast<size_t>(i)];
        cell.bucket = static_cast<int32_t>((cell.value - low) * scale);
        ++ends[cell.bucket + 1];
    }
    for (int i = 0; i < n; ++i) {
        largest = std::max(largest, ends[i + 1]);
        ends[i + 1] += ends[i];
    }
    for (int i = 0; i < n; ++i) {
        const Cell& cell = scratch.cells[static_cast<size_t>(i)];
        scratch.sorted[static_cast<size_t>(ends[cell.bucket]++)] = cell;
    }
    return largest;
}

void sort_crowded_buckets(int n, ClusterScratch& scratch) {
    Cell* sorted = scratch.sorted.data();
    int32_t start = 0;
    for (int i = 0; i < n; ++i) {
        const int32_t end = scratch.bucket_end[static_cast<size_t>(i)];
        if (end - start > kInsertionLimit) std::sort(sorted + start, sorted + end, before);
        start = end;
    }
}

// The order of a neighbouring node needs few moves; false when it takes more than `limit`.
bool sort_from_last_order(int n, const double* value, Cell* sorted, int limit) {
    for (int i = 0; i < n; ++i) {
        const int32_t number = sorted[i].number;
        const Cell cell{value[number], number, 0};
        int place = i;
        for (; place > 0 && before(cell, sorted[place - 1]); --place) {
            sorted[place] = sorted[place - 1];
        }
        sorted[place] = cell;
        limit -= i - place;
        if (limit < 0) return false;
    }
    return true;
}

// Origin-time candidates spread over their range, so equal slices of it hold about one each and the
// sort is linear; crowded slices are sorted on their own, which bounds the whole by n log n.
void sort_afresh(int n, ClusterScratch& scratch) {
    Cell* sorted = scratch.sorted.data();
    const Cell* cells = scratch.cells.data();
    double low = cells[0].value;
    double high = low;
    bool nan = std::isnan(low);
    for (int i = 1; i < n; ++i) {
        low = std::min(low, cells[i].value);
        high = std::max(high, cells[i].value);
        nan = nan || std::isnan(cells[i].value);
    }
    const double scale = (n - 1) / (high - low);
    if (n <= kInsertionLimit || nan || !std::isfinite(scale) || scale <= 0) {
        std::copy(cells, cells + n, sorted);
        if (nan) {
            std::sort(sorted, sorted + n, before);
        } else {
            sort_run(sorted, sorted + n);
        }
        return;
    }
    if (fill_buckets(n, low, scale, scratch) > kInsertionLimit) sort_crowded_buckets(n, scratch);
    // Within the buckets that are left most cells are in place.
    insertion_sort(sorted, sorted + n);
}

}  // namespace

void sort_candidates(int n, const double* value, ClusterScratch& scratch) {
    // Of more candidates so many change places from node to node that sorting afresh is faster
    // (measured with 80, 300 and 1200).
    constexpr int kFewCandidates = 128;
    constexpr int kMovesPerCandidate = 2;
    if (n <= kFewCandidates && scratch.nsorted == n &&
        sort_from_last_order(n, value, scratch.sorted.data(), kMovesPerCandidate * n)) {
        return;
    }
    for (int k = 0; k < n; ++k) scratch.cells[static_cast<size_t>(k)] = {value[k], k, 0};
    sort_afresh(n, scratch);
    scratch.nsorted = n;
}

}  // namespace velorix
