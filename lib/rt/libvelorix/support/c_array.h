#ifndef VELORIX_SUPPORT_C_ARRAY_H
#define VELORIX_SUPPORT_C_ARRAY_H
// Memory that ends up in a C record and is released with free().
#include <cstddef>
#include <cstdlib>
#include <memory>

#include "platform/containers/owners.h"

namespace velorix {

// The one place where such memory comes from. Both stand alone in a source file, so that a test
// program that defines them itself can let any allocation fail.

/// `bytes` zeroed bytes, or null when memory fails. Never null for 0 bytes.
void* c_allocate(size_t bytes);
/// realloc(): on failure null, and the old block stays as it was.
void* c_reallocate(void* block, size_t bytes);

template <class T>
using CArray = std::unique_ptr<T[], EndWith<std::free>>;

/// `count` zeroed elements, or null when memory fails. Never null for a count of 0.
/// REQUIRES: count * sizeof(T) fits a size_t.
template <class T>
CArray<T> make_c_array(size_t count) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): T is a pointer in arrays of pointers.
    return CArray<T>(static_cast<T*>(c_allocate(count * sizeof(T))));
}

/// Hands an array over to a field of a C record and releases what the field held.
template <class T>
void replace_array(T*& field, CArray<T> array) {
    std::free(field);
    field = array.release();
}

}  // namespace velorix

#endif
