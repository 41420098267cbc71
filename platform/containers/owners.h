#ifndef VELORIX_PLATFORM_CONTAINERS_OWNERS_H
#define VELORIX_PLATFORM_CONTAINERS_OWNERS_H
// Owners of C records: a unique_ptr that ends its record with the function that the record has for
// it.
#include <cstdlib>
#include <memory>

#include "platform/containers/containers.h"

namespace velorix {

template <auto kEnd>
struct EndWith {
    template <class Record>
    void operator()(Record* record) const {
        kEnd(record);
    }
};
template <class Record, auto kEnd>
using Owned = std::unique_ptr<Record, EndWith<kEnd>>;

/// A list or map and, with a function, its entries; without one they stay their owner's.
template <void (*kEndEntry)(void*) = nullptr>
struct EndContainer {
    void operator()(Tbl* list) const { freetbl(list, kEndEntry); }
    void operator()(Arr* map) const { freearr(map, kEndEntry); }
};
using OwnedTbl = std::unique_ptr<Tbl, EndContainer<>>;
using OwnedArr = std::unique_ptr<Arr, EndContainer<>>;
/// A list of strings of malloc, as parse_param hands out.
using OwnedTexts = std::unique_ptr<Tbl, EndContainer<std::free>>;
/// A string of malloc.
using OwnedText = Owned<char, std::free>;

}  // namespace velorix

#endif
