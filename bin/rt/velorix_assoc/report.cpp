#include "report.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>

#include "text.h"

namespace velorix::assoc {
namespace {

const char* name_of(Labels labels) {
    switch (labels) {
        case Labels::p_first:
            return "a P label may be an S";
        case Labels::ignore:
            return "ignored";
        case Labels::trust:
            break;
    }
    return "trusted";
}

std::string grid_line(const SearchGrid& grid) {
    const SearchParams& sp = *grid.search;
    const auto at_work = std::count(grid.alive.begin(), grid.alive.end(), 1);
    const double depth = grid.times.depth_spacing_km();
    const std::string spacing =
        depth > 0.0 ? format("%.1f km and %.1f km in depth", grid.times.spacing_km(), depth)
                    : format("%.1f km", grid.times.spacing_km());
    return format(
        "grid %s: %lld nodes about %s apart, %d stations, %ld of them with picks; an event needs "
        "%d "
        "picks (%d P, %d S) at %d stations within %.2f s (P) and %.2f s (S), looked for in windows "
        "of "
        "%.0f s\n",
        grid.name.c_str(), static_cast<long long>(grid.times.nodes()), spacing.c_str(),
        grid.times.grid().ns, static_cast<long>(at_work), grid.rules.min_picks, grid.rules.min_p,
        grid.rules.min_s, grid.rules.min_stations, sp.p_max_resid, sp.s_max_resid,
        grid.rules.window);
}

std::string pick_text(const Pick& pick, char phase, double residual) {
    return format("  %-2s %-15s %c %s %+7.3f s", pick.network.c_str(),
                  full_name(pick).c_str() + (pick.network.empty() ? 1 : pick.network.size() + 1),
                  phase, iso_time(pick.time, 2).c_str(), residual);
}

Pick station_named(const std::string& name) {
    Pick pick;
    pick.network = name.substr(0, name.find('.'));
    pick.station = name.substr(name.find('.') + 1);
    return pick;
}

// A grid that knows stations by their code alone takes those of every network for its own.
std::string shared_codes(const PickSurvey& survey, const SearchGrid& grid) {
    std::map<int, std::string> names;
    for (const auto& [name, activity] : survey.stations) {
        const int number = grid.station_of(station_named(name));
        if (number >= 0) names[number] += " " + name;
    }
    std::string out;
    int count = 0;
    for (const auto& [number, list] : names) {
        if (list.find(' ', 1) == list.npos) continue;
        if (++count <= 10) out += (count > 1 ? ";" : "") + list;
    }
    if (count == 0) return out;
    return format("grid %s: picks of several stations are taken for one of the same code (%d):",
                  grid.name.c_str(), count) +
           out + (count > 10 ? " ...\n" : "\n");
}

std::string trial_line(const Trial& trial) {
    std::string out = "no event at " + iso_time(trial.time, 2);
    if (trial.scanned) {
        out += format(" %.3f %.3f %.1f km (grid %s): score %.1f, %d P %d S at %d stations",
                      trial.best.lat, trial.best.lon, trial.best.depth, trial.grid.c_str(),
                      trial.score, trial.p, trial.s, trial.stations);
    } else {
        out += " (grid " + trial.grid + ")";
    }
    return out + "; " + trial.lacking + "\n";
}

}  // namespace

std::string opening(const PickSurvey& survey, const GridSet& grids, Labels labels) {
    std::string out = format(
        "%ld picks (%s) at %zu stations: %ld P, %ld S, %ld without a label, %ld of "
        "phases no grid carries; labels %s\n",
        survey.read, survey.kinds.c_str(), survey.stations.size(), survey.label_p, survey.label_s,
        survey.label_none, survey.label_other, name_of(labels));
    if (survey.used() > 0) {
        out += "from " + iso_time(survey.first, 2) + " to " + iso_time(survey.last, 2);
        out += survey.outside ? format(", %ld outside the span asked for\n", survey.outside) : "\n";
    }
    if (survey.bad > 0) out += format("%ld unreadable lines passed over\n", survey.bad);
    for (const SearchGrid& grid : grids.grids()) out += grid_line(grid);
    std::string missing;
    int count = 0;
    for (const auto& [name, activity] : survey.stations) {
        const Pick pick = station_named(name);
        const bool known =
            std::any_of(grids.grids().begin(), grids.grids().end(),
                        [&](const SearchGrid& g) { return g.station_of(pick) >= 0; });
        if (!known && ++count <= 20) missing += " " + name + format(" (%ld)", activity.picks());
    }
    if (count > 0) {
        out += format("%d stations with picks are in no grid:", count) + missing +
               (count > 20 ? " ...\n" : "\n");
    }
    for (const SearchGrid& grid : grids.grids()) out += shared_codes(survey, grid);
    return out;
}

std::string closing(const Associator& associator, const PickStream& stream) {
    auto& self = const_cast<Associator&>(associator);
    long taken = 0;
    for (const Event& event : self.events()) taken += static_cast<long>(event.picks.size());
    const long used = stream.survey().used();
    std::string out = format(
        "%zu events with %ld of %ld picks (%.0f%%), %ld scans, at most %ld picks "
        "in memory\n",
        self.events().size(), taken, used,
        used > 0 ? 100.0 * static_cast<double>(taken) / static_cast<double>(used) : 0.0,
        associator.scans(), associator.waiting());
    if (stream.duplicates() > 0)
        out += format("%ld duplicate picks dropped\n", stream.duplicates());
    if (!associator.refusals().empty()) out += "candidates that came to nothing:";
    const char* separator = " ";
    for (const auto& [reason, count] : associator.refusals()) {
        out += separator + format("%ld %s", count, reason.c_str());
        separator = ", ";
    }
    return associator.refusals().empty() ? out : out + "\n";
}

std::string event_line(const Event& e) {
    return format("%s %8.4f %9.4f %5.1f km, %d P %d S at %d stations, %.2f s, gap %.0f, score %.1f",
                  iso_time(e.time, 2).c_str(), e.lat, e.lon, e.depth, e.p, e.s, e.stations,
                  e.scatter, e.gap, e.score);
}

std::string explanation(double time, double window, const std::vector<Event>& events,
                        const std::vector<Trial>& trials) {
    std::string out = "around " + iso_time(time, 2) + ":\n";
    bool any = false;
    for (const Event& event : events) {
        if (std::fabs(event.time - time) > window) continue;
        any = true;
        out += "event " + event_line(event) + "\n";
        for (const EventPick& p : event.picks) {
            out += pick_text(p.pick, p.phase, p.residual) +
                   (p.defining ? "\n" : "  associated only\n");
        }
        for (const LeftOut& l : event.left_out) {
            out += pick_text(l.pick, l.phase, l.residual) + "  left out: " + l.reason + "\n";
        }
    }
    std::set<std::string> said;  // the same place may be tried for several origins
    for (const Trial& trial : trials) {
        if (std::fabs(trial.time - time) > window) continue;
        any = true;
        const std::string text = trial_line(trial);
        if (said.insert(text).second) out += text;
    }
    if (!any) out += "nothing: at no node did enough picks go back to one time\n";
    return out;
}

Progress::Progress(bool enabled, long picks)
    : enabled_(enabled && isatty(STDERR_FILENO) == 1),
      picks_(picks),
      start_(Clock::now()),
      shown_(start_) {}

Progress::~Progress() { clear(); }

void Progress::clear() {
    if (visible_) std::fputs("\r\033[K", stderr);
    visible_ = false;
}

void Progress::update(double time, size_t events) {
    ++done_;
    if (!enabled_) return;
    const auto now = Clock::now();
    if (now - shown_ < std::chrono::milliseconds(300)) return;
    shown_ = now;
    visible_ = true;
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    const double rate = static_cast<double>(done_) / elapsed;
    std::fprintf(stderr, "\r\033[K%s  %zu events  %.0f picks/s  %.0f s left",
                 iso_time(time, 0).c_str(), events, rate,
                 static_cast<double>(picks_ - done_) / rate);
    std::fflush(stderr);
}

}  // namespace velorix::assoc
