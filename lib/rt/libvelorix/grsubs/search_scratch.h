#ifndef VELORIX_GRSUBS_SEARCH_SCRATCH_H
#define VELORIX_GRSUBS_SEARCH_SCRATCH_H
// What one worker needs per node: grows, is reused, never shrinks.
#include <atomic>
#include <vector>

#include "grsubs/cluster.h"
#include "grsubs/node_scores.h"
#include "velorix_pvt.h"

struct SearchScratch {
    velorix::ClusterScratch cluster;
    std::vector<StationObs*> stations;  // of the table at hand, in its order
    velorix::NodeScores scores;
    std::atomic<double>* bar = nullptr;  // score that workers of a pass have reached; null: alone
};

namespace velorix {

/// The thread's scratch, made on first use; null after a logged line.
SearchScratch* scratch_of(SearchThread& thread);

/// The table's entries as an array. False when memory fails.
bool list_stations(Tbl* stao_tbl, std::vector<StationObs*>& stations);

/// Room for `count` candidates in the thread's six arrays. False after a logged line; the arrays
/// are then empty.
bool reserve_candidates(SearchThread& thread, int count);

}  // namespace velorix
#endif
