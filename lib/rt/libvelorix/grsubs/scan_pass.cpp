// One full pass over the nodes of a depth: what each worker does, how the nodes are split, and
// which worker's node wins.
#include <algorithm>
#include <atomic>
#include <cmath>

#include "grsubs/node_search.h"
#include "grsubs/scan_pass.h"
#include "grsubs/scan_sample.h"
#include "grsubs/search_scratch.h"
#include "platform/elog/elog.h"
#include "support/grid_name.h"

namespace velorix {
namespace {

void clear_best(SearchThread& thread) {
    thread.zmax = kNoScore;
    thread.ixmax = -1;
    thread.iymax = -1;
}

void keep_best(SearchThread& thread, const Node& node, const NodeResult& found) {
    if (!(found.score > thread.zmax)) return;
    thread.zmax = found.score;
    thread.f = found.score;
    thread.ncluster = found.score;
    thread.std = std::sqrt(found.variance);
    thread.etime = found.etime;
    thread.ixmax = node.ix;
    thread.iymax = node.iy;
}

/// The highest score known so far: the worker's own, and the other workers' where they share it.
class Bar {
  public:
    explicit Bar(SearchThread& thread)
        : shared_(thread.scratch ? thread.scratch->bar : nullptr),
          own_(shared_ ? shared_->load(std::memory_order_relaxed) : kNoScore) {}

    bool known() const { return own_ > kNoScore; }
    double get() {
        if (shared_) own_ = std::max(own_, shared_->load(std::memory_order_relaxed));
        return own_;
    }
    void raise(double score) {
        if (!(score > own_)) return;
        own_ = score;
        if (!shared_) return;
        double reached = shared_->load(std::memory_order_relaxed);
        while (score > reached && !shared_->compare_exchange_weak(reached, score)) {
        }
    }

  private:
    std::atomic<double>* shared_;
    double own_;
};

/// One worker's part of a pass: a sample of its nodes, which sets a high bar, then all of them in
/// order. Nodes that cannot reach the bar are not looked at closely; one that reaches it is never
/// left out, so the first of the best nodes wins whatever was sampled.
class PiecePass {
  public:
    PiecePass(SearchThread& thread, int32_t first, int32_t number)
        : thread_(thread),
          sp_(*thread.sp),
          regular_(sp_.velorix->mode == VELORIX_MODE_REGULAR),
          piece_{first, number, regular_ ? sp_.velorix->nx : 0},
          search_(sp_, thread, thread.thread_index, thread.stao_tbl),
          bar_(thread) {}

    bool run() {
        if (regular_ && sp_.plot_buffer) return score_all();
        if (!bar_.known() && search_.selective() && !sample()) return false;
        for (int32_t k = 0; k < piece_.number; ++k) {
            if (!look_at(piece_.first + k)) return false;
        }
        return true;
    }

  private:
    Node node(int32_t i) const {
        if (!regular_) return {i, i, i};
        return {i % piece_.columns, i / piece_.columns, sp_.idepth};
    }

    bool sample() {
        bool scored = true;
        HighScoreSample(piece_, [&](int32_t i) {
            double score = kNoScore;
            scored = scored && search_.score(node(i), bar_.get(), score);
            bar_.raise(score);
            return score;
        }).run();
        return scored;
    }

    bool look_at(int32_t i) {
        NodeResult found;
        if (!search_.search(node(i), bar_.get(), thread_.zmax, found)) return false;
        keep_best(thread_, node(i), found);
        bar_.raise(found.score);
        return true;
    }

    /// For the score plot.
    bool score_all() {
        for (int32_t k = 0; k < piece_.number; ++k) {
            const int32_t i = piece_.first + k;
            double score = kNoScore;
            if (!search_.score(node(i), score)) return false;
            sp_.plot_buffer[i] = static_cast<float>(score);
            NodeResult found;
            if (score > thread_.zmax && !search_.search(node(i), score, thread_.zmax, found)) {
                return false;
            }
            keep_best(thread_, node(i), found);
        }
        return true;
    }

    SearchThread& thread_;
    SearchParams& sp_;
    const bool regular_;
    const NodePiece piece_;
    NodeSearch search_;
    Bar bar_;
};

/// Lends the workers of a pass a common bar while it runs.
class SharedBar {
  public:
    SharedBar(SearchParams& sp, int threads, double reached)
        : sp_(sp), threads_(threads), bar_(reached) {
        lend(&bar_);
    }
    ~SharedBar() { lend(nullptr); }
    SharedBar(const SharedBar&) = delete;
    SharedBar& operator=(const SharedBar&) = delete;

  private:
    void lend(std::atomic<double>* bar) {
        for (int i = 0; i < threads_; ++i) {
            auto* thread = static_cast<SearchThread*>(gettbl(sp_.threads_tbl, i));
            if (SearchScratch* scratch = thread ? scratch_of(*thread) : nullptr) scratch->bar = bar;
        }
    }

    SearchParams& sp_;
    const int threads_;
    std::atomic<double> bar_;
};

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

int scan_depth(SearchParams& sp, Tbl* stao_tbl, int32_t depth, double reached, PassBest& out) {
    sp.idepth = depth;
    out = {};
    out.node.id = depth;
    if (!prepare_score_plot(sp)) return -1;
    const bool threaded = sp.number_threads > 1;
    const int workers = threaded ? sp.number_threads : 1;
    const SharedBar bar(sp, workers, reached);
    if ((threaded ? run_threads(sp, stao_tbl) : run_single(sp, stao_tbl)) < 0) return -1;
    for (int i = 0; i < workers; ++i) {
        const auto& thread = *static_cast<const SearchThread*>(gettbl(sp.threads_tbl, i));
        if (!(thread.zmax > out.zmax)) continue;
        out = {{thread.ixmax, thread.iymax, depth},
               thread.zmax,
               thread.f,
               thread.ncluster,
               thread.std,
               thread.etime};
    }
    return 0;
}

}  // namespace velorix

extern "C" int64_t velorix_comp_sub(int32_t ioffset, int32_t number, void* user_data) {
    auto& thread = *static_cast<SearchThread*>(user_data);
    velorix::clear_best(thread);
    const Velorix& grid = *thread.sp->velorix;
    const bool regular = grid.mode == VELORIX_MODE_REGULAR && grid.nx > 0;
    if (grid.mode != VELORIX_MODE_GENERAL && !regular) return 0;
    if (velorix::PiecePass(thread, ioffset, number).run()) return 0;
    elog_complain(0, "velorix_comp_sub: node_backproj_3dgrid() error.\n");
    return -1;
}

int velorix_scan_grid_comp(SearchParams* sp, Tbl* stao_tbl, int32_t idepth, double* f,
                           double* ncluster, double* std, double* time, int32_t* ix, int32_t* iy,
                           double* zmax) {
    velorix::PassBest best;
    const int result = velorix::scan_depth(*sp, stao_tbl, idepth, velorix::kNoScore, best);
    *zmax = best.zmax;
    if (result < 0 || !(best.zmax > velorix::kNoScore)) return result;
    *f = best.f;
    *ncluster = best.ncluster;
    *std = best.std;
    *time = best.time;
    *ix = best.node.ix;
    *iy = best.node.iy;
    return 0;
}
