// The grid scan: a coarse pass, blocks depth by depth, a final pass, and the solution at the
// winner.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "grsubs/node_search.h"
#include "grsubs/scan_pass.h"
#include "grsubs/table_index.h"
#include "platform/elog/elog.h"
#include "support/grid_name.h"

namespace velorix {
namespace {

/// A full pass at a depth where a score is known to be reached, or kNoScore. False after a logged
/// line.
bool full_pass(SearchParams& sp, Tbl* stao_tbl, int32_t depth, double reached, PassBest& out) {
    if (scan_depth(sp, stao_tbl, depth, reached, out) == 0) return true;
    elog_log(0, "velorix_scan_grid: velorix_scan_grid_comp() error.\n");
    return false;
}

/// First of `count` columns or rows about a centre, moved to stay within `size`.
int32_t block_start(int32_t centre, int32_t count, int32_t size) {
    const int32_t start = std::max(0, centre - count / 2);
    return start + count > size ? size - count : start;
}

/// Searches the depths below the first in blocks that follow the best node of the depth above.
/// REQUIRES: a full pass has gone before, so that the first SearchThread is there.
class BlockScan {
  public:
    BlockScan(SearchParams& sp, Tbl* stao_tbl, PassBest& best)
        : sp_(sp),
          search_(sp, *static_cast<SearchThread*>(gettbl(sp.threads_tbl, 0)), 0, stao_tbl),
          best_(best),
          cx_(best.node.ix),
          cy_(best.node.iy) {}

    bool scan_depth(int32_t depth) {
        if (scan_block(depth)) return true;
        elog_log(0, "velorix_scan_grid: node_backproj_3dgrid() error.\n");
        return false;
    }

  private:
    bool scan_block(int32_t depth) {
        const Velorix& grid = *sp_.velorix;
        const int32_t j0 = block_start(cy_, sp_.nyd, grid.ny);
        const int32_t i0 = block_start(cx_, sp_.nxd, grid.nx);
        sp_.idepth = depth;
        // The event shows at the block's centre, so its score is a high bar for the others.
        double bar = kNoScore;
        if (search_.selective() && !search_.score({cx_, cy_, depth}, bar, bar)) return false;
        double depth_best = kNoScore;
        for (int32_t j = j0; j < j0 + sp_.nyd; ++j) {
            for (int32_t i = i0; i < i0 + sp_.nxd; ++i) {
                if (!look_at({i, j, depth}, bar, depth_best)) return false;
            }
        }
        return true;
    }

    bool look_at(const Node& node, double& bar, double& depth_best) {
        NodeResult found;
        if (!search_.search(node, bar, depth_best, found)) return false;
        if (found.score > depth_best) {
            depth_best = found.score;
            bar = std::max(bar, depth_best);
            cx_ = node.ix;
            cy_ = node.iy;
        }
        if (found.score > best_.zmax) {
            best_ = {node,       found.score, found.score, found.score, std::sqrt(found.variance),
                     found.etime};
        }
        return true;
    }

    SearchParams& sp_;
    NodeSearch search_;
    PassBest& best_;
    int32_t cx_;
    int32_t cy_;
};

/// Says which pass the scan ends with; a text that is full stays as it is.
void note_final_depth(SearchParams& sp) {
    constexpr char kText[] = " final depth";
    const size_t length = strnlen(sp.grid_type_string, sizeof sp.grid_type_string);
    if (length + sizeof kText > sizeof sp.grid_type_string) {
        elog_complain(0, "velorix_scan_grid: no room in grid_type_string.\n");
        return;
    }
    std::memcpy(sp.grid_type_string + length, kText, sizeof kText);
}

bool final_pass(SearchParams& sp, Tbl* stao_tbl, int32_t depth, PassBest& best) {
    note_final_depth(sp);
    return full_pass(sp, stao_tbl, depth, best.zmax, best);
}

bool scan_regular(SearchParams& sp, Tbl* stao_tbl, PassBest& best) {
    const int32_t nd = sp.velorix->nd;
    if (nd == 1) return final_pass(sp, stao_tbl, 0, best);
    if (!full_pass(sp, stao_tbl, 0, kNoScore, best)) return false;
    BlockScan blocks(sp, stao_tbl, best);
    for (int32_t depth = 1; depth < nd; ++depth) {
        if (!blocks.scan_depth(depth)) return false;
    }
    return best.node.id == 0 || final_pass(sp, stao_tbl, best.node.id, best);
}

bool scan(SearchParams& sp, Tbl* stao_tbl, PassBest& best) {
    if (sp.velorix->mode == VELORIX_MODE_REGULAR) return scan_regular(sp, stao_tbl, best);
    return full_pass(sp, stao_tbl, 0, kNoScore, best);
}

/// Whether there is something to scan; logs what is not.
bool scannable(const SearchParams& sp, const Tbl* stao_tbl) {
    const Velorix& grid = *sp.velorix;
    const bool regular = grid.mode == VELORIX_MODE_REGULAR;
    const char* fault = nullptr;
    if (maxtbl(stao_tbl) == 0) {
        fault = "no stations";
    } else if (!regular && grid.mode != VELORIX_MODE_GENERAL) {
        fault = "unknown grid mode";
    } else if (grid.nn < 1 || (regular && (grid.nx < 1 || grid.ny < 1 || grid.nd < 1))) {
        fault = "no nodes";
    } else if (regular && grid.nd > 1 &&
               (sp.nxd < 1 || sp.nyd < 1 || sp.nxd > grid.nx || sp.nyd > grid.ny)) {
        fault = "nxd or nyd outside the mesh";
    }
    if (!fault) return true;
    elog_log(0, "velorix_scan_grid: %s for grid %s.\n", fault, NameText(grid.name).text);
    return false;
}

/// Marks, origin time, deviations and residuals at the solution. False after a logged line.
bool evaluate(SearchParams& sp, Tbl* stao_tbl, const Node& node, double* time, double* std,
              double* stduw) {
    double etime = 0;
    double width = 0;
    double score = 0;
    double variance = 0;
    if (velorix_node_backproj(&sp, 0, node.ix, node.iy, node.id, stao_tbl, &etime, &width, &score,
                              &variance) < 0) {
        return elog_log(0, "velorix_scan_grid: velorix_node_backproj() error.\n"), false;
    }
    for (const int32_t compute_resids : {0, 1}) {
        if (velorix_node_residual(sp.velorix, node.ix, node.iy, node.id, stao_tbl, time, std,
                                  compute_resids ? nullptr : stduw, compute_resids) < 0) {
            return elog_log(0, "velorix_scan_grid: velorix_node_residual() error.\n"), false;
        }
    }
    return true;
}

struct Position {
    double lat;
    double lon;
    double depth;
};

Position position_of(const Velorix& grid, const Node& node) {
    const Source& source = grid.sources[position_number(grid, node)];
    const bool general = grid.mode == VELORIX_MODE_GENERAL;
    return {source.lat, source.lon, general ? source.depth : grid.depths[node.id]};
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_scan_grid(SearchParams* sp, Tbl* stao_tbl, double* f, double* ncluster,
                                 double* std, double* stduw, double* lat, double* lon,
                                 double* depth, double* time, int32_t* ix, int32_t* iy,
                                 int32_t* id) {
    velorix::PassBest best;
    if (!velorix::scannable(*sp, stao_tbl) || !velorix::scan(*sp, stao_tbl, best)) return -1;
    if (!velorix::evaluate(*sp, stao_tbl, best.node, time, std, stduw)) return -1;
    const velorix::Position position = velorix::position_of(*sp->velorix, best.node);
    *f = best.f;
    *ncluster = best.ncluster;
    *lat = position.lat;
    *lon = position.lon;
    *depth = position.depth;
    const bool general = sp->velorix->mode == VELORIX_MODE_GENERAL;
    *ix = best.node.ix;
    *iy = general ? -1 : best.node.iy;
    *id = general ? -1 : best.node.id;
    return 0;
}
