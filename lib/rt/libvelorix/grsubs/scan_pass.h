#ifndef VELORIX_GRSUBS_SCAN_PASS_H
#define VELORIX_GRSUBS_SCAN_PASS_H
#include "grsubs/node_search.h"
#include "grsubs/table_index.h"
#include "velorix_pvt.h"

namespace velorix {

/// Makes the score plot's buffers where they are wanted and missing, and clears the plot.
/// False after a logged line.
bool prepare_score_plot(SearchParams& sp);

/// The best node of a full pass, as velorix_scan_grid_comp delivers it.
struct PassBest {
    Node node{-1, -1, 0};
    double zmax = kNoScore;
    double f = 0;
    double ncluster = 0;
    double std = 0;
    double time = 0;
};

/// A full pass at a depth. `reached` is a score known to be reached at that depth, or kNoScore.
/// 0, or -1 after a logged line.
int scan_depth(SearchParams& sp, Tbl* stao_tbl, int32_t depth, double reached, PassBest& out);

}  // namespace velorix
#endif
