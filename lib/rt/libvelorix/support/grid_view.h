#ifndef VELORIX_SUPPORT_GRID_VIEW_H
#define VELORIX_SUPPORT_GRID_VIEW_H
// A grid's arrays as spans, and the limits of its 32-bit sizes.
#include <cstdint>
#include <span>

#include "velorix.h"

namespace velorix {

inline std::span<const Station> stations(const Velorix& grid) {
    return {grid.stations, grid.stations ? static_cast<size_t>(grid.ns) : 0};
}
inline std::span<const Source> sources(const Velorix& grid) {
    return {grid.sources, grid.sources ? static_cast<size_t>(grid.nh) : 0};
}
inline std::span<const double> depths(const Velorix& grid) {
    return {grid.depths, grid.depths ? static_cast<size_t>(grid.nd) : 0};
}

/// What a builder puts into the pointer of a table that its grid is to carry.
template <class T>
T* presence_marker() {
    return reinterpret_cast<T*>(uintptr_t{1});
}

/// Logs "<who>: <what> of N bytes exceeds ..." and returns false when a size does not fit the
/// record.
bool fits_size_field(const char* who, const char* what, int64_t bytes);

}  // namespace velorix

#endif
