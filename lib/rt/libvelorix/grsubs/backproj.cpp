// One node: observations to origin times, their best cluster, and the marks of its members.
#include <algorithm>
#include <climits>
#include <new>

#include "grsubs/candidates.h"
#include "grsubs/search_scratch.h"
#include "grsubs/weighted_variance.h"
#include "platform/elog/elog.h"
#include "velorix_pvt.h"

namespace velorix {
namespace {

void clear_marks(const std::vector<StationObs*>& stations) {
    for (StationObs* station : stations) {
        station->used = 0;
        for (int i = 0; i < station->nobs; ++i) station->obs[i]->used = 0;
    }
}

// Marks the observations of a cluster; their mean and variance are taken about its first value.
void mark_members(SearchThread& thread, int ncandidates, double* etime, double* std) {
    WeightedSums sums;
    const auto& member = thread.scratch->cluster.member;
    for (int k = 0; k < ncandidates; ++k) {
        if (!member[size_t(k)]) {
            thread.backproj_buf[k] = 0.0;
            continue;
        }
        thread.backproj_staobs_p[k]->used = thread.backproj_ptype[k] == 'P' ? 1 : 2;
        sums.add(thread.backproj_buf[k] - *etime, thread.backproj_wt[k]);
    }
    *std = 0;
    if (!(sums.w > 0)) return;
    *std = std::max(weighted_variance(sums, sums.xx), 0.0);
    *etime += sums.mean();
}

Candidates candidates_of(const SearchThread& thread, const CandidateCounts& counts) {
    return {counts.candidates,
            thread.backproj_buf,
            counts.weighted ? thread.backproj_wt : nullptr,
            thread.backproj_group,
            thread.backproj_subgroup,
            counts.groups,
            counts.subgroups};
}

struct NodeScore {
    double etime = 0;
    double cluster_width = 0;
    double score = 0;
    double variance = 0;
};

int score_node(const SearchParams& sp, SearchThread& thread, const Node& node, Tbl* stao_tbl,
               NodeScore& out) {
    SearchScratch* scratch = scratch_of(thread);
    if (!scratch) return -1;
    if (!list_stations(stao_tbl, scratch->stations)) {
        return elog_log(1, "velorix_node_backproj: malloc() error.\n"), -1;
    }
    const NodeTables tables(*sp.velorix, node);
    const int64_t observations = enter_node(tables, scratch->stations);
    const int64_t needed = tables.usable() ? 2 * observations : 0;
    if (needed > INT_MAX / 4) return elog_log(0, "velorix_node_backproj: too many picks.\n"), -1;
    if (tables.has_distances() && sp.closest_stations != 0) {
        keep_nearest(sp, stao_tbl, scratch->stations);
    }
    if (!reserve_candidates(thread, static_cast<int>(needed))) return -1;
    const CandidateCounts counts = build_candidates(sp, tables, scratch->stations, thread);
    if (!scratch->cluster.reserve(counts.candidates, counts.groups, counts.subgroups)) {
        return elog_log(0, "velorix_node_backproj: find_cluster() error.\n"), -1;
    }
    const Cluster best = best_cluster(candidates_of(thread, counts), sp.cluster_twin,
                                      sp.cluster_prewin, scratch->cluster);
    clear_marks(scratch->stations);
    out = {best.first, best.variance, best.score, 0};
    mark_members(thread, counts.candidates, &out.etime, &out.variance);
    return 0;
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_node_backproj(SearchParams* sp, int32_t thread_index, int32_t ix, int32_t iy,
                                     int32_t id, Tbl* stao_tbl, double* etime,
                                     double* cluster_width, double* ncluster, double* std) {
    auto* thread = static_cast<SearchThread*>(gettbl(sp->threads_tbl, thread_index));
    if (!thread) {
        return elog_log(0, "velorix_node_backproj: no scratch for thread %d.\n", thread_index), -1;
    }
    velorix::NodeScore score;
    if (velorix::score_node(*sp, *thread, {ix, iy, id}, stao_tbl ? stao_tbl : thread->stao_tbl,
                            score) < 0) {
        return -1;
    }
    *etime = score.etime;
    *cluster_width = score.cluster_width;
    *ncluster = score.score;
    *std = score.variance;
    return 0;
}
