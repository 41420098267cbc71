#ifndef VELORIX_TESTS_ASSOC_SYNTHETIC_PICKS_H
#define VELORIX_TESTS_ASSOC_SYNTHETIC_PICKS_H
// Earthquakes under a small network of 16 stations, as picks with noise; and a run of the
// associator over them.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/tiny_grid.h"
#include "velorixassoc.h"

namespace velorix::assoc {

using velorix_test::flat_distance;
using velorix_test::ray_time;

inline std::vector<Station> network() {
    std::vector<Station> out;
    for (int i = 0; i < 16; ++i) {
        const int row = i / 4;
        const double lat = 0.13 + 0.2 * row + 0.03 * (i % 3), lon = 0.11 + 0.2 * (i % 4);
        out.push_back(velorix_test::make_station(std::to_string(100 + i), lat, lon));
    }
    return out;
}

struct Quake {
    double time, lat, lon, depth;
};

inline Pick pick_of(const Station& station, const std::string& phase, double time) {
    Pick pick;
    pick.time = time;
    pick.network = "XX";
    pick.station = station.sta;
    pick.phase = phase;
    return pick;
}

/// Picks of earthquakes off the nodes, with noise and unrelated picks.
inline std::vector<Pick> picks_of(const std::vector<Quake>& quakes, int noise, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> error(0.0, 0.03);
    std::vector<Pick> picks;
    const auto stations = network();
    for (const Quake& q : quakes) {
        for (const Station& s : stations) {
            const double delta = flat_distance(q.lat, q.lon, s.lat, s.lon);
            for (const auto& [phase, velocity] : {std::pair{"P", 6.0}, std::pair{"S", 3.5}}) {
                const double travel = ray_time(delta, q.depth, velocity);
                picks.push_back(pick_of(s, phase, q.time + travel + error(random)));
            }
        }
    }
    std::uniform_real_distribution<double> when(0.0, 1000.0);
    for (int i = 0; i < noise; ++i) {
        picks.push_back(pick_of(stations[random() % 16], i % 2 ? "P" : "S", 1e9 + when(random)));
    }
    std::ranges::sort(picks, {}, &Pick::time);
    return picks;
}

/// What a run tells.
struct Told {
    std::vector<Report> reports;
    std::vector<Refusal> refusals;
    PickFates fates;
    long most_waiting = 0;

    /// Final events.
    std::vector<Event> events() const {
        std::vector<Event> out;
        for (const Report& report : reports) {
            if (report.kind == Kind::final) out.push_back(report.event);
        }
        return out;
    }
};

inline Told associate_all(GridSet& grids, const StreamRules& rules, const std::vector<Pick>& picks,
                          bool announce = false) {
    Told told;
    Listener listener;
    listener.on_report = [&](const Report& report) { told.reports.push_back(report); };
    listener.on_refusal = [&](const Refusal& refusal) { told.refusals.push_back(refusal); };
    Associator associator(grids, rules, listener, announce);
    for (const Pick& pick : picks) EXPECT_NE(associator.add(pick), Added::failed);
    EXPECT_TRUE(associator.finish());
    told.fates = associator.fates();
    told.most_waiting = associator.most_waiting();
    return told;
}

}  // namespace velorix::assoc
#endif
