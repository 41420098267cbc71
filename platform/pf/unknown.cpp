// Keys that nobody reads: a typed error in a key name must not silently do nothing.
#include <algorithm>
#include <new>
#include <numeric>
#include <span>
#include <string_view>

#include "platform/elog/elog.h"
#include "platform/pf/tree.h"

namespace {

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

// The known key that a person most likely meant, or null when none is near.
const char* closest(std::string_view key, std::span<const char* const> known) {
    const char* best = nullptr;
    size_t best_distance = std::max<size_t>(2, key.size() / 3) + 1;
    for (const char* candidate : known) {
        const size_t distance = edit_distance(key.substr(0, 64), candidate);
        if (distance < best_distance) {
            best = candidate;
            best_distance = distance;
        }
    }
    return best;
}

void complain(const Pf& node, const char* where, const char* meant) {
    const std::string at = velorix::pf::location(node);
    if (meant) {
        elog_complain(0, "%s: unknown key '%s' in %s, did you mean '%s'?\n", at.c_str(),
                      node.name.c_str(), where, meant);
    } else {
        elog_complain(0, "%s: unknown key '%s' in %s\n", at.c_str(), node.name.c_str(), where);
    }
}

}  // namespace

extern "C" int pf_complain_unknown(Pf* pf, const char* where, const char* const* known,
                                   int nknown) {
    if (!pf || !where || !known || nknown < 0) return 0;
    const std::span<const char* const> names(known, static_cast<size_t>(nknown));
    int count = 0;
    try {
        for (const auto& [key, node] : pf->children) {
            const std::string& text = key;
            if (std::any_of(names.begin(), names.end(), [&](const char* k) { return text == k; }))
                continue;
            complain(*node, where, closest(text, names));
            ++count;
        }
    } catch (const std::bad_alloc&) {
        return count;
    }
    return count;
}
