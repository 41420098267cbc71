#include "associator.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "text.h"

namespace velorix::assoc {

Associator::Associator(GridSet& grids, const ProgramRules& rules) : grids_(grids), rules_(rules) {
    for (size_t g = 0; g < grids.grids().size(); ++g) {
        const SearchGrid& grid = grids.grids()[g];
        timelines_.emplace_back(grid, g);
        locators_.emplace_back(grid, static_cast<int>(g));
        slack_ = std::max(slack_, 1.5 * timelines_.back().width());
        window_ = std::max(window_, grid.rules.window);
        step_ = std::max(step_, grid.rules.step);
    }
}

bool Associator::add(Pick pick) {
    // Behind a gap that no event can bridge the work starts afresh, whatever the gap's length.
    if (running_ && pick.time > newest_ + 4.0 * (window_ + slack_)) {
        if (!advance(true)) return false;
        waiting_.clear();
        running_ = false;
    }
    Waiting waiting;
    waiting.pick = std::move(pick);
    assign_roles(waiting, grids_.grids(), rules_.labels);
    newest_ = waiting.pick.time;
    const bool known = std::any_of(waiting.roles.begin(), waiting.roles.end(),
                                   [](const Role& role) { return role.place >= 0; });
    const bool stranger =
        std::all_of(grids_.grids().begin(), grids_.grids().end(),
                    [&](const SearchGrid& grid) { return grid.station_of(waiting.pick) < 0; });
    if (stranger) ++unknown_[waiting.pick.network + "." + waiting.pick.station];
    if (!known) return true;
    if (!running_) {
        running_ = true;
        next_advance_ = newest_ + step_;
        for (Timeline& timeline : timelines_) timeline.reset(newest_ - window_ - slack_);
    }
    waiting_.push_back(std::move(waiting));
    most_waiting_ = std::max(most_waiting_, waiting_.size());
    if (newest_ < next_advance_) return true;
    next_advance_ = newest_ + step_;
    return advance(false);
}

bool Associator::finish() { return !running_ || advance(true); }

// Votes are complete for origins a window before the newest pick; at the end for all.
bool Associator::advance(bool final) {
    const double known = final ? newest_ + window_ : newest_ - window_ - slack_;
    for (Timeline& timeline : timelines_) timeline.extend(known, waiting_);
    for (Candidate candidate; choose(final, known, candidate);) {
        if (!decide(candidate)) return false;
    }
    trim(known);
    return true;
}

// The first candidate, by votes, that no stronger undecided one is near to and whose surroundings
// are known. Two of them more than two windows apart share no pick, so that their order is of no
// consequence.
bool Associator::choose(bool final, double known, Candidate& chosen) const {
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
        if (!blocked && (final || candidate.time + reach <= known)) {
            chosen = candidate;
            return true;
        }
        undecided.insert(candidate.time);
    }
    return false;
}

std::vector<Waiting*> Associator::waiting_between(double from, double to, size_t grid,
                                                  Which which) {
    std::vector<Waiting*> out;
    const auto by_time = [](const Waiting& w, double time) { return w.pick.time < time; };
    for (auto w = std::lower_bound(waiting_.begin(), waiting_.end(), from, by_time);
         w != waiting_.end() && w->pick.time <= to; ++w) {
        const Role& role = w->roles[grid];
        if (which == Which::free && w->event != 0) continue;
        if ((which == Which::all ? role.place : role.station) >= 0) out.push_back(&*w);
    }
    return out;
}

// A finer grid that sees the same event with most of its picks places it better, though fewer
// stations of its own or narrower windows give it the lower score.
Associator::Proposal& Associator::finest(Proposal& best, std::vector<Proposal>& proposals) const {
    Proposal* chosen = &best;
    for (Proposal& other : proposals) {
        const GridTimes& now = grids_.grids()[chosen->grid].times;
        const GridTimes& then = grids_.grids()[other.grid].times;
        if (!other.lacking.empty() || then.spacing_km() >= now.spacing_km()) continue;
        // Beyond its edge it can only place the event on the edge.
        if (other.solution.on_edge || other.scan.edge) continue;
        if (2 * other.solution.members.size() < best.solution.members.size()) continue;
        const GridRules& rules = grids_.grids()[best.grid].rules;
        if (!same_event(best, other, rules.separation_time, rules.separation_km)) continue;
        chosen = &other;
    }
    return *chosen;
}

bool Associator::decide(const Candidate& candidate) {
    std::vector<Proposal> proposals;
    int picks = 0;
    for (size_t g = 0; g < grids_.grids().size(); ++g) {
        Proposal proposal;
        const double slack = std::max(timelines_[candidate.grid].width(), timelines_[g].width());
        if (!propose(g, candidate.time, 1.5 * slack, proposal)) return false;
        picks = std::max(picks, proposal.picks);
        if (proposal.scan.good) proposals.push_back(std::move(proposal));
    }
    Proposal *best = nullptr, *nearly = nullptr;
    for (Proposal& proposal : proposals) {
        Proposal*& place = proposal.lacking.empty() ? best : nearly;
        if (!place || proposal.scan.score > place->scan.score) place = &proposal;
    }
    if (best) {
        commit(finest(*best, proposals));
    } else {
        refuse(candidate, nearly, picks);
    }
    return true;
}

// Far stations are many, and their picks by chance may outnumber those of a small event near by.
// Where the near stations do not confirm the best node, a shorter window leaves the far ones out.
bool Associator::propose(size_t grid, double time, double slack, Proposal& proposal) {
    constexpr double kNear = 0.4;  // share of the window
    const double window = grids_.grids()[grid].rules.window;
    if (!propose_within(grid, time, slack, window, proposal)) return false;
    if (!proposal.sparse) return true;
    Proposal nearer;
    if (!propose_within(grid, time, slack, kNear * window, nearer)) return false;
    if (nearer.scan.good && nearer.lacking.empty()) proposal = std::move(nearer);
    return true;
}

bool Associator::propose_within(size_t grid, double time, double slack, double window,
                                Proposal& proposal) {
    const SearchGrid& at = grids_.grids()[grid];
    const auto picks =
        waiting_between(time - slack + at.min_p, time + slack + window, grid, Which::free);
    proposal.grid = grid;
    proposal.picks = static_cast<int>(picks.size());
    if (proposal.picks < at.rules.min_picks) return true;
    ++scans_;
    if (!scan_grid(grids_, grid, picks, proposal.scan)) return false;
    if (!proposal.scan.good) return true;
    settle(proposal, proposal.solution);
    proposal.lacking = lacking(proposal);
    return true;
}

// Association and location in turn, from wide limits to the final ones: the best node may be half a
// cell away, and its picks as seen from there are not yet the event's.
void Associator::settle(const Proposal& best, Solution& solution) const {
    const SearchGrid& grid = grids_.grids()[best.grid];
    const Locator& locator = locators_[best.grid];
    solution.spot = best.scan.spot;
    solution.time = best.scan.time;
    const auto around = const_cast<Associator*>(this)->waiting_between(
        best.scan.time - slack_, best.scan.time + slack_ + grid.rules.window, best.grid,
        rules_.reuse_picks ? Which::usable : Which::free);
    for (double widen : {1.5, 1.2, 1.0, 1.0}) {
        solution.members = locator.associate(around, solution, widen);
        std::erase_if(solution.members, [](const Member& member) { return !member.defining; });
        locator.locate(solution);
    }
    // Late picks join with the wider limits of the sweep, without a say in the location.
    const SearchParams& sp = *grid.search;
    const double sweep = std::max({1.0, sp.p_max_resid_sweep / std::max(1e-9, sp.p_max_resid),
                                   sp.s_max_resid_sweep / std::max(1e-9, sp.s_max_resid)});
    std::vector<Member> located = std::move(solution.members);
    solution.members = locator.associate(around, solution, sweep);
    for (Member& member : solution.members) {
        member.defining &= std::fabs(member.residual) <= locator.limit(member);
        for (const Member& old : located) {
            if (old.waiting == member.waiting && old.phase == member.phase)
                member.weight = old.weight;
        }
    }
    std::erase_if(solution.members, [&](const Member& member) {
        const double limit = member.phase == 'S' ? sp.s_max_resid_sweep : sp.p_max_resid_sweep;
        return !member.defining && std::fabs(member.residual) > limit;
    });
}

void Associator::commit(Proposal& best) {
    const SearchGrid& grid = grids_.grids()[best.grid];
    Event event = make_event(grid, locators_[best.grid], best.solution);
    event.score = best.scan.score;
    const double from = best.solution.time, to = from + grid.rules.window;
    const auto nearby = waiting_between(from - slack_, to + slack_, best.grid, Which::all);
    event.left_out = left_out_of(grid, best.grid, best.solution, nearby);
    events_.push_back(event);
    keep(best);
    const int number = static_cast<int>(events_.size());
    for (Member& member : best.solution.members) {
        if (member.waiting->event == 0) member.waiting->event = number;
    }
    for (Timeline& timeline : timelines_) {
        timeline.renew(from - window_ - slack_, to + slack_, waiting_);
    }
    if (on_event) on_event(events_.back());
}

void Associator::refuse(const Candidate& candidate, const Proposal* best, int picks) {
    timelines_[candidate.grid].close(candidate);
    Trial trial;
    trial.time = candidate.time;
    trial.grid = grids_.grids()[candidate.grid].name;
    const int need = grids_.grids()[candidate.grid].rules.min_picks;
    trial.lacking = picks < need ? format("too few picks: %d of %d in the window", picks, need)
                                 : "too few picks: none go back to one time at any node";
    if (best) {
        const SearchGrid& grid = grids_.grids()[best->grid];
        trial.time = best->solution.time;
        trial.grid = grid.name;
        trial.best = grid.times.position(best->solution.spot);
        trial.score = best->scan.score;
        std::set<int> stations;
        for (const Member& member : best->solution.members) {
            (member.phase == 'S' ? trial.s : trial.p) += 1;
            stations.insert(member.station);
        }
        trial.stations = static_cast<int>(stations.size());
        trial.lacking = best->lacking;
        trial.scanned = true;
    }
    ++refusals_[trial.lacking.substr(0, trial.lacking.find(':'))];
    if (on_trial) on_trial(trial);
}

// Picks stay while an undecided origin may claim them.
void Associator::trim(double known) {
    std::vector<Candidate> open;
    for (const Timeline& timeline : timelines_) timeline.collect(open);
    double done = known - window_ - slack_;
    for (const Candidate& candidate : open) done = std::min(done, candidate.time);
    done -= 2.0 * (window_ + slack_);
    for (Timeline& timeline : timelines_) timeline.trim(done);
    std::erase_if(kept_, [&](const Kept& kept) { return kept.solution.time < done - window_; });
    while (!waiting_.empty() && waiting_.front().pick.time < done) waiting_.pop_front();
}

}  // namespace velorix::assoc
