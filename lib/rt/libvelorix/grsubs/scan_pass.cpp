// One full pass over the nodes of a depth: what each worker does, how the nodes are split, and
// which worker's node wins.
#include <cmath>

#include "grsubs/scan_pass.h"
#include "grsubs/table_index.h"
#include "platform/elog/elog.h"
#include "support/text.h"

namespace velorix {
namespace {

struct Score {
    double etime = 0;
    double value = 0;
    double variance = 0;
};

/// Scores a node with the worker's own stations. False after a logged line.
bool score(SearchThread& thread, const Node& node, Score& out) {
    double cluster_width = 0;
    if (velorix_node_backproj(thread.sp, thread.thread_index, node.ix, node.iy, node.id,
                              thread.stao_tbl, &out.etime, &cluster_width, &out.value,
                              &out.variance) == 0) {
        return true;
    }
    elog_complain(0, "velorix_comp_sub: node_backproj_3dgrid() error.\n");
    return false;
}

void clear_best(SearchThread& thread) {
    thread.zmax = kNoScore;
    thread.ixmax = -1;
    thread.iymax = -1;
}

void keep_best(SearchThread& thread, const Node& node, const Score& found) {
    if (!(found.value > thread.zmax)) return;
    thread.zmax = found.value;
    thread.f = found.value;
    thread.ncluster = found.value;
    thread.std = std::sqrt(found.variance);
    thread.etime = found.etime;
    thread.ixmax = node.ix;
    thread.iymax = node.iy;
}

bool scan_general(SearchThread& thread, int32_t first, int32_t number) {
    for (int32_t i = first; i - first < number; ++i) {
        const Node node{i, i, i};
        Score found;
        if (!score(thread, node, found)) return false;
        keep_best(thread, node, found);
    }
    return true;
}

bool scan_regular(SearchThread& thread, int32_t first, int32_t number) {
    const SearchParams& sp = *thread.sp;
    const int32_t nx = sp.velorix->nx;
    for (int32_t i = first; i - first < number; ++i) {
        const Node node{i % nx, i / nx, sp.idepth};
        Score found;
        if (!score(thread, node, found)) return false;
        if (sp.plot_buffer) sp.plot_buffer[i] = static_cast<float>(found.value);
        keep_best(thread, node, found);
    }
    return true;
}

/// The pass on the calling thread, with the caller's table lent to the first worker.
int run_single(SearchParams& sp, Tbl* stao_tbl) {
    auto* thread = static_cast<SearchThread*>(gettbl(sp.threads_tbl, 0));
    if (!thread) return elog_log(0, "velorix_scan_grid_comp: no SearchThread.\n"), -1;
    const Velorix& grid = *sp.velorix;
    const bool general = grid.mode == VELORIX_MODE_GENERAL;
    if (general) sp.idepth = 0;
    Tbl* const own = thread->stao_tbl;
    thread->stao_tbl = stao_tbl;
    const int64_t result = velorix_comp_sub(0, general ? grid.nn : grid.nx * grid.ny, thread);
    thread->stao_tbl = own;
    if (result == 0) return 0;
    return elog_log(0, "velorix_scan_grid_comp: velorix_comp_sub() error.\n"), -1;
}

/// Gives every worker a fresh copy of the table. False after a logged line.
bool hand_out_tables(SearchParams& sp, Tbl* stao_tbl) {
    const NameText name(sp.velorix->name);
    for (int i = 0; i < sp.number_threads; ++i) {
        auto* thread = static_cast<SearchThread*>(gettbl(sp.threads_tbl, i));
        if (!thread) {
            elog_log(0, "velorix_scan_grid_comp: no SearchThread %d of %d for grid %s.\n", i,
                     sp.number_threads, name.text);
            return false;
        }
        ++thread->cycle;
        clear_best(*thread);
        freetbl(thread->stao_tbl, velorix_free_staobs);
        thread->stao_tbl = velorix_copy_stao_tbl(stao_tbl);
        if (!thread->stao_tbl) {
            elog_log(0, "velorix_scan_grid_comp: velorix_copy_stao_tbl() error for grid %s.\n",
                     name.text);
            return false;
        }
    }
    return true;
}

int run_threads(SearchParams& sp, Tbl* stao_tbl) {
    if (!hand_out_tables(sp, stao_tbl)) return -1;
    const long done = pmtcomp_processthreads(sp.threads);
    if (done == sp.number_threads) return 0;
    return elog_log(0,
                    "velorix_scan_grid_comp: pmtcomp_processthreads(ret=%ld) error for grid %s.\n",
                    done, NameText(sp.velorix->name).text),
           -1;
}

}  // namespace
}  // namespace velorix

extern "C" int64_t velorix_comp_sub(int32_t ioffset, int32_t number, void* user_data) {
    auto& thread = *static_cast<SearchThread*>(user_data);
    velorix::clear_best(thread);
    switch (thread.sp->velorix->mode) {
        case VELORIX_MODE_GENERAL:
            return velorix::scan_general(thread, ioffset, number) ? 0 : -1;
        case VELORIX_MODE_REGULAR:
            return velorix::scan_regular(thread, ioffset, number) ? 0 : -1;
        default:
            return 0;
    }
}

int velorix_scan_grid_comp(SearchParams* sp, Tbl* stao_tbl, int32_t idepth, double* f,
                           double* ncluster, double* std, double* time, int32_t* ix, int32_t* iy,
                           double* zmax) {
    sp->idepth = idepth;
    *zmax = velorix::kNoScore;
    if (!velorix::prepare_score_plot(*sp)) return -1;
    const bool threaded = sp->number_threads > 1;
    const int result =
        threaded ? velorix::run_threads(*sp, stao_tbl) : velorix::run_single(*sp, stao_tbl);
    if (result < 0) return -1;
    for (int i = 0; i < (threaded ? sp->number_threads : 1); ++i) {
        const auto& thread = *static_cast<const SearchThread*>(gettbl(sp->threads_tbl, i));
        if (!(thread.zmax > *zmax)) continue;
        *zmax = thread.zmax;
        *f = thread.f;
        *ncluster = thread.ncluster;
        *std = thread.std;
        *time = thread.etime;
        *ix = thread.ixmax;
        *iy = thread.iymax;
    }
    return 0;
}
