// A grid laid out and computed, step by step as the program velorix does it.
#include <algorithm>
#include <cstdlib>
#include <mutex>

#include "builders.h"
#include "grids.h"
#include "platform/elog/elog.h"
#include "platform/pf/pf.h"

namespace velorix::python {
namespace {

struct FreePf {
    void operator()(Pf* pf) const { pffree(pf); }
};
struct FreeGrid {
    void operator()(Velorix* grid) const { velorix_free(grid); }
};
struct Free {
    void operator()(char* memory) const { std::free(memory); }
};
using Text = std::unique_ptr<char, Free>;

// Building shares state of the process: one grid at a time.
std::mutex building;
const std::function<void(double)>* listening = nullptr;
double layers = 1.0;  // depths of the grid that is being computed
double done = 0.0;    // of them
double latest = 0.0;

// The pass counts to 100 once a depth on a regular mesh.
void tell(const char*, int general, double, double, double, double percent) {
    if (percent < latest) done += 1.0;
    latest = percent;
    (*listening)(std::min(100.0, general ? percent : (100.0 * done + percent) / layers));
}

/// The table of the plan's grid; it belongs to `root`.
Pf* parameters_of(const GridPlan& plan, std::unique_ptr<Pf, FreePf>& root, const LogScope& log) {
    Pf *whole = nullptr, *grids = nullptr, *own = nullptr;
    if (pfparse(plan.toml.c_str(), plan.label.c_str(), &whole) < 0)
        throw log.failure("no parameters");
    root.reset(whole);
    if (parse_param(whole, "grids", PF_ARRAY, 1, &grids) < 0 ||
        parse_param(grids, plan.name.c_str(), PF_ARRAY, 1, &own) < 0) {
        throw log.failure("no parameters of the grid");
    }
    return own;
}

const tool::Builder& builder_of(Pf* pf, const LogScope& log) {
    char* value = nullptr;
    if (parse_param(pf, "mode", PF_STRING, 1, &value) < 0) throw log.failure("no mode");
    const Text mode(value);
    const tool::Builder* builder = tool::find_builder(value);
    if (!builder) {
        elog_log(0, "unknown mode '%s': it is edp, slow, file or utele\n", value);
        throw log.failure("unknown mode");
    }
    return *builder;
}

}  // namespace

GridPtr build_grid(const GridPlan& plan, const std::function<void(double)>& progress,
                   const LogScope& log) {
    const std::lock_guard lock(building);
    std::unique_ptr<Pf, FreePf> root;
    Pf* pf = parameters_of(plan, root, log);
    const tool::Builder& builder = builder_of(pf, log);
    std::unique_ptr<Velorix, FreeGrid> grid(velorix_new());
    if (!grid || velorix_setup_stations(grid.get(), plan.stations.c_str(), pf) < 0 ||
        builder.setup(grid.get(), plan.name.c_str(), pf) < 0) {
        throw log.failure("the grid cannot be laid out");
    }
    char* heap = nullptr;
    int32_t size = 0, capacity = 0;
    const int packed = velorix_create_heap(grid.get(), &heap, &size, &capacity);
    auto record = std::make_shared<GridRecord>(grid.release(), heap);
    if (packed < 0) throw log.failure("the grid cannot be packed");
    listening = &progress;
    layers = std::max(record->get()->nd, 1);
    done = latest = 0.0;
    if (velorix_compute_travel_times(record->get(), tell) < 0)
        throw log.failure("the travel times cannot be computed");
    tool::clear_addresses(heap);
    return record;
}

}  // namespace velorix::python
