#ifndef VELORIX_GRSUBS_SCAN_PASS_H
#define VELORIX_GRSUBS_SCAN_PASS_H
#include "velorix_pvt.h"

namespace velorix {

/// Below every score: a best-so-far search starts here and takes only what is strictly greater.
inline constexpr double kNoScore = -1e20;

/// Makes the score plot's buffers where they are wanted and missing, and clears the plot.
/// False after a logged line.
bool prepare_score_plot(SearchParams& sp);

}  // namespace velorix
#endif
