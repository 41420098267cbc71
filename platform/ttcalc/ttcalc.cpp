#include "platform/ttcalc/ttcalc.h"

#include <cmath>
#include <cstring>

#include "platform/elog/elog.h"
#include "platform/ttcalc/state.h"

namespace {

using namespace velorix::tt;

constexpr double kHighest = kTopHeight;  // km

bool check_positions(State& state, const TTGeometry& geometry, const char* caller) {
    if (set_positions(state, geometry)) return true;
    const TTPoint &source = geometry.source, &receiver = geometry.receiver;
    elog_log(0, "%s: a coordinate is not a number: source %g %g, receiver %g %g\n", caller,
             source.lat, source.lon, receiver.lat, receiver.lon);
    return false;
}

bool check_depth(const OpenModel& model, const char* what, double z, const char* caller) {
    if (is_inside(model, z)) return true;
    if (std::isnan(z)) {
        elog_log(0, "%s: the %s's depth is not a number\n", caller, what);
    } else if (z < 0.0) {
        elog_log(0, "%s: the %s is %g km above the surface, the limit is %g km\n", caller, what, -z,
                 kHighest);
    } else {
        elog_log(0, "%s: the %s at %g km is below the mantle, which ends at %g km\n", caller, what,
                 z, model.deepest());
    }
    return false;
}

// The arrivals of a call, in state.arrivals.
bool calculate(State& state, const char* method, const char* model, const char* phases,
               const TTGeometry& geometry, const char* caller) {
    if (strcmp(method, "tttaup") != 0) {
        elog_log(0, "%s: unknown method '%.64s', only tttaup is known\n", caller, method);
        return false;
    }
    const bool want_p = strcmp(phases, "P,S") == 0 || strcmp(phases, "P") == 0;
    const bool want_s = strcmp(phases, "P,S") == 0 || strcmp(phases, "S") == 0;
    if (!want_p && !want_s) {
        elog_log(0, "%s: unknown phase list '%.64s', it is P,S or P or S\n", caller, phases);
        return false;
    }
    if (!open_model(state, model, caller) || !check_positions(state, geometry, caller))
        return false;
    OpenModel& open = *state.model;
    if (!check_depth(open, "source", geometry.source.z, caller) ||
        !check_depth(open, "receiver", geometry.receiver.z, caller)) {
        return false;
    }
    const double source = kEarthRadius - geometry.source.z;
    const double receiver = kEarthRadius - geometry.receiver.z;
    open.arrivals(std::min(source, receiver), std::max(source, receiver), state.distance, want_p,
                  want_s, state.arrivals);
    return true;
}

int fill_times(State& state, const TTGeometry& geometry, Tbl** times) {
    const size_t n = state.arrivals.size();
    if (!state.times.resize(n)) throw std::bad_alloc();
    const double receiver = kEarthRadius - geometry.receiver.z;
    state.source_eta.set(*state.model, kEarthRadius - geometry.source.z);
    for (size_t i = 0; i < n; ++i) {
        const Arrival& arrival = state.arrivals[i];
        TTTime& time = state.times.records[i];
        time.value = arrival.t;
        time.deriv[0] = arrival.p * kDegree;
        time.deriv[1] =
            state.source_eta.depth_slowness(arrival.p, arrival.family, arrival.upward, receiver);
        time.deriv[2] = 0.0;
        memcpy(time.phase, phase_name(arrival.family, arrival.branch).data(), sizeof time.phase);
    }
    *times = state.times.list;
    return static_cast<int>(n);
}

int fill_slows(State& state, Tbl** slows) {
    const size_t n = state.arrivals.size();
    if (!state.slows.resize(n)) throw std::bad_alloc();
    for (size_t i = 0; i < n; ++i) {
        const Arrival& arrival = state.arrivals[i];
        TTSlow& slow = state.slows.records[i];
        const double slowness = arrival.p / kEarthRadius;
        slow = {slowness * state.east, slowness * state.north, {0, 0, 0}, {0, 0, 0}, {}};
        memcpy(slow.phase, phase_name(arrival.family, arrival.branch).data(), sizeof slow.phase);
    }
    *slows = state.slows.list;
    return static_cast<int>(n);
}

}  // namespace

extern "C" int ttcalc(const char* method, const char* model, const char* phases, int,
                      const TTGeometry* geometry, Tbl** times, Hook** hook) {
    return guarded("ttcalc", [&] {
        State& state = state_of(hook);
        if (!calculate(state, method, model, phases, *geometry, "ttcalc")) return -1;
        return fill_times(state, *geometry, times);
    });
}

extern "C" int ucalc(const char* method, const char* model, const char* phases, int,
                     const TTGeometry* geometry, Tbl** slows, Hook** hook) {
    return guarded("ucalc", [&] {
        State& state = state_of(hook);
        if (!calculate(state, method, model, phases, *geometry, "ucalc")) return -1;
        return fill_slows(state, slows);
    });
}
