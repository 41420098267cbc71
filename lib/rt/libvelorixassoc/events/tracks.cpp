#include "tracks.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "../support/fnv.h"
#include "../support/text_values.h"
#include "../support/times.h"

namespace velorix::assoc {
namespace {

// An event is located again when it has grown by a quarter, and scanned again when it has doubled:
// between, its picks change its place by less than its uncertainty.
constexpr double kLocateGrowth = 1.25;
constexpr double kScanGrowth = 2.0;
constexpr double kEnd = std::numeric_limits<double>::infinity();

double longest_window(const std::vector<SearchGrid>& grids) {
    double window = 0.0;
    for (const SearchGrid& grid : grids) window = std::max(window, grid.rules.window);
    return window;
}

}  // namespace

Tracks::Tracks(std::vector<SearchGrid>& grids, Proposer& proposer, const PickStore& picks,
               double lateness, double slack)
    : grids_(grids), proposer_(proposer), picks_(picks), slack_(slack) {
    const double span = longest_window(grids) + lateness + slack;
    for (size_t g = 0; g < grids.size(); ++g) books_.emplace_back(grids[g], g, span);
}

std::vector<double> Tracks::slacks(size_t grid) const {
    std::vector<double> out;
    for (const VoteBook& book : books_) {
        out.push_back(kSlackWidths * std::max(books_[grid].width(), book.width()));
    }
    return out;
}

std::vector<Kept> Tracks::kept_around(const Track* self, std::span<const Kept> final_events) const {
    std::vector<Kept> out(final_events.begin(), final_events.end());
    for (const Track& track : tracks_) {
        if (&track == self) continue;
        const Proposal& proposal = track.proposal;
        out.emplace_back(-track.number, grids_[proposal.grid], proposal.grid, proposal.solution);
    }
    return out;
}

bool Tracks::take(Waiting& waiting, double now, std::span<const Kept> final_events) {
    now_ = now;
    for (VoteBook& book : books_) book.advance(now);
    for (Track& track : tracks_) {
        if (waiting.track != 0 || !joins(track, waiting)) continue;
        waiting.track = track.number;
        ++track.joined;
    }
    if (waiting.track != 0) return advance(now, final_events);
    size_t grid = 0;
    Peak peak;
    for (size_t g = 0; g < books_.size(); ++g) {
        const Peak found = books_[g].add(waiting);
        if (found.votes > peak.votes) grid = g;
        if (found.votes > peak.votes) peak = found;
    }
    if (peak.votes > 0 && !try_peak(grid, peak, now, final_events)) return false;
    return advance(now, final_events);
}

bool Tracks::joins(const Track& track, const Waiting& waiting) const {
    const size_t grid = track.proposal.grid;
    const Role& role = waiting.roles[grid];
    const Solution& solution = track.proposal.solution;
    const double travel = waiting.pick.time - solution.time;
    if (role.station < 0 || travel < 0.0 || travel > grids_[grid].rules.window) return false;
    const Times times = slowed_times(grids_[grid], solution, role.station);
    const Fit fit = fit_of(grids_[grid], role, times, travel, {.join = true});
    return fit.reason == Reason::accepted;
}

// Proposals around a time; the best that passes is announced.
bool Tracks::try_time(size_t grid, double time, double now, std::span<const Kept> final_events,
                      std::vector<Proposal>& proposals, bool& announced) {
    const auto kept = kept_around(nullptr, final_events);
    const PickView view = PickView::announced(picks_, 0, 0, sizes_);
    if (!proposer_.propose(time, slacks(grid), view, {kept, now, now}, proposals)) return false;
    Proposal* best = proposer_.best(proposals);
    announced = best && books_[best->grid].enough_at(best->solution.time);
    if (announced) announce(std::move(*best), now);
    return true;
}

bool Tracks::try_peak(size_t grid, const Peak& peak, double now,
                      std::span<const Kept> final_events) {
    std::vector<Proposal> proposals;
    bool announced = false;
    const double time = books_[grid].time_of(peak);
    if (!try_time(grid, time, now, final_events, proposals, announced)) return false;
    if (announced) return true;
    for (VoteBook& book : books_) book.note_tried(peak);
    for (const Proposal& proposal : proposals) {
        if (proposal.verdict.lack != Lack::coverage) continue;
        const double when = proposer_.passed(proposal.grid, proposal.solution);
        if (when > now) near_misses_.push_back({when, grid, time});
    }
    Track* track = blocking(proposals);
    return !track || scan_again(*track, now, final_events);
}

bool Tracks::try_near_misses(double now, std::span<const Kept> final_events) {
    std::vector<NearMiss> ripe;
    std::erase_if(near_misses_, [&](const NearMiss& miss) {
        if (miss.when >= now) return false;
        ripe.push_back(miss);
        return true;
    });
    for (size_t i = 0; i < ripe.size(); ++i) {
        // Several arrivals may have looked at one candidate.
        const bool again = std::any_of(ripe.begin(), ripe.begin() + static_cast<std::ptrdiff_t>(i),
                                       [&](const NearMiss& m) { return m.time == ripe[i].time; });
        std::vector<Proposal> proposals;
        bool announced = false;
        if (!again &&
            !try_time(ripe[i].grid, ripe[i].time, now, final_events, proposals, announced)) {
            return false;
        }
    }
    return true;
}

// The announced event that a proposal was taken for a twin or an echo of: it may stand in the wrong
// place, beside picks that it should have.
Tracks::Track* Tracks::blocking(const std::vector<Proposal>& proposals) {
    for (const Proposal& proposal : proposals) {
        const Verdict& verdict = proposal.verdict;
        if (verdict.lack != Lack::twin && verdict.lack != Lack::echo) continue;
        for (Track& track : tracks_) {
            if (track.proposal.solution.time == verdict.other_time) return &track;
        }
    }
    return nullptr;
}

void Tracks::announce(Proposal proposal, double now) {
    std::string id = new_id(proposal, now);
    Track track{.number = ++made_, .id = std::move(id), .proposal = std::move(proposal)};
    tracks_.push_back(std::move(track));
    claim(tracks_.back());
    report(tracks_.back(), Kind::announced);
}

std::string Tracks::new_id(const Proposal& proposal, double now) const {
    std::string content = format("%ld %.4f ", made_, now);
    for (const Member& m : proposal.solution.members) {
        content += full_name(m.waiting->pick) + format("%.4f", m.waiting->pick.time);
    }
    std::string id;
    for (const char c : iso_time(proposal.solution.time, 0)) {
        if (c != '-' && c != ':' && c != 'Z') id += c;
    }
    return "t" + id + format("-%08llx", static_cast<unsigned long long>(fnv1a(content) >> 32));
}

PickView Tracks::view_of(const Track& track) const {
    return PickView::announced(picks_, track.number, track.proposal.solution.members.size(),
                               sizes_);
}

// Its picks vote for nothing else; those that it has no more are free again.
void Tracks::claim(Track& track) {
    const std::vector<Member>& members = track.proposal.solution.members;
    std::unordered_set<const Waiting*> own;
    for (const Member& member : members) own.insert(member.waiting);
    free_picks(track, own);
    for (const Member& member : members) {
        if (member.waiting->track == track.number) continue;
        for (Track& other : tracks_) other.robbed |= other.number == member.waiting->track;
        member.waiting->track = track.number;
        for (VoteBook& book : books_) book.remove(*member.waiting);
    }
    sizes_[track.number] = members.size();
    track.joined = std::max(track.joined, members.size());
    track.located = track.joined;
    track.scanned = std::max(track.scanned, members.size());
}

void Tracks::free_picks(const Track& track, const std::unordered_set<const Waiting*>& but) {
    const double window = grids_[track.proposal.grid].rules.window;
    const double from = track.proposal.solution.time - 2.0 * slack_ - window;
    const double to = track.proposal.solution.time + 2.0 * (slack_ + window);
    for (auto at = picks_.from(from); at != picks_.end() && (*at)->pick.time <= to; ++at) {
        Waiting& waiting = **at;
        if (waiting.track != track.number || but.count(&waiting)) continue;
        waiting.track = 0;
        if (waiting.event != 0) continue;
        for (VoteBook& book : books_) book.add(waiting);
    }
}

bool Tracks::due(const Track& track, double now) const {
    if (track.robbed) return true;
    const Solution& solution = track.proposal.solution;
    const bool grown = track.joined > track.located;
    const double size = static_cast<double>(track.joined);
    if (grown && size >= kLocateGrowth * static_cast<double>(track.located)) return true;
    const double end = solution.time + grids_[track.proposal.grid].rules.window;
    return now > end && (grown || !track.complete);
}

bool Tracks::advance(double now, std::span<const Kept> final_events) {
    now_ = std::max(now_, now);
    if (!try_near_misses(now_, final_events)) return false;
    for (Track& track : tracks_) {
        if (due(track, now_) && !update(track, now_, final_events)) return false;
    }
    for (auto track = tracks_.begin(); track != tracks_.end();) {
        const bool gone = (track->complete || track->robbed) && !track->proposal.verdict.passes();
        track = gone ? withdraw(track, track->proposal.verdict) : std::next(track);
    }
    return true;
}

bool Tracks::update(Track& track, double now, std::span<const Kept> final_events) {
    const double size = static_cast<double>(track.joined);
    if (size >= kScanGrowth * static_cast<double>(track.scanned)) {
        track.scanned = track.joined;
        if (!scan_again(track, now, final_events)) return false;
    }
    const auto kept = kept_around(&track, final_events);
    Proposal next = track.proposal;
    const double before = next.solution.time;
    proposer_.settle(next.grid, slack_, view_of(track), next.solution);
    track.complete = now > next.solution.time + grids_[next.grid].rules.window;
    proposer_.judge(next, {kept, now, track.complete ? kEnd : now});
    const bool changed = next.solution.members.size() != track.proposal.solution.members.size() ||
                         next.solution.time != before;
    track.located = track.joined;
    // What does not pass while waves are under way is looked at again when they have passed.
    if (!next.verdict.passes() && !track.complete && !track.robbed) return true;
    track.proposal = std::move(next);
    claim(track);
    if (!track.proposal.verdict.passes()) return true;
    track.robbed = false;
    if (changed) report(track, Kind::revised);
    return true;
}

// With all that is free now a better place may be found than location can get to.
bool Tracks::scan_again(Track& track, double now, std::span<const Kept> final_events) {
    const auto kept = kept_around(&track, final_events);
    std::vector<Proposal> proposals;
    if (!proposer_.propose(track.proposal.solution.time, slacks(track.proposal.grid),
                           view_of(track), {kept, now, now}, proposals)) {
        return false;
    }
    Proposal* best = proposer_.best(proposals);
    if (!best || best->solution.members.size() < track.proposal.solution.members.size()) {
        return true;
    }
    track.proposal = std::move(*best);
    claim(track);
    report(track, Kind::revised);
    return true;
}

void Tracks::report(Track& track, Kind kind) {
    if (track.version + 1 >= kFinalVersion) return;
    Report out;
    out.kind = kind;
    out.version = ++track.version;
    out.track = track.id;
    out.event = proposer_.event_of(track.proposal, view_of(track));
    out.verdict = track.proposal.verdict;
    if (on_report) on_report(out);
}

Tracks::Place Tracks::withdraw(Place track, Verdict why) {
    track->proposal.verdict = std::move(why);
    report(*track, Kind::withdrawn);
    free_picks(*track, {});
    sizes_.erase(track->number);
    return tracks_.erase(track);
}

std::string Tracks::hand_over(const Proposal& proposal) {
    std::map<long, size_t> shared;
    for (const Member& member : proposal.solution.members) {
        if (member.waiting->track != 0) ++shared[member.waiting->track];
    }
    const auto most = std::ranges::max_element(
        shared, [](const auto& a, const auto& b) { return a.second < b.second; });
    for (auto track = tracks_.begin(); most != shared.end() && track != tracks_.end(); ++track) {
        if (track->number != most->first) continue;
        const size_t smaller =
            std::min(track->proposal.solution.members.size(), proposal.solution.members.size());
        if (2 * most->second < smaller) break;
        std::string id = track->id;
        free_picks(*track, {});
        sizes_.erase(track->number);
        tracks_.erase(track);
        return id;
    }
    ++made_;
    return new_id(proposal, now_);
}

void Tracks::withdraw_before(double decided) {
    for (auto track = tracks_.begin(); track != tracks_.end();) {
        const bool gone = track->proposal.solution.time < decided - slack_;
        track = gone ? withdraw(track, {.lack = Lack::gone}) : std::next(track);
    }
}

double Tracks::oldest() const {
    double time = std::numeric_limits<double>::infinity();
    for (const Track& track : tracks_) time = std::min(time, track.proposal.solution.time);
    return time;
}

}  // namespace velorix::assoc
