#include "association.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace velorix::assoc {
namespace {

// Picks farther off than so many limits are no question of an event. 1.5 and 6: the same events.
constexpr double kNear = 3.0;

/// A pick as one phase.
struct AsPhase {
    char phase;
    bool allowed, timed;
    double residual = 0.0, limit = 0.0;
    double ratio = std::numeric_limits<double>::infinity();  // of |residual| to the limit

    AsPhase(char name, bool may, double time, double travel, const StationRule& rule,
            const Limits& limits)
        : phase(name), allowed(may), timed(time >= 0.0) {
        if (!timed) return;
        residual = travel - time;
        limit = limits.of(rule, phase);
        if (limit > 0.0) ratio = std::fabs(residual) / limit;
    }
    bool near() const { return allowed && ratio <= kNear; }
};

}  // namespace

Fit fit_of(const SearchGrid& grid, const Role& role, const Times& times, double travel,
           const Limits& limits) {
    const StationRule& rule = grid.station_rules[static_cast<size_t>(role.place)];
    const AsPhase p('P', role.p, times.p, travel, rule, limits);
    const AsPhase s('S', role.s, times.s, travel, rule, limits);
    const bool as_s = p.near() == s.near() ? s.ratio < p.ratio : s.near();
    const AsPhase& chosen = as_s ? s : p;
    Fit fit{chosen.phase, Reason::accepted, chosen.residual, chosen.limit};
    if (!chosen.timed) {
        fit.reason = Reason::no_time;
    } else if (!chosen.allowed) {
        fit.reason = role.sifted ? Reason::sifted : Reason::label;
    } else if (chosen.ratio > 1.0) {
        fit.reason = Reason::beyond_limit;
    }
    return fit;
}

Times slowed_times(const SearchGrid& grid, const Solution& at, int station) {
    Times times = grid.times.times(at.spot, station);
    times.p *= 1.0 + at.slowing;
    times.s *= 1.0 + at.slowing;
    return times;
}

double station_weight(const SearchGrid& grid, int station, char phase, const Spot& spot) {
    const SearchParams& sp = *grid.search;
    const bool s = phase == 'S';
    const double weight = grid.station_rules[static_cast<size_t>(station)].weight(phase);
    const int nodes = s ? sp.use_dwts : sp.use_dwt;
    if (nodes == 0) return weight;
    const Station& sta = grid.station(station);
    const double distance = path_between(grid.times.position(spot), sta.lat, sta.lon).delta;
    return weight * get_weight(distance, nodes, s ? sp.s_weights : sp.p_weights);
}

namespace {

/// The best P and S so far of one station.
struct Slots {
    int station = -1;
    Times times;
    Member p, s;
    double p_limit = 0.0, s_limit = 0.0;
};

void offer(Member& slot, const Member& offered) {
    if (!slot.waiting || std::fabs(offered.residual) < std::fabs(slot.residual)) slot = offered;
}

// S comes after P: of two picks the other way round the one that fits better stays.
void keep_in_order(Slots& slot) {
    if (!slot.p.waiting || !slot.s.waiting) return;
    if (slot.s.waiting->pick.time > slot.p.waiting->pick.time) return;
    const bool p_stays =
        std::fabs(slot.p.residual) * slot.s_limit <= std::fabs(slot.s.residual) * slot.p_limit;
    (p_stays ? slot.s : slot.p).waiting = nullptr;
}

}  // namespace

std::vector<Member> associate(const SearchGrid& grid, size_t number,
                              std::span<Waiting* const> picks, const Solution& at,
                              const Limits& limits) {
    std::vector<Slots> slots;
    std::vector<int> slot_of(static_cast<size_t>(grid.times.grid().ns), -1);
    for (Waiting* waiting : picks) {
        const Role& role = waiting->roles[number];
        if (role.station < 0) continue;
        const double travel = waiting->pick.time - at.time;
        if (travel < 0.0 || travel > grid.rules.window) continue;
        int& place = slot_of[static_cast<size_t>(role.station)];
        if (place < 0) {
            place = static_cast<int>(slots.size());
            slots.emplace_back().station = role.station;
            slots.back().times = slowed_times(grid, at, role.station);
        }
        Slots& slot = slots[static_cast<size_t>(place)];
        const Fit fit = fit_of(grid, role, slot.times, travel, limits);
        if (fit.reason != Reason::accepted) continue;
        const bool s = fit.phase == 'S';
        (s ? slot.s_limit : slot.p_limit) = fit.limit;
        offer(s ? slot.s : slot.p, {waiting, role.station, fit.phase, fit.residual, 1.0, true});
    }
    std::vector<Member> members;
    for (Slots& slot : slots) {
        keep_in_order(slot);
        for (Member* member : {&slot.p, &slot.s}) {
            if (!member->waiting) continue;
            member->defining = station_weight(grid, slot.station, member->phase, at.spot) > 0.0;
            members.push_back(*member);
        }
    }
    return members;
}

namespace {

/// What a solution holds already.
struct Taken {
    std::set<std::pair<int, char>> phases;
    std::set<const Waiting*> picks;

    explicit Taken(const Solution& solution) {
        for (const Member& m : solution.members) {
            phases.emplace(m.station, m.phase);
            picks.insert(m.waiting);
        }
    }
};

// A pick that fits and is not taken stands behind a better one, or on the wrong side of its
// station's other phase.
Reason reason_of(const Waiting& waiting, const Fit& fit, const Taken& taken, int station) {
    if (waiting.event != 0) return Reason::other_event;
    if (fit.reason == Reason::label || fit.reason == Reason::sifted) return fit.reason;
    if (taken.phases.count({station, fit.phase})) return Reason::better_pick;
    return fit.reason == Reason::accepted ? Reason::out_of_order : fit.reason;
}

}  // namespace

std::vector<LeftOut> left_out_of(const SearchGrid& grid, size_t number, const Solution& solution,
                                 std::span<Waiting* const> nearby) {
    const Taken taken(solution);
    std::vector<LeftOut> out;
    for (const Waiting* waiting : nearby) {
        if (taken.picks.count(waiting)) continue;
        const Role& role = waiting->roles[number];
        const Times times = slowed_times(grid, solution, role.place);
        const Fit fit =
            fit_of(grid, role, times, waiting->pick.time - solution.time, {.join = true});
        if (fit.reason == Reason::no_time || !fit.within(kNear)) continue;
        out.push_back({waiting->pick, fit.phase, fit.residual, fit.limit,
                       reason_of(*waiting, fit, taken, role.place)});
    }
    return out;
}

}  // namespace velorix::assoc
