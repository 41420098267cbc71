#ifndef VELORIX_SETUPGRID_HEAP_LAYOUT_H
#define VELORIX_SETUPGRID_HEAP_LAYOUT_H
// The grid heap as bytes: header offsets and block sizes, once for writer, reader and tests.
#include <bit>
#include <cstddef>
#include <cstdint>

#include "velorix.h"

namespace velorix {

inline constexpr int64_t kHeaderSize = 384;
inline constexpr int64_t kLargestHeap = 2147483647;
inline constexpr int32_t kMostDistanceSamples = 65536;  // ttoffsets are 16-bit numbers

static_assert(std::endian::native == std::endian::little, "heaps are little-endian");
static_assert(sizeof(Velorix) == kHeaderSize);
static_assert(sizeof(Station) == 48 && sizeof(Source) == 24);
static_assert(offsetof(Station, sta) == 24 && offsetof(Station, index) == 40);
static_assert(offsetof(Velorix, ny) == 32 && offsetof(Velorix, ttosize) == 64);
static_assert(offsetof(Velorix, name) == 72 && offsetof(Velorix, method) == 136);
static_assert(offsetof(Velorix, model) == 200 && offsetof(Velorix, latr) == 264);
static_assert(offsetof(Velorix, depths) == 320 && offsetof(Velorix, P_times) == 336);
static_assert(offsetof(Velorix, ttoffsets) == 368 && offsetof(Velorix, sta_arr) == 376);

/// Tables start at multiples of 8 bytes.
inline int64_t padded(int64_t bytes) { return (bytes + 7) / 8 * 8; }

}  // namespace velorix

#endif
