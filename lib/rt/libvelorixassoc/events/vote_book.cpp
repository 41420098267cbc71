#include "vote_book.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velorix::assoc {

VoteBook::VoteBook(const SearchGrid& grid, size_t number, double span)
    : grid_(grid),
      number_(number),
      screen_(grid),
      bins_(static_cast<int64_t>(std::ceil(span / screen_.width())) + 4),
      enough_(least_votes(grid.rules)),
      counts_(screen_.nodes() * static_cast<size_t>(bins_)),
      tried_(static_cast<size_t>(bins_)) {
    for (std::vector<double>& newest : newest_) {
        newest.assign(static_cast<size_t>(grid.times.grid().ns),
                      -std::numeric_limits<double>::infinity());
    }
}

void VoteBook::advance(double now) {
    const int64_t last = screen_.bin_of(now) + 1;
    const int64_t first = last - bins_ + 1;
    if (empty_ || first >= first_ + bins_) {
        std::ranges::fill(counts_, Counts());
        std::ranges::fill(tried_, 0);
        first_ = first;
        empty_ = false;
        return;
    }
    for (; first_ < first; ++first_) {
        const auto at = static_cast<size_t>(slot(first_));
        for (size_t node = 0; node < screen_.nodes(); ++node) row(node)[at] = Counts();
        tried_[at] = 0;
    }
}

// A station's second trigger on one onset is not a second vote.
bool VoteBook::repeats(std::vector<double>& newest, int station, double time) const {
    double& before = newest[static_cast<size_t>(station)];
    const bool repeated = std::fabs(time - before) < 2.0 * screen_.width();
    if (!repeated) before = std::max(before, time);
    return repeated;
}

Peak VoteBook::add(Waiting& waiting) {
    const Role& role = waiting.roles[number_];
    const double time = waiting.pick.time;
    unsigned char& voted = waiting.voted[number_];
    voted = 0;
    if (role.station < 0) return {};
    if (role.p && !repeats(newest_[0], role.station, time)) voted |= kVotedP;
    if (role.search_s && !repeats(newest_[1], role.station, time)) voted |= kVotedS;
    change(waiting, 1);
    Peak peak;
    for (size_t node = 0; node < screen_.nodes(); ++node) {
        const float p = screen_.p_time(node, role.station), s = screen_.s_time(node, role.station);
        if ((voted & kVotedP) && p >= 0.0f) look(row(node), screen_.bin_of(time - p), true, peak);
        if ((voted & kVotedS) && s >= 0.0f) look(row(node), screen_.bin_of(time - s), true, peak);
    }
    return peak;
}

void VoteBook::remove(Waiting& waiting) {
    change(waiting, -1);
    waiting.voted[number_] = 0;
}

void VoteBook::change(const Waiting& waiting, int by) {
    const unsigned char voted = waiting.voted[number_];
    if (voted == 0) return;
    const int station = waiting.roles[number_].place;  // which labels do not change
    const auto count = [&](Counts* counts, double origin, bool as_p) {
        const int64_t bin = screen_.bin_of(origin);
        if (!holds(bin)) return;
        Counts& at = counts[slot(bin)];
        at.all = static_cast<uint16_t>(std::max(0, at.all + by));
        if (as_p) at.p = static_cast<uint16_t>(std::max(0, at.p + by));
    };
    for (size_t node = 0; node < screen_.nodes(); ++node) {
        const float p = screen_.p_time(node, station), s = screen_.s_time(node, station);
        if ((voted & kVotedP) && p >= 0.0f) count(row(node), waiting.pick.time - p, true);
        if ((voted & kVotedS) && s >= 0.0f) count(row(node), waiting.pick.time - s, false);
    }
}

// The two pairs of bins that a bin is part of. P picks are looked for a bin further back too, as in
// the votes of the final pass.
void VoteBook::look(const Counts* counts, int64_t bin, bool untried, Peak& peak) const {
    const auto at = [&](int64_t b) { return holds(b) ? counts[slot(b)] : Counts(); };
    for (int64_t start : {bin - 1, bin}) {
        if (!holds(start)) continue;
        const Counts one = at(start), two = at(start + 1);
        const int votes = one.all + two.all;
        if (votes < enough_ || votes <= peak.votes) continue;
        if (untried && votes <= tried_[static_cast<size_t>(slot(start))]) continue;
        if (at(start - 1).p + one.p + two.p < grid_.rules.min_p) continue;
        peak = {votes, start};
    }
}

bool VoteBook::enough_at(double time) const {
    const int64_t bin = screen_.bin_of(time);
    for (size_t node = 0; node < screen_.nodes(); ++node) {
        Peak peak{.votes = enough_ - 1};
        for (int64_t b = bin - 1; b <= bin + 1; ++b) look(row(node), b, false, peak);
        if (peak.votes >= enough_) return true;
    }
    return false;
}

void VoteBook::note_tried(const Peak& peak) {
    for (int64_t bin = peak.bin - 1; bin <= peak.bin + 1; ++bin) {
        if (!holds(bin)) continue;
        uint16_t& tried = tried_[static_cast<size_t>(slot(bin))];
        tried = std::max(tried, static_cast<uint16_t>(peak.votes));
    }
}

}  // namespace velorix::assoc
