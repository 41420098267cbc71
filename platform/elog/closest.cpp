#include "platform/elog/closest.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace velorix {
namespace {

constexpr size_t kLongestWord = 64;  // the cost is the product of the lengths
constexpr size_t kShortestStem = 4;  // "--out" begins "--output"; a letter or two begin anything

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// Levenshtein (1966) distance, letters compared without case.
size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = diagonal + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row[b.size()];
}

bool one_begins_the_other(std::string_view a, std::string_view b) {
    return std::min(a.size(), b.size()) >= kShortestStem && (a.starts_with(b) || b.starts_with(a));
}

}  // namespace

const char* closest(std::string_view word, std::span<const char* const> known) {
    word = word.substr(0, kLongestWord);
    const char* best = nullptr;
    const size_t furthest = std::max<size_t>(2, word.size() / 3);
    size_t best_distance = furthest + 1;
    for (const char* candidate : known) {
        const std::string_view dotted(candidate);
        const std::string_view name = dotted.substr(dotted.rfind('.') + 1);
        size_t away = edit_distance(word, name);
        if (one_begins_the_other(word, name)) away = std::min(away, furthest);
        if (away < best_distance) {
            best = candidate;
            best_distance = away;
        }
    }
    return best;
}

}  // namespace velorix
