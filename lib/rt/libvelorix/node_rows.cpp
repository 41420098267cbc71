#include "node_rows.h"

#include <algorithm>
#include <cmath>

#include "platform/elog/elog.h"
#include "platform/ttcalc/arrival_selection.h"
#include "support/arc.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

// Entries of one call: enough that threads wait for each other rarely, few enough that progress
// moves and rows stay in the cache.
constexpr size_t kMostEntries = 1u << 19;
constexpr size_t kLeastNodes = 16;

/// A value known to within `error`, as the float that every number that near becomes.
/// @return false when they do not agree
bool to_float(double value, double error, float& out) {
    out = static_cast<float>(value - error);
    return out == static_cast<float>(value + error);
}

}  // namespace

/// A thread's state and scratch.
struct NodeRows::Worker {
    Worker(NodeRows& in_rows, Hook** shared) : rows(in_rows), hook(shared ? shared : &own) {
        p.resize(rows.width_);
        s.resize(rows.width_);
        distance.resize(rows.width_);
    }
    ~Worker() { freehook(&own); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void node(size_t node);
    bool entry(const Source& source, size_t station, size_t at);
    bool all_arrivals(const Source& source, size_t station, size_t at);
    void fail(size_t at) { failed = std::min(failed, static_cast<int64_t>(at)); }

    NodeRows& rows;
    Hook* own = nullptr;
    Hook** hook;
    Tbl* times = nullptr;
    std::vector<double> p, s, distance;
    std::vector<size_t> order;
    int64_t failed = 0;  // first entry that cannot be computed
};

void NodeRows::Worker::node(size_t node) {
    const Source& at = rows.nodes_[node];
    const TTPoint source{at.lat, at.lon, at.depth, 0.0, ""};
    TTFirst p_wanted{p.data(), nullptr, nullptr}, s_wanted{s.data(), nullptr, nullptr};
    const size_t first = node * rows.width_;
    if (ttfirst(rows.method_.text, rows.model_.text, &source, rows.receivers_,
                rows.tables_.p ? &p_wanted : nullptr, rows.tables_.s ? &s_wanted : nullptr,
                distance.data(), hook) < 0) {
        return fail(first);
    }
    for (size_t i = 0; i < rows.width_; ++i) {
        if (!entry(at, i, first + i)) return fail(first + i);
    }
}

// One entry as floats. Where those of the interval that a number lies in differ, the calculator's
// own answer decides.
bool NodeRows::Worker::entry(const Source& source, size_t station, size_t at) {
    float rounded = 0.0F;
    if (rows.tables_.distances) {
        if (!to_float(distance[station], TTFIRST_DISTANCE_ERROR, rounded)) {
            const TTPoint& receiver = rows.stations_[station];
            rounded =
                static_cast<float>(arc_degrees(receiver.lat, receiver.lon, source.lat, source.lon));
        }
        rows.distances_[at] = rounded;
    }
    bool settled = true;
    if (rows.tables_.p) {
        settled = to_float(p[station], TTFIRST_TIME_ERROR, rounded);
        rows.p_[at] = rounded;
        if (std::isnan(rounded)) return false;
    }
    if (rows.tables_.s) {
        settled = to_float(s[station], TTFIRST_TIME_ERROR, rounded) && settled;
        rows.s_[at] = rounded;
        if (std::isnan(rounded)) return false;
    }
    return settled || all_arrivals(source, station, at);
}

bool NodeRows::Worker::all_arrivals(const Source& source, size_t station, size_t at) {
    const TTPoint& receiver = rows.stations_[station];
    const TTGeometry geometry{{source.lat, source.lon, source.depth, 0.0, ""}, receiver};
    const double degrees = arc_degrees(receiver.lat, receiver.lon, source.lat, source.lon);
    if (ttcalc(rows.method_.text, rows.model_.text, "P,S", 0, &geometry, &times, hook) < 1)
        return false;
    if (rows.tables_.p)
        rows.p_[at] = static_cast<float>(first_arrival(times, degrees, qualifies_as_P));
    if (rows.tables_.s)
        rows.s_[at] = static_cast<float>(first_arrival(times, degrees, qualifies_as_S));
    return true;
}

NodeRows::NodeRows(const Velorix& grid, Tables tables, Hook** hook, int threads)
    : method_(grid.method), model_(grid.model), tables_(tables) {
    std::vector<double> lat, lon, elev;
    for (const Station& station : stations(grid)) {
        lat.push_back(station.lat);
        lon.push_back(station.lon);
        elev.push_back(station.elev);
        stations_.push_back({station.lat, station.lon, -station.elev, 0.0, ""});
    }
    width_ = lat.size();
    receivers_ = ttreceivers_new(static_cast<int64_t>(width_), lat.data(), lon.data(), elev.data());
    ready_ = prepare(hook, threads);
}

NodeRows::~NodeRows() {
    pmtcomp_free(group_);
    ttreceivers_free(receivers_);
}

bool NodeRows::prepare(Hook** hook, int threads) {
    if (!receivers_) return false;
    most_nodes_ = std::max(kMostEntries / std::max<size_t>(width_, 1),
                           kLeastNodes * static_cast<size_t>(threads));
    const size_t entries = most_nodes_ * width_;
    if (tables_.p) p_.resize(entries);
    if (tables_.s) s_.resize(entries);
    if (tables_.distances) distances_.resize(entries);
    std::vector<void*> workers;
    for (int i = 0; i < threads; ++i) {
        workers_.push_back(std::make_unique<Worker>(*this, i == 0 ? hook : nullptr));
        if (i > 0 && !(workers_.back()->own = ttshare(*hook))) return false;
        workers.push_back(workers_.back().get());
    }
    if (threads == 1) return true;
    group_ = pmtcomp_new(threads, work, workers.data(), threads);
    return group_ != nullptr;
}

// The i-th thread takes the i-th part of the nodes, those of one depth after another: its tables of
// first arrivals stay in the cache.
int64_t NodeRows::work(int32_t first, int32_t, void* data) {
    Worker& worker = *static_cast<Worker*>(data);
    const std::span<const Source> nodes = worker.rows.nodes_;
    const size_t parts = worker.rows.workers_.size(), part = static_cast<size_t>(first);
    worker.failed = INT64_MAX;
    worker.order.clear();
    for (size_t n = nodes.size() * part / parts; n < nodes.size() * (part + 1) / parts; ++n)
        worker.order.push_back(n);
    std::ranges::stable_sort(worker.order, {}, [&](size_t n) { return nodes[n].depth; });
    for (const size_t n : worker.order) worker.node(n);
    return 0;
}

int64_t NodeRows::compute(std::span<const Source> nodes) {
    nodes_ = nodes;
    int64_t done = static_cast<int64_t>(nodes.size() * width_);
    if (!group_) {
        work(0, 1, workers_[0].get());
    } else if (pmtcomp_processthreads(group_) != static_cast<long>(workers_.size())) {
        return 0;
    }
    for (const auto& worker : workers_) done = std::min(done, worker->failed);
    return done;
}

}  // namespace velorix
