#include "page_events.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "../support/times.h"

namespace velorix::assoc {
namespace {

// Whole units a degree, second, km ...: the digits of an event document.
constexpr double kTime = 1e4, kDegrees = 1e5, kArc = 1e4, kKm = 1e3, kAzimuth = 1e2, kShare = 1e3;

}  // namespace

Column& Table::operator[](const char* name) {
    // The names are literals, and few: a column is found by its address at its usual place.
    const auto at = std::ranges::find(columns_, std::string_view(name),
                                      [](const auto& column) { return column.first; });
    if (at != columns_.end()) return at->second;
    return columns_.emplace_back(name, Column()).second;
}

std::string Table::json() const {
    Members out;
    for (const auto& [name, column] : columns_) out.add(name, column.json());
    return out.json();
}

void PageEvents::add(const Event& e) {
    Table& t = events_;
    add_text(t, "id", e.id);
    t["time"].add(e.time, kTime);
    t["lat"].add(e.lat, kDegrees);
    t["lon"].add(e.lon, kDegrees);
    t["depth"].add(e.depth, kKm);
    t["fixed_depth"].add(int64_t{e.fixed_depth});
    add_text(t, "grid", e.grid);
    add_text(t, "model", e.model);
    t["p"].add(int64_t{e.p});
    t["s"].add(int64_t{e.s});
    t["defining"].add(int64_t{e.defining});
    t["stations"].add(int64_t{e.stations});
    t["scatter"].add(e.scatter, kTime);
    t["scatter_weighted"].add(e.scatter_weighted, kTime);
    t["gap"].add(e.gap, 10);
    t["nearest"].add(e.nearest, kArc);
    t["farthest"].add(e.farthest, kArc);
    t["median"].add(e.median, kArc);
    t["score"].add(e.score, 100);
    t["coverage"].add(e.coverage, kShare);
    t["on_edge"].add(int64_t{e.on_edge});
    t["major"].add(e.error.major, kKm);
    t["minor"].add(e.error.minor, kKm);
    t["strike"].add(e.error.strike, 10);
    t["depth_error"].add(e.error.depth, kKm);
    t["time_error"].add(e.error.time, kShare);
    t["picks"].add(static_cast<int64_t>(e.picks.size()));
    t["left"].add(static_cast<int64_t>(e.left_out.size()));
    for (const EventPick& pick : e.picks) add_pick(pick, e);
    for (const LeftOut& left : e.left_out) add_left(left, e);
}

// Times as seconds behind the origin: half as many digits. The origin's own rounding is kept out of
// them.
void PageEvents::add_identity(Table& table, const Pick& pick, double origin) {
    const double rounded_origin = std::round(origin * kTime);
    table["travel"].add(std::round(pick.time * kTime) - rounded_origin, 1.0);
    const bool named = !pick.location.empty();
    add_text(table, "channel", (named ? pick.location + "." : "") + pick.channel);
    add_text(table, "label", pick.phase);
    add_text(table, "id", pick.id);
}

void PageEvents::add_pick(const EventPick& p, const Event& event) {
    picks_["station"].add(stations_.of_pick(p, event));
    picks_["s"].add(int64_t{p.phase == 'S'});
    add_identity(picks_, p.pick, event.time);
    picks_["residual"].add(p.residual, kTime);
    picks_["distance"].add(p.delta, kArc);
    picks_["azimuth"].add(p.esaz, kAzimuth);
    picks_["back_azimuth"].add(p.seaz, kAzimuth);
    picks_["weight"].add(p.weight, kShare);
    picks_["defining"].add(int64_t{p.defining});
}

void PageEvents::add_left(const LeftOut& l, const Event& event) {
    left_["station"].add(stations_.of_pick(l.pick));
    left_["s"].add(int64_t{l.phase == 'S'});
    add_identity(left_, l.pick, event.time);
    left_["residual"].add(l.residual, kTime);
    left_["limit"].add(l.limit, kTime);
    add_text(left_, "why", reason_name(l.reason));
    add_text(left_, "reason", reason_text(l));
}

void PageEvents::add(const Refusal& r) {
    // The same place may be tried for several origins.
    const std::string what = iso_time(r.time, 1) + " " + verdict_text(r.verdict) + " " + r.grid;
    if (!known_refusals_.insert(what).second) return;
    Table& t = refused_;
    constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
    t["time"].add(r.time, kTime);
    t["lat"].add(r.scanned ? r.best.lat : kUnknown, kDegrees);
    t["lon"].add(r.scanned ? r.best.lon : kUnknown, kDegrees);
    t["depth"].add(r.scanned ? r.best.depth : kUnknown, kKm);
    t["score"].add(r.scanned ? r.score : kUnknown, 100);
    t["p"].add(int64_t{r.p});
    t["s"].add(int64_t{r.s});
    t["stations"].add(int64_t{r.stations});
    add_text(t, "grid", r.grid);
    add_text(t, "why", lack_name(r.verdict.lack));
    add_text(t, "reason", verdict_text(r.verdict));
}

void PageEvents::write(Members& out) const {
    out.add("events", events_.json())
        .add("picks", picks_.json())
        .add("left", left_.json())
        .add("refused", refused_.json());
}

}  // namespace velorix::assoc
