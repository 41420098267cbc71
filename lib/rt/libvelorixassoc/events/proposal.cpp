#include "proposal.h"

#include <algorithm>
#include <cmath>

namespace velorix::assoc {
namespace {

// Limits of each turn, in final ones: a scan's node is up to half a cell off. Italian picks (two
// spans, 255 | 448 events): first 1 254 | 444, first 2 254 | 447, second 1 256 | 448, second 1.5
// 255 | 447.
constexpr double kWidening[] = {1.5, 1.2, 1.0, 1.0};
// Share of the window whose picks are tried first, so that a small event's own stations decide.
// 0.25: 255 | 447 events, 0.6: 252 | 444, 1: 251 | 441.
constexpr double kNearWindow = 0.4;

}  // namespace

Kept::Kept(long of_number, const SearchGrid& of, size_t of_grid, const Solution& of_solution)
    : number(of_number),
      grid(of_grid),
      solution(of_solution),
      position(of.times.position(of_solution.spot)) {
    for (Member& member : solution.members) {
        stations.insert(member.station);
        member.waiting = nullptr;  // picks do not live as long
    }
}

bool PickView::is_free(const Waiting& waiting) const {
    if (waiting.event != 0) return false;
    if (own_track_ < 0 || waiting.track == 0 || waiting.track == own_track_) return true;
    const auto other = sizes_->find(waiting.track);
    return other == sizes_->end() || other->second < own_size_;
}

std::vector<Waiting*> PickView::between(double from, double to, size_t grid, Which which) const {
    std::vector<Waiting*> out;
    for (auto at = store_->from(from); at != store_->end(); ++at) {
        Waiting& waiting = **at;
        if (waiting.pick.time > to || waiting.pick.time >= until_) break;
        const Role& role = waiting.roles[grid];
        if (which == Which::free && !is_free(waiting)) continue;
        if ((which == Which::all ? role.place : role.station) >= 0) out.push_back(&waiting);
    }
    return out;
}

Proposer::Proposer(std::vector<SearchGrid>& grids, const StreamRules& rules, const StreamPast& past,
                   double slack)
    : grids_(grids), rules_(rules), past_(past), slack_(slack) {
    for (const SearchGrid& grid : grids) locators_.emplace_back(grid);
}

bool Proposer::propose(double time, std::span<const double> slacks, const PickView& picks,
                       const Surroundings& around, std::vector<Proposal>& proposals) {
    for (size_t g = 0; g < grids_.size(); ++g) {
        Proposal proposal;
        proposal.grid = g;
        if (!propose_on(g, time, slacks[g], picks, around, proposal)) return false;
        proposals.push_back(std::move(proposal));
    }
    return true;
}

// Far stations are many, and their picks by chance may outnumber those of a small event near by.
// Where the near stations do not confirm the best node, a shorter window leaves the far ones out.
bool Proposer::propose_on(size_t grid, double time, double slack, const PickView& picks,
                          const Surroundings& around, Proposal& proposal) {
    const double window = grids_[grid].rules.window;
    if (!propose_within(grid, time, slack, window, picks, around, proposal)) return false;
    if (proposal.verdict.lack != Lack::coverage) return true;
    Proposal nearer;
    nearer.grid = grid;
    if (!propose_within(grid, time, slack, kNearWindow * window, picks, around, nearer))
        return false;
    if (nearer.verdict.passes()) proposal = std::move(nearer);
    return true;
}

bool Proposer::propose_within(size_t grid, double time, double slack, double window,
                              const PickView& picks, const Surroundings& around,
                              Proposal& proposal) {
    const SearchGrid& at = grids_[grid];
    const auto free =
        picks.between(time - slack + at.min_p, time + slack + window, grid, PickView::Which::free);
    proposal.picks = static_cast<int>(free.size());
    if (proposal.picks < at.rules.min_picks) {
        proposal.verdict = {.lack = Lack::picks_in_window,
                            .have = static_cast<double>(proposal.picks),
                            .need = static_cast<double>(at.rules.min_picks)};
        return true;
    }
    ++scans_;
    if (!scan_grid(grids_, grid, free, proposal.scan)) return false;
    if (!proposal.scan.good) {
        proposal.verdict = {.lack = Lack::cluster};
        return true;
    }
    proposal.solution.spot = proposal.scan.spot;
    proposal.solution.time = proposal.scan.time;
    settle(grid, slack_, picks, proposal.solution);
    judge(proposal, around);
    return true;
}

Proposal* Proposer::best(std::vector<Proposal>& proposals) const {
    Proposal* best = nullptr;
    for (Proposal& proposal : proposals) {
        if (!proposal.verdict.passes()) continue;
        if (!best || proposal.scan.score > best->scan.score) best = &proposal;
    }
    return best ? finest(*best, proposals) : nullptr;
}

// A finer grid that sees the same event with most of its picks places it better, though fewer
// stations of its own or narrower windows give it the lower score.
Proposal* Proposer::finest(Proposal& best, std::vector<Proposal>& proposals) const {
    Proposal* chosen = &best;
    for (Proposal& other : proposals) {
        const GridTimes& now = grids_[chosen->grid].times;
        const GridTimes& then = grids_[other.grid].times;
        if (!other.verdict.passes() || then.spacing_km() >= now.spacing_km()) continue;
        // Beyond its edge it can only place the event on the edge.
        if (other.solution.on_edge || other.scan.edge) continue;
        if (2 * other.solution.members.size() < best.solution.members.size()) continue;
        if (same_event(best, other, grids_[best.grid].rules)) chosen = &other;
    }
    return chosen;
}

bool Proposer::same_event(const Proposal& a, const Proposal& b, const GridRules& rules) const {
    if (std::fabs(a.solution.time - b.solution.time) > rules.separation_time) return false;
    const Position one = grids_[a.grid].times.position(a.solution.spot);
    const Position two = grids_[b.grid].times.position(b.solution.spot);
    return path_between(one, two.lat, two.lon).delta * kKmPerDegree <= rules.separation_km;
}

void Proposer::settle(size_t grid, double slack, const PickView& picks, Solution& solution) const {
    const SearchGrid& at = grids_[grid];
    const Locator& locator = locators_[grid];
    const auto around =
        picks.between(solution.time - slack, solution.time + slack + at.rules.window, grid,
                      rules_.reuse_picks ? PickView::Which::usable : PickView::Which::free);
    for (double widen : kWidening) {
        solution.members = associate(at, grid, around, solution, {.widen = widen});
        std::erase_if(solution.members, [](const Member& member) { return !member.defining; });
        locator.locate(solution);
    }
    // Late picks join with wider limits, without a say in the location.
    const std::vector<Member> located = std::move(solution.members);
    solution.members = associate(at, grid, around, solution, {.join = true});
    for (Member& member : solution.members) {
        const StationRule& rule = at.station_rules[static_cast<size_t>(member.station)];
        member.defining &= std::fabs(member.residual) <= rule.limit(member.phase);
        for (const Member& old : located) {
            if (old.waiting == member.waiting && old.phase == member.phase)
                member.weight = old.weight;
        }
    }
}

}  // namespace velorix::assoc
