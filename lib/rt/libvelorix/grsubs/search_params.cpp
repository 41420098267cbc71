// Search parameters for a calling program: made with defaults, set up, released.
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>

#include "grsubs/search_params.h"
#include "platform/elog/elog.h"
#include "platform/elog/guard.h"

SearchOwned::~SearchOwned() {
    release_patterns();
    freearr(patterns_cache, nullptr);
    freearr(defining_stations, nullptr);
    freetbl(drop_grids, nullptr);
}

void SearchOwned::release_patterns() {
    for (station_weights_& entry : station_weights) freehook(&entry.match_hook);
    station_weights.clear();
}

namespace velorix {
namespace {

// A block of this many columns and rows follows the best node from depth to depth.
constexpr int kBlock = 11;

void set_defaults(SearchParams& sp, Velorix* grid) {
    sp.velorix = grid;
    sp.cluster_twin = 2.0;
    sp.cluster_prewin = 2.0;
    sp.p_max_resid = 2.0;
    sp.s_max_resid = 3.0;
    sp.nxd = std::clamp(grid->nx, 1, kBlock);
    sp.nyd = std::clamp(grid->ny, 1, kBlock);
    sp.try_S = grid->S_times ? 1 : 0;
    sp.associate_S = sp.try_S;
    sp.swt_wt_near = 1.0;
    sp.number_threads = 1;
    sp.bugrid_fd = -1;
}

SearchThread* new_thread(SearchParams& sp, int index) {
    auto* thread = static_cast<SearchThread*>(std::calloc(1, sizeof(SearchThread)));
    if (!thread) throw std::bad_alloc();
    thread->thread_index = index;
    thread->sp = &sp;
    thread->zmax = -1e20;
    return thread;
}

/// A SearchThread per worker.
void make_scratch(SearchParams& sp) {
    sp.threads_tbl = newtbl(sp.number_threads);
    for (int i = 0; i < sp.number_threads; ++i) {
        std::unique_ptr<SearchThread, decltype(&velorix_free_search_thread)> thread(
            new_thread(sp, i), velorix_free_search_thread);
        if (settbl(sp.threads_tbl, -1, thread.get()) < 0) throw std::bad_alloc();
        thread.release();
    }
}

/// The work splitter over the nodes of a full pass; none for one thread. False after a logged line.
bool make_workers(SearchParams& sp) {
    if (sp.number_threads < 2) return true;
    std::vector<void*> threads;
    for (int i = 0; i < sp.number_threads; ++i) threads.push_back(gettbl(sp.threads_tbl, i));
    const Velorix& grid = *sp.velorix;
    const int32_t nodes = grid.mode == VELORIX_MODE_GENERAL ? grid.nn : grid.nx * grid.ny;
    sp.threads = pmtcomp_new(sp.number_threads, velorix_comp_sub, threads.data(), nodes);
    return sp.threads != nullptr;
}

void release_workers(SearchParams& sp) {
    pmtcomp_free(sp.threads);
    freetbl(sp.threads_tbl, velorix_free_search_thread);
    sp.threads = nullptr;
    sp.threads_tbl = nullptr;
}

void make_patterns_cache(SearchParams& sp) {
    if (sp.nstation_weights == 0 || sp.station_weights_arr) return;
    sp.owned->patterns_cache = newarr(nullptr);
    if (!sp.owned->patterns_cache) throw std::bad_alloc();
    sp.station_weights_arr = sp.owned->patterns_cache;
}

int setup(SearchParams& sp) {
    if (!check_search(sp)) return -1;
    make_patterns_cache(sp);
    if (sp.owned->threads_made != 0) return 0;
    make_scratch(sp);
    if (!make_workers(sp)) return -1;
    sp.owned->threads_made = sp.number_threads;
    return 0;
}

}  // namespace
}  // namespace velorix

extern "C" SearchParams* velorix_new_search(Velorix* grid) {
    if (!grid) return elog_log(0, "velorix_new_search: no grid.\n"), nullptr;
    return velorix::guarded("velorix_new_search", static_cast<SearchParams*>(nullptr), [&] {
        auto owned = std::make_unique<SearchOwned>();  // its members allocate as well
        auto* sp = static_cast<SearchParams*>(std::calloc(1, sizeof(SearchParams)));
        if (!sp) throw std::bad_alloc();
        sp->owned = owned.release();
        velorix::set_defaults(*sp, grid);
        return sp;
    });
}

extern "C" int velorix_setup_search(SearchParams* sp) {
    if (!sp || !sp->owned) {
        return elog_log(0, "velorix_setup_search: not from velorix_new_search.\n"), -1;
    }
    const int result =
        velorix::guarded("velorix_setup_search", -1, [&] { return velorix::setup(*sp); });
    if (result < 0 && sp->owned->threads_made == 0) velorix::release_workers(*sp);
    return result;
}

extern "C" void velorix_free_search(SearchParams* sp) {
    if (!sp) return;
    velorix::release_workers(*sp);
    std::free(sp->plot_buffer);
    std::free(sp->x_buffer);
    std::free(sp->y_buffer);
    freehook(&sp->hook_phase_sifter);
    freehook(&sp->hook_p_channel_sifter);
    freehook(&sp->hook_s_channel_sifter);
    delete sp->owned;
    std::free(sp);
}

extern "C" void velorix_release_search(void* sp) {
    velorix_free_search(static_cast<SearchParams*>(sp));
}
