// The compiler turns these loops into vector instructions of the architecture's least processor;
// wider ones and gathers were measured not to pay.
#include "grsubs/bin_kernels.h"

#include <bit>

#include "grsubs/scan_candidates.h"

namespace velorix {
namespace {

// A float holds whole ticks up to here.
constexpr float kMostTicks = 1 << 24;

template <class T>
inline T largest_window(int nbins, const T* __restrict bins, T* __restrict sum) {
    T largest = 0;
    for (int b = 0; b < nbins; ++b) {
        const T s = static_cast<T>(bins[b] + bins[b + 1] + bins[b + 2] + bins[b + 3] + bins[b + 4]);
        sum[b] = s;
        largest = s > largest ? s : largest;
    }
    return largest;
}

}  // namespace

bool bin_origin_times(int n, const int32_t* __restrict arrival, const int32_t* __restrict index,
                      const float* __restrict row, const Binning& binning,
                      uint16_t* __restrict bin) {
    const float scale = binning.ticks_per_second;
    const uint32_t mask = binning.mask;
    int32_t largest = 0;  // magnitude, as bits: these order like the numbers, and NaN above all
    for (int k = 0; k < n; ++k) {
        const float ticks = row[index[k]] * scale;
        const int32_t magnitude = std::bit_cast<int32_t>(ticks) & 0x7fffffff;
        largest = magnitude > largest ? magnitude : largest;
        const float above = ticks > -kMostTicks ? ticks : -kMostTicks;
        const auto travel = static_cast<int32_t>(above < kMostTicks ? above : kMostTicks);
        const auto elapsed = static_cast<uint32_t>(arrival[k] - travel);
        bin[k] = static_cast<uint16_t>((elapsed >> kTickBits) & mask);
    }
    return largest < std::bit_cast<int32_t>(kMostTicks);
}

int16_t sum_windows(int nbins, const int16_t* bins, int16_t* sum) {
    return largest_window(nbins, bins, sum);
}

float sum_windows(int nbins, const float* bins, float* sum) {
    return largest_window(nbins, bins, sum);
}

}  // namespace velorix
