#include "setupgrid/heap_check.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

// Logs what is wrong at a byte of the heap; false always.
__attribute__((format(printf, 3, 4))) bool fault(const HeapPlace& place, uint64_t byte,
                                                 const char* format, ...) {
    char what[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(what, sizeof what, format, arguments);
    va_end(arguments);
    elog_log(0, "%s: %s: byte %llu: %s\n", place.who, place.label,
             static_cast<unsigned long long>(place.offset + byte), what);
    return false;
}

/// A header field and the value that the fields before it leave no choice about.
struct Expected {
    const char* name;
    size_t offset;
    int64_t found;
    int64_t value;
};

bool check_codes(const Velorix& grid, const HeapPlace& place) {
    if (grid.mode != VELORIX_MODE_GENERAL && grid.mode != VELORIX_MODE_REGULAR)
        return fault(place, offsetof(Velorix, mode), "unknown grid mode %d.", grid.mode);
    const bool table = grid.type == VELORIX_TYPE_1D;
    if (grid.type != VELORIX_TYPE_3D && !table)
        return fault(place, offsetof(Velorix, type), "unknown grid type %d.", grid.type);
    if (table && grid.mode == VELORIX_MODE_GENERAL)
        return fault(place, offsetof(Velorix, type), "a general mesh has no distance table.");
    if (table && (grid.ndist < 1 || grid.ndist > kMostDistanceSamples))
        return fault(place, offsetof(Velorix, ndist), "%d distance samples, expected 1 to %d.",
                     grid.ndist, kMostDistanceSamples);
    if (table && !grid.distances)
        return fault(place, offsetof(Velorix, distances), "a distance table without distances.");
    if (table && !grid.ttoffsets)
        return fault(place, offsetof(Velorix, ttoffsets), "a distance table without offsets.");
    if (!table && grid.ttoffsets)
        return fault(place, offsetof(Velorix, ttoffsets), "offsets without a distance table.");
    return true;
}

bool check_counts(const Velorix& grid, const HeapPlace& place) {
    const Expected counts[] = {
        {"ns", offsetof(Velorix, ns), grid.ns, 0}, {"nn", offsetof(Velorix, nn), grid.nn, 0},
        {"nh", offsetof(Velorix, nh), grid.nh, 0}, {"nd", offsetof(Velorix, nd), grid.nd, 0},
        {"ny", offsetof(Velorix, ny), grid.ny, 0}, {"nx", offsetof(Velorix, nx), grid.nx, 0}};
    for (const Expected& count : counts) {
        if (count.found < 0)
            return fault(place, count.offset, "%s is negative (%lld).", count.name,
                         static_cast<long long>(count.found));
    }
    return true;
}

// Products of three counts may exceed 64 bits: anything beyond a heap's limit is as good as any.
int64_t product(int64_t a, int64_t b) {
    int64_t result = 0;
    return __builtin_mul_overflow(a, b, &result) ? INT64_MAX : result;
}

bool check_sizes(const Velorix& grid, const HeapPlace& place) {
    const bool general = grid.mode == VELORIX_MODE_GENERAL;
    const bool table = grid.type == VELORIX_TYPE_1D;
    const int64_t nh = general ? grid.nn : product(grid.nx, grid.ny);
    const int64_t pairs = product(grid.nn, grid.ns);
    const int64_t ttsize = product(table ? product(grid.ndist, grid.nd) : pairs, 4);
    const int64_t dssize = !grid.distances ? 0 : table ? product(grid.ndist, 4) : ttsize;
    const Expected sizes[] = {
        {"nh", offsetof(Velorix, nh), grid.nh, nh},
        {"nn", offsetof(Velorix, nn), grid.nn, general ? nh : product(nh, grid.nd)},
        {"nd", offsetof(Velorix, nd), grid.nd, general ? 1 : grid.nd},
        {"ny", offsetof(Velorix, ny), grid.ny, general ? 0 : grid.ny},
        {"nx", offsetof(Velorix, nx), grid.nx, general ? 0 : grid.nx},
        {"ndist", offsetof(Velorix, ndist), grid.ndist, table ? grid.ndist : 0},
        {"dpsize", offsetof(Velorix, dpsize), grid.dpsize, product(grid.nd, 8)},
        {"dssize", offsetof(Velorix, dssize), grid.dssize, dssize},
        {"ttsize", offsetof(Velorix, ttsize), grid.ttsize, ttsize},
        {"srsize", offsetof(Velorix, srsize), grid.srsize, product(nh, sizeof(Source))},
        {"stsize", offsetof(Velorix, stsize), grid.stsize, product(grid.ns, sizeof(Station))},
        {"ttosize", offsetof(Velorix, ttosize), grid.ttosize,
         table ? product(product(grid.ns, nh), 2) : 0}};
    for (const Expected& size : sizes) {
        if (size.found != size.value)
            return fault(place, size.offset, "%s is %lld, expected %lld.", size.name,
                         static_cast<long long>(size.found), static_cast<long long>(size.value));
    }
    // No position bounds the other count of such a mesh.
    if (nh == 0 && grid.nx + int64_t{grid.ny} > 0)
        return fault(place, offsetof(Velorix, ny), "%d rows of %d columns.", grid.ny, grid.nx);
    return true;
}

bool check_total(const Velorix& grid, const HeapPlace& place) {
    const int64_t tables = (grid.P_times ? 1 : 0) + (grid.S_times ? 1 : 0);
    const int64_t total = kHeaderSize + grid.stsize + grid.dpsize + grid.srsize +
                          padded(grid.dssize) + tables * padded(grid.ttsize) + padded(grid.ttosize);
    if (total == grid.size) return true;
    return fault(place, offsetof(Velorix, size), "size is %d, but the blocks add up to %lld.",
                 grid.size, static_cast<long long>(total));
}

bool check_stations(const Velorix& grid, const char* heap, const HeapPlace& place, Arr* map) {
    for (const Station& station : stations(grid)) {
        const auto at = static_cast<uint64_t>(reinterpret_cast<const char*>(&station) - heap);
        const auto number = static_cast<int>(&station - grid.stations);
        if (!std::memchr(station.sta, 0, sizeof station.sta) || !station.sta[0])
            return fault(place, at + offsetof(Station, sta), "station %d has no valid code.",
                         number);
        if (!std::isfinite(station.lat) || !std::isfinite(station.lon) ||
            !std::isfinite(station.elev))
            return fault(place, at, "station %s has no finite position.", station.sta);
        if (station.index != number)
            return fault(place, at + offsetof(Station, index), "station %s has index %d, not %d.",
                         station.sta, station.index, number);
        if (getarr(map, station.sta))
            return fault(place, at + offsetof(Station, sta), "station %s stands twice.",
                         station.sta);
        if (setarr(map, station.sta, const_cast<Station*>(&station)) < 0) throw std::bad_alloc();
    }
    return true;
}

bool check_positions(const Velorix& grid, const char* heap, const HeapPlace& place) {
    for (const Source& source : sources(grid)) {
        if (std::isfinite(source.lat) && std::isfinite(source.lon) && std::isfinite(source.depth))
            continue;
        const auto at = static_cast<uint64_t>(reinterpret_cast<const char*>(&source) - heap);
        return fault(place, at, "position %d is not finite.",
                     static_cast<int>(&source - grid.sources));
    }
    for (const double& depth : depths(grid)) {
        if (std::isfinite(depth)) continue;
        const auto at = static_cast<uint64_t>(reinterpret_cast<const char*>(&depth) - heap);
        return fault(place, at, "depth %d is not finite.", static_cast<int>(&depth - grid.depths));
    }
    return true;
}

bool check_offsets(const Velorix& grid, const char* heap, const HeapPlace& place) {
    if (!grid.ttoffsets) return true;
    const size_t count = static_cast<size_t>(grid.ns) * static_cast<size_t>(grid.nh);
    for (size_t i = 0; i < count; ++i) {
        if (grid.ttoffsets[i] < grid.ndist) continue;
        const auto at =
            static_cast<uint64_t>(reinterpret_cast<const char*>(grid.ttoffsets + i) - heap);
        return fault(place, at, "distance sample %d, but there are %d.", grid.ttoffsets[i],
                     grid.ndist);
    }
    return true;
}

}  // namespace

bool read_header(const char* heap, uint64_t available, const HeapPlace& place, Velorix& grid) {
    if (available < static_cast<uint64_t>(kHeaderSize))
        return fault(place, available, "the file ends within a grid header of %lld bytes.",
                     static_cast<long long>(kHeaderSize));
    std::memcpy(&grid, heap, sizeof(Velorix));
    // The writer's own addresses; nothing of a record that fails its checks may be released.
    grid.depths = nullptr;
    grid.sources = nullptr;
    grid.stations = nullptr;
    grid.sta_arr = nullptr;
    if (grid.magic != VELORIX_MAGIC)
        return fault(place, 0, "not a grid: the magic is 0x%08X, expected 0x%08X.",
                     static_cast<unsigned>(grid.magic), static_cast<unsigned>(VELORIX_MAGIC));
    if (!check_codes(grid, place) || !check_counts(grid, place) || !check_sizes(grid, place) ||
        !check_total(grid, place)) {
        return false;
    }
    if (static_cast<uint64_t>(grid.size) > available)
        return fault(place, available, "the file ends within grid '%.64s' of %d bytes.", grid.name,
                     grid.size);
    return true;
}

bool check_contents(const Velorix& grid, const char* heap, const HeapPlace& place, Arr** map) {
    OwnedArr codes(newarr(nullptr));
    if (!codes) throw std::bad_alloc();
    if (!check_stations(grid, heap, place, codes.get()) || !check_positions(grid, heap, place) ||
        !check_offsets(grid, heap, place)) {
        return false;
    }
    *map = codes.release();
    return true;
}

}  // namespace velorix
