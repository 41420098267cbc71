#ifndef VELORIX_GRSUBS_CLUSTER_SORT_H
#define VELORIX_GRSUBS_CLUSTER_SORT_H
#include "grsubs/cluster.h"

namespace velorix {

/// Sorts the first `n` of scratch.cells into scratch.sorted, ascending by value, equal values by
/// candidate number. Allocates nothing.
void sort_cells(int n, ClusterScratch& scratch);

}  // namespace velorix
#endif
