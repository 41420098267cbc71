#include "final_pass.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velorix::assoc {
namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();

}  // namespace

FinalPass::FinalPass(std::vector<SearchGrid>& grids, std::vector<Timeline>& timelines, double slack,
                     Proposer& proposer, const PickStore& picks)
    : grids_(grids),
      timelines_(timelines),
      proposer_(proposer),
      picks_(picks),
      slack_(slack),
      newest_(-kNever),
      complete_(-kNever),
      decided_(-kNever),
      in_use_(-kNever) {
    for (const SearchGrid& grid : grids) {
        window_ = std::max(window_, grid.rules.window);
        step_ = std::max(step_, grid.rules.step);
        apart_ = std::max({apart_, grid.rules.window, grid.rules.separation_time});
        double min_p = 0.0, max_p = 0.0, min_s = 0.0, max_s = 0.0;
        velorix_get_minmax_ttimes(&grid.times.grid(), &min_p, &max_p, &min_s, &max_s);
        longest_ = std::max({longest_, max_p, max_s});
    }
}

bool FinalPass::take(const Waiting& waiting) {
    // Behind a gap that no event can bridge the work starts afresh, whatever the gap's length.
    if (!advance(waiting.pick.time)) return false;
    newest_ = waiting.pick.time;
    if (!running_) {
        running_ = true;
        next_advance_ = newest_ + step_;
        for (Timeline& timeline : timelines_) timeline.reset(newest_ - window_ - slack_);
    }
    return true;
}

// Votes are complete for origins a window before the time up to which picks are.
bool FinalPass::advance(double complete) {
    complete_ = std::max(complete_, complete);
    if (!running_) {
        settle_bounds(complete_ - window_ - slack_);
        return true;
    }
    // No event and its surroundings span as much: with 2 and with 8 the same events.
    constexpr double kGap = 4.0;
    if (complete_ > newest_ + kGap * (window_ + slack_)) return flush();
    if (complete_ < next_advance_) return true;
    next_advance_ = complete_ + step_;
    return decide_open(complete_ - window_ - slack_, false);
}

bool FinalPass::finish() {
    complete_ = kNever;
    if (running_ && !flush()) return false;
    decided_ = in_use_ = kNever;
    return true;
}

bool FinalPass::flush() {
    running_ = false;
    if (!decide_open(newest_ + window_, true)) return false;
    for (Timeline& timeline : timelines_) timeline.reset(newest_ + window_);
    settle_bounds(complete_ - window_ - slack_);
    return true;
}

bool FinalPass::decide_open(double known, bool last) {
    for (Timeline& timeline : timelines_) timeline.extend(known, picks_);
    for (Candidate candidate; choose(known, last, candidate);) {
        if (!decide(candidate)) return false;
    }
    settle_bounds(known);
    return true;
}

// The first candidate, by votes, that no stronger undecided one is near to and whose surroundings
// are known. Two of them more than two windows apart share no pick, so that their order is of no
// consequence.
bool FinalPass::choose(double known, bool last, Candidate& chosen) const {
    const double reach = 2.0 * (window_ + slack_);
    std::vector<Candidate> open;
    for (const Timeline& timeline : timelines_) timeline.collect(open);
    std::sort(open.begin(), open.end(), [](const Candidate& a, const Candidate& b) {
        if (a.votes != b.votes) return a.votes > b.votes;
        return a.time != b.time ? a.time < b.time : a.grid < b.grid;
    });
    std::set<double> undecided;
    for (const Candidate& candidate : open) {
        const auto near = undecided.lower_bound(candidate.time - reach);
        const bool blocked = near != undecided.end() && *near <= candidate.time + reach;
        if (!blocked && (last || candidate.time + reach <= known)) {
            chosen = candidate;
            return true;
        }
        undecided.insert(candidate.time);
    }
    return false;
}

bool FinalPass::decide(const Candidate& candidate) {
    std::vector<double> slacks;
    for (const Timeline& timeline : timelines_) {
        slacks.push_back(kSlackWidths *
                         std::max(timelines_[candidate.grid].width(), timeline.width()));
    }
    std::vector<Proposal> proposals;
    const PickView view = PickView::final(picks_, complete_);
    const Surroundings around{kept_, candidate.time + 3.0 * (window_ + slack_)};
    if (!proposer_.propose(candidate.time, slacks, view, around, proposals)) return false;
    if (Proposal* best = proposer_.best(proposals)) {
        commit(*best);
    } else {
        refuse(candidate, proposals);
    }
    return true;
}

void FinalPass::commit(Proposal& best) {
    const SearchGrid& grid = grids_[best.grid];
    Event event = proposer_.event_of(best, PickView::final(picks_, complete_));
    kept_.emplace_back(++events_, grid, best.grid, best.solution);
    for (Member& member : best.solution.members) {
        if (member.waiting->event == 0) member.waiting->event = events_;
    }
    const double from = best.solution.time, to = from + grid.rules.window;
    for (Timeline& timeline : timelines_) {
        timeline.renew(from - window_ - slack_, to + slack_, picks_);
    }
    if (on_event) on_event(best, std::move(event));
}

void FinalPass::refuse(const Candidate& candidate, const std::vector<Proposal>& proposals) {
    timelines_[candidate.grid].close(candidate);
    const Proposal* nearly = nullptr;
    int picks = 0;
    for (const Proposal& proposal : proposals) {
        picks = std::max(picks, proposal.picks);
        if (proposal.scan.good && (!nearly || proposal.scan.score > nearly->scan.score)) {
            nearly = &proposal;
        }
    }
    Refusal refusal;
    refusal.time = candidate.time;
    refusal.grid = grids_[candidate.grid].name;
    const int need = grids_[candidate.grid].rules.min_picks;
    refusal.verdict = {.lack = picks < need ? Lack::picks_in_window : Lack::cluster,
                       .have = static_cast<double>(picks),
                       .need = static_cast<double>(need)};
    if (nearly) {
        refusal.time = nearly->solution.time;
        refusal.grid = grids_[nearly->grid].name;
        refusal.best = grids_[nearly->grid].times.position(nearly->solution.spot);
        refusal.score = nearly->scan.score;
        std::set<int> stations;
        for (const Member& member : nearly->solution.members) {
            (member.phase == 'S' ? refusal.s : refusal.p) += 1;
            stations.insert(member.station);
        }
        refusal.stations = static_cast<int>(stations.size());
        refusal.verdict = nearly->verdict;
        refusal.scanned = true;
    }
    ++refusals_[refusal.verdict.lack];
    if (on_refusal) on_refusal(refusal);
}

// What no undecided origin may claim can go. A scan may find an origin as far before its candidate
// as the longest travel time of the grids, and location may move it by a window.
void FinalPass::settle_bounds(double known) {
    const double reach = 2.0 * (window_ + slack_);
    std::vector<Candidate> open;
    for (const Timeline& timeline : timelines_) timeline.collect(open);
    double first = known - reach;
    for (const Candidate& candidate : open) first = std::min(first, candidate.time);
    decided_ = std::max(decided_, first - longest_ - window_ - slack_);
    in_use_ = std::max(in_use_, first - std::max(reach, longest_ + window_ + slack_));
    if (!std::isfinite(in_use_)) return;  // the end: nothing is undecided
    for (Timeline& timeline : timelines_) timeline.trim(in_use_);
    std::erase_if(kept_, [&](const Kept& kept) { return kept.solution.time < in_use_ - apart_; });
}

}  // namespace velorix::assoc
