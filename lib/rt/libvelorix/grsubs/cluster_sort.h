#ifndef VELORIX_GRSUBS_CLUSTER_SORT_H
#define VELORIX_GRSUBS_CLUSTER_SORT_H
#include "grsubs/cluster.h"

namespace velorix {

/// Sorts `n` values into scratch.sorted, ascending, equal values by candidate number. Allocates
/// nothing. The result does not depend on what was sorted before; the time does.
void sort_candidates(int n, const double* value, ClusterScratch& scratch);

}  // namespace velorix
#endif
