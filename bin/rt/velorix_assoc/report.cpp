#include "report.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "events/search_grid.h"
#include "platform/elog/printable.h"
#include "support/say.h"
#include "support/text_values.h"
#include "support/times.h"

namespace velorix::assoc {
namespace {

constexpr int kMostNames = 20;  // in a line

const char* name_of(Labels labels) {
    switch (labels) {
        case Labels::p_first:
            return "a P label may be an S";
        case Labels::ignore:
            return "ignored";
        default:
            return "trusted";
    }
}

std::string grid_line(const SearchGrid& grid) {
    const SearchParams& sp = *grid.search;
    const double depth = grid.times.depth_spacing_km();
    const std::string spacing =
        depth > 0.0 ? format("%.1f km and %.1f km in depth", grid.times.spacing_km(), depth)
                    : format("%.1f km", grid.times.spacing_km());
    return format(
        "grid %s: %lld nodes about %s apart, %d stations; an event needs %d picks (%d P, %d S) at "
        "%d stations within %.2f s (P) and %.2f s (S), looked for in windows of %.0f s\n",
        printable(grid.name).c_str(), static_cast<long long>(grid.times.nodes()), spacing.c_str(),
        grid.times.grid().ns, grid.rules.min_picks, grid.rules.min_p, grid.rules.min_s,
        grid.rules.min_stations, sp.p_max_resid, sp.s_max_resid, grid.rules.window);
}

std::string impossible(const SearchGrid& grid) {
    const int stations = grid.times.grid().ns;
    if (stations >= grid.rules.min_stations) return "";
    return format("grid %s has %d stations, an event needs %d: none can be found\n",
                  printable(grid.name).c_str(), stations, grid.rules.min_stations);
}

std::string pick_text(const Pick& pick, char phase, double residual) {
    const std::string name = full_name(pick);
    const size_t rest = pick.network.empty() ? 1 : pick.network.size() + 1;
    return format("  %-2s %-15s %c %s %+7.3f s", printable(pick.network).c_str(),
                  printable(name.substr(rest)).c_str(), phase, iso_time(pick.time, 2).c_str(),
                  residual);
}

Pick station_named(const std::string& name) {
    Pick pick;
    pick.network = name.substr(0, name.find('.'));
    pick.station = name.substr(name.find('.') + 1);
    return pick;
}

// A grid that knows stations by their code alone takes those of every network for its own.
std::string shared_codes(const PickStream::Counts& counts, const SearchGrid& grid) {
    std::map<int, std::string> names;
    for (const auto& [name, picks] : counts.stations) {
        const int number = grid.station_of(station_named(name));
        if (number >= 0) names[number] += " " + printable(name);
    }
    std::string out;
    int count = 0;
    for (const auto& [number, list] : names) {
        if (list.find(' ', 1) == list.npos) continue;
        if (++count <= kMostNames) out += (count > 1 ? ";" : "") + list;
    }
    if (count == 0) return out;
    return format("grid %s: picks of several stations are taken for one of the same code (%d):",
                  printable(grid.name).c_str(), count) +
           out + (count > kMostNames ? " ...\n" : "\n");
}

std::string stranger_line(const std::map<std::string, long>& strangers) {
    if (strangers.empty()) return "";
    std::string out = format("%zu stations with picks are in no grid:", strangers.size());
    int count = 0;
    for (const auto& [name, picks] : strangers) {
        if (++count > kMostNames) break;
        out += " " + printable(name) + format(" (%ld)", picks);
    }
    return out + (count > kMostNames ? " ...\n" : "\n");
}

std::string refusal_line(const std::map<Lack, long>& refusals) {
    std::map<std::string, long> by_text;
    for (const auto& [lack, count] : refusals) by_text[lack_text(lack)] += count;
    std::string out;
    for (const auto& [text, count] : by_text) {
        out += (out.empty() ? "candidates that came to nothing: " : ", ") +
               format("%ld %s", count, text.c_str());
    }
    return out.empty() ? out : out + "\n";
}

std::string picks_line(const PickFates& fates, const PickStream::Counts& counts) {
    std::string out = format("%ld picks read: %ld in events, %ld in none", counts.read,
                             fates.in_events, fates.in_no_event);
    const std::pair<long, const char*> others[] = {
        {fates.other_phases, "of phases that no grid carries"},
        {fates.unknown, "at stations in no grid"},
        {fates.duplicates, "duplicates dropped"},
        {fates.late, "too late"},
        {counts.outside, "outside the span asked for"}};
    for (const auto& [count, what] : others) {
        if (count > 0) out += format(", %ld %s", count, what);
    }
    if (counts.bad > 0) out += format("; %ld unreadable lines passed over", counts.bad);
    return out + "\n";
}

}  // namespace

std::string opening(const GridSet& grids) {
    std::string out;
    for (const SearchGrid& grid : grids.search_grids()) out += grid_line(grid) + impossible(grid);
    return out;
}

std::string closing(const Associator& associator, const PickStream& stream, const GridSet& grids,
                    const StreamRules& rules, long events) {
    const PickStream::Counts& counts = stream.counts();
    std::string out = format(
        "%ld picks (%s) at %zu stations: %ld P, %ld S, %ld without a label, "
        "%ld of other phases; labels %s\n",
        counts.read, stream.kinds().c_str(), counts.stations.size(), counts.p, counts.s,
        counts.unlabelled, counts.other,
        name_of(rules.labels == Labels::automatic ? associator.labels() : rules.labels));
    if (counts.given > 0) {
        out += "from " + iso_time(counts.first, 2) + " to " + iso_time(counts.last, 2) + "\n";
    }
    out += stranger_line(associator.strangers());
    for (const SearchGrid& grid : grids.search_grids()) out += shared_codes(counts, grid);
    out += format("%ld event%s, %ld scans, at most %ld picks in memory\n", events,
                  events == 1 ? "" : "s", associator.scans(), associator.most_waiting());
    return out + picks_line(associator.fates(), counts) + refusal_line(associator.refusals());
}

bool accounted_for(const Associator& associator, const PickStream& stream) {
    const PickFates& fates = associator.fates();
    if (stream.counts().given == fates.taken_in && fates.taken_in == fates.done() &&
        fates.waiting == 0) {
        return true;
    }
    return fail(
        format("%ld picks were read and %ld are accounted for: the catalogue cannot be "
               "trusted and is not written",
               stream.counts().given, fates.done()));
}

std::string event_line(const Event& e) {
    return format("%s %8.4f %9.4f %5.1f km, %d P %d S at %d stations, %.2f s, gap %.0f, score %.1f",
                  iso_time(e.time, 2).c_str(), e.lat, e.lon, e.depth, e.p, e.s, e.stations,
                  e.scatter, e.gap, e.score);
}

void Explanation::add(const Event& event) {
    if (std::fabs(event.time - time_) > window_) return;
    events_ += "event " + event_line(event) + "\n";
    for (const EventPick& p : event.picks) {
        events_ +=
            pick_text(p.pick, p.phase, p.residual) + (p.defining ? "\n" : "  associated only\n");
    }
    for (const LeftOut& l : event.left_out) {
        events_ += pick_text(l.pick, l.phase, l.residual) +
                   "  left out: " + printable(reason_text(l)) + "\n";
    }
}

void Explanation::add(const Refusal& refusal) {
    if (std::fabs(refusal.time - time_) > window_) return;
    std::string text = "no event at " + iso_time(refusal.time, 2);
    const std::string grid = printable(refusal.grid);
    if (refusal.scanned) {
        text += format(" %.3f %.3f %.1f km (grid %s): score %.1f, %d P %d S at %d stations",
                       refusal.best.lat, refusal.best.lon, refusal.best.depth, grid.c_str(),
                       refusal.score, refusal.p, refusal.s, refusal.stations);
    } else {
        text += " (grid " + grid + ")";
    }
    text += "; " + verdict_text(refusal.verdict) + "\n";
    // The same place may be tried for several origins.
    if (std::ranges::find(said_, text) != said_.end()) return;
    said_.push_back(text);
    refusals_ += text;
}

std::string Explanation::text() const {
    std::string out = "around " + iso_time(time_, 2) + ":\n" + events_ + refusals_;
    if (events_.empty() && refusals_.empty()) {
        out += "nothing: at no node did enough picks go back to one time\n";
    }
    return out;
}

Progress::Progress(bool enabled)
    : enabled_(enabled && isatty(STDERR_FILENO) == 1), start_(Clock::now()), shown_(start_) {}

Progress::~Progress() { clear(); }

void Progress::clear() {
    if (visible_) std::fputs("\r\033[K", stderr);
    visible_ = false;
}

void Progress::update(double time, long events) {
    ++done_;
    if (!enabled_) return;
    const auto now = Clock::now();
    if (now - shown_ < std::chrono::milliseconds(300)) return;
    shown_ = now;
    visible_ = true;
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    std::fprintf(stderr, "\r\033[K%s  %ld events  %.0f picks/s", iso_time(time, 0).c_str(), events,
                 static_cast<double>(done_) / elapsed);
    std::fflush(stderr);
}

}  // namespace velorix::assoc
