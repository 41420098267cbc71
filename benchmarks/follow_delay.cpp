// How soon events are announced when a stream of picks is followed, and what becomes of what was
// announced. Picks arrive at their own times, in the order of the files.
//   follow_delay GRID_FILE PICK_FILE...
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>

#include "events/grid_times.h"
#include "velorixassoc.h"

using namespace velorix::assoc;

namespace {

using Clock = std::chrono::steady_clock;

/// One track from its first report to its last.
struct Followed {
    double announced = NAN, wall = NAN;  // data time, and s after the pick had arrived
    Position first, last;
    int reports = 0;
    Kind end = Kind::announced;
    Event final;
};

double at(std::vector<double>& values, double share) {
    if (values.empty()) return NAN;
    std::ranges::sort(values);
    return values[static_cast<size_t>(share * static_cast<double>(values.size() - 1))];
}

// Arrival of the pick that completes the least number that an event needs.
double completed(const Event& event, int min_picks, int min_p, int min_stations) {
    std::vector<EventPick> picks;
    std::ranges::copy_if(event.picks, std::back_inserter(picks), &EventPick::defining);
    std::ranges::sort(picks, {}, [](const EventPick& p) { return p.pick.time; });
    std::set<std::string> stations;
    int count = 0, p = 0;
    for (const EventPick& pick : picks) {
        ++count;
        p += pick.phase == 'P';
        stations.insert(pick.pick.network + pick.pick.station);
        if (count >= min_picks && p >= min_p && static_cast<int>(stations.size()) >= min_stations)
            return pick.pick.time;
    }
    return NAN;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return std::fputs("usage: follow_delay GRID_FILE PICK_FILE...\n", stderr), 1;
    GridSet grids;
    Parameters parameters;
    if (!grids.load({argv[1]}, parameters, 1)) return 1;
    PickStreamOptions options;
    for (int i = 2; i < argc; ++i) options.paths.emplace_back(argv[i]);
    PickStream stream;
    if (!stream.open(options)) return 1;

    std::map<std::string, Followed> tracks;
    double now = 0.0;
    Clock::time_point arrived;
    Listener listener;
    listener.on_report = [&](const Report& report) {
        Followed& track = tracks[report.track];
        const Position place{report.event.lat, report.event.lon, report.event.depth};
        if (report.kind == Kind::announced) {
            track.announced = now;
            track.wall = std::chrono::duration<double>(Clock::now() - arrived).count();
            track.first = place;
        }
        ++track.reports;
        track.last = place;
        track.end = report.kind;
        if (report.kind == Kind::final) track.final = report.event;
    };
    Associator associator(grids, StreamRules(), listener, true);
    const auto begin = Clock::now();
    std::vector<double> per_pick;
    for (Pick pick; stream.next(pick) == PickStream::Next::pick;) {
        now = std::max(now, pick.time);
        arrived = Clock::now();
        if (associator.add(std::move(pick)) == Added::failed) return 1;
        per_pick.push_back(std::chrono::duration<double>(Clock::now() - arrived).count());
    }
    if (!associator.finish()) return 1;
    const double total = std::chrono::duration<double>(Clock::now() - begin).count();

    std::vector<double> delay, wall, moved;
    long announced = 0, withdrawn = 0, finals = 0, unannounced = 0, near = 0, reports = 0;
    for (const auto& [id, track] : tracks) {
        const bool was_announced = !std::isnan(track.announced);
        reports += track.reports;
        announced += was_announced;
        withdrawn += track.end == Kind::withdrawn;
        finals += track.end == Kind::final;
        unannounced += !was_announced;
        if (!was_announced) continue;
        wall.push_back(track.wall);
        if (track.end != Kind::final) continue;
        delay.push_back(track.announced - completed(track.final, 8, 3, 4));
        const double km =
            path_between(track.first, track.last.lat, track.last.lon).delta * kKmPerDegree;
        moved.push_back(km);
        near += km <= 10.0;
    }
    std::printf("final events               %ld, %ld of them not announced before\n", finals,
                unannounced);
    std::printf("announced                  %ld, withdrawn %ld (%.1f %%)\n", announced, withdrawn,
                100.0 * static_cast<double>(withdrawn) / static_cast<double>(announced));
    std::printf(
        "data time from the pick that completes the least number: median %.2f s, 95 %% "
        "%.2f s\n",
        at(delay, 0.5), at(delay, 0.95));
    std::printf("wall time from a pick to its announcement: median %.1f ms, 99 %% %.1f ms\n",
                1e3 * at(wall, 0.5), 1e3 * at(wall, 0.99));
    std::printf("first epicentre within 10 km of the last: %.1f %%; median %.2f km\n",
                100.0 * static_cast<double>(near) / static_cast<double>(moved.size()),
                at(moved, 0.5));
    std::printf("reports an event           %.1f\n",
                static_cast<double>(reports) / static_cast<double>(tracks.size()));
    std::printf(
        "a pick                     median %.3f ms, 99 %% %.2f ms, most %.0f ms; %.1f s in all\n",
        1e3 * at(per_pick, 0.5), 1e3 * at(per_pick, 0.99), 1e3 * at(per_pick, 1.0), total);
    return 0;
}
