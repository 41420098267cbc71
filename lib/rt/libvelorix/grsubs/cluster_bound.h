#ifndef VELORIX_GRSUBS_CLUSTER_BOUND_H
#define VELORIX_GRSUBS_CLUSTER_BOUND_H
#include "grsubs/cluster.h"

namespace velorix {

/// Tightness never adds more to a score.
inline constexpr double kLargestBonus = 0.9;

/// Sets scratch.most[i] to a score that the placement starting at sorted candidate i cannot exceed,
/// infinity where weights allow no bound. One sweep over the candidates.
/// @param sorted candidates in ascending order, all arrays in that order
/// @return the place of the largest bound, the first of equal ones
int bound_scores(const Candidates& sorted, double dwin, double prewin, ClusterScratch& scratch);

}  // namespace velorix
#endif
