#ifndef VELORIX_GRSUBS_SEARCH_KEYS_H
#define VELORIX_GRSUBS_SEARCH_KEYS_H
// The keys of search parameters, once for reading, showing and documenting them.
#include <cstddef>
#include <span>

#include "velorix_pvt.h"

namespace velorix {

/// What a key's value becomes: a field at an offset, or what only one key has.
enum class KeyKind {
    real,     // double
    integer,  // int
    flag,     // int
    text,     // char*
    station_weights,
    p_weights,
    s_weights,
    nsta_thresh,
    sta_defining_arr,
    drop_if_in_grid,
    relocate_params
};

struct KeyEntry {
    SearchKey key;
    KeyKind kind;
    size_t offset;  // of the field; 0 for a kind of its own
};

std::span<const KeyEntry> search_keys();

/// The field of a key. REQUIRES: T is what the key's kind says.
template <class T>
T& field_of(SearchParams& sp, const KeyEntry& entry) {
    return *reinterpret_cast<T*>(reinterpret_cast<char*>(&sp) + entry.offset);
}
template <class T>
const T& field_of(const SearchParams& sp, const KeyEntry& entry) {
    return *reinterpret_cast<const T*>(reinterpret_cast<const char*>(&sp) + entry.offset);
}

}  // namespace velorix
#endif
