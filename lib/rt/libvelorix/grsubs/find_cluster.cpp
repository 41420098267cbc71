// The cluster search on a caller's arrays.
#include <algorithm>
#include <cstdlib>

#include "grsubs/cluster.h"
#include "velorix_pvt.h"

int mycmp(const bufsort* a, const bufsort* b) {
    if (*a->data_ptr > *b->data_ptr) return 1;
    return *b->data_ptr > *a->data_ptr ? -1 : 0;
}

namespace {

template <class T>
void empty_handle(int* count, T** array) {
    std::free(*array);
    *array = nullptr;
    *count = 0;
}

// One more than the largest number, with room by the caller's rule of numbering.
int slots_for(const int* numbers, int n) {
    return std::max(2 * numbers[n - 1] + 2, *std::max_element(numbers, numbers + n) + 1);
}

}  // namespace

int find_cluster(int npts, double* data, double* weight, const int* group_index,
                 const int* subgroup_index, double dwin, double prewin, double* ncluster,
                 double* dcluster, double* dclusterwin, int* nbuf, bufsort** buf_ptr, int* ngrp,
                 double*** group_ptr_ptr, int* nsubgrp, double*** subgroup_ptr_ptr) {
    *ncluster = *dcluster = *dclusterwin = 0;
    if (npts < 1) return 0;
    velorix::Candidates candidates{npts,
                                   data,
                                   weight,
                                   group_index,
                                   subgroup_index,
                                   slots_for(group_index, npts),
                                   slots_for(subgroup_index, npts)};
    velorix::ClusterScratch scratch;
    if (!scratch.reserve(npts, candidates.ngroups, candidates.nsubgroups)) return -1;
    const velorix::Cluster best = velorix::best_cluster(candidates, dwin, prewin, scratch);
    *ncluster = best.score;
    *dcluster = best.first;
    *dclusterwin = best.variance;
    for (int k = 0; k < npts; ++k) {
        if (!scratch.member[size_t(k)]) data[k] = 0.0;
    }
    empty_handle(nbuf, buf_ptr);
    empty_handle(ngrp, group_ptr_ptr);
    empty_handle(nsubgrp, subgroup_ptr_ptr);
    return 0;
}
