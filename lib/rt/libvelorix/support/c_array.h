#ifndef VELORIX_SUPPORT_C_ARRAY_H
#define VELORIX_SUPPORT_C_ARRAY_H
// Arrays that end up in a C record and are released with free().
#include <cstdlib>
#include <memory>

namespace velorix {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

template <class T>
using CArray = std::unique_ptr<T[], Free>;

/// `count` zeroed elements, or null when memory fails. Never null for a count of 0.
template <class T>
CArray<T> make_c_array(size_t count) {
    return CArray<T>(static_cast<T*>(std::calloc(count ? count : 1, sizeof(T))));
}

}  // namespace velorix

#endif
