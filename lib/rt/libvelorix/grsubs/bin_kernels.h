#ifndef VELORIX_GRSUBS_BIN_KERNELS_H
#define VELORIX_GRSUBS_BIN_KERNELS_H
// The inner loops of the score bound, on plain arrays so that the compiler can vectorise them.
#include <cstdint>

namespace velorix {

/// Bins wrap: a candidate's bin is its origin time in bins, modulo a power of two.
struct Binning {
    float ticks_per_second;
    uint32_t mask;  ///< number of bins - 1
};

/// bin[k] = bin of arrival[k] less the travel time row[index[k]] (seconds).
/// @return false when a travel time is broken or too long to be counted in ticks
bool bin_origin_times(int n, const int32_t* arrival, const int32_t* index, const float* row,
                      const Binning& binning, uint16_t* bin);

/// sum[b] = sum of the five bins from b on, of `nbins` bins; bins nbins .. nbins + 3 repeat the
/// first four. @return the largest
int16_t sum_windows(int nbins, const int16_t* bins, int16_t* sum);
float sum_windows(int nbins, const float* bins, float* sum);

}  // namespace velorix
#endif
