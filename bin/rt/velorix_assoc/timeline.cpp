#include "timeline.h"

#include <algorithm>

namespace velorix::assoc {

void Timeline::reset(double start) {
    first_ = screen_.bin_of(start);
    votes_.clear();
    closed_.clear();
}

void Timeline::extend(double end, const std::deque<Waiting>& waiting) {
    const int64_t old = first_ + static_cast<int64_t>(votes_.size());
    const int64_t now = screen_.bin_of(end);
    if (now <= old) return;
    votes_.resize(static_cast<size_t>(now - first_), 0.0f);
    closed_.resize(votes_.size(), 0);
    vote(old, now, waiting);
}

void Timeline::renew(double from, double to, const std::deque<Waiting>& waiting) {
    const int64_t end = first_ + static_cast<int64_t>(votes_.size());
    const int64_t low = std::clamp(screen_.bin_of(from) - 1, first_, end);
    const int64_t high = std::clamp(screen_.bin_of(to) + 2, low, end);
    if (high > low) vote(low, high, waiting);
}

void Timeline::vote(int64_t from, int64_t to, const std::deque<Waiting>& waiting) {
    const double start = screen_.start_of(from - 1);
    const double end = screen_.start_of(to + 1) + grid_.rules.window;
    std::vector<ScreenPick> picks;
    const auto by_time = [](const Waiting& w, double time) { return w.pick.time < time; };
    for (auto w = std::lower_bound(waiting.begin(), waiting.end(), start, by_time);
         w != waiting.end() && w->pick.time <= end; ++w) {
        const Role& role = w->roles[number_];
        if (w->event == 0 && role.station >= 0) {
            picks.push_back({w->pick.time, role.station, role.p, role.search_s});
        }
    }
    const std::span<float> part(votes_.data() + (from - first_), static_cast<size_t>(to - from));
    screen_.vote(picks, from, part);
}

void Timeline::trim(double time) {
    const int64_t bins =
        std::clamp<int64_t>(screen_.bin_of(time) - first_, 0, static_cast<int64_t>(votes_.size()));
    votes_.erase(votes_.begin(), votes_.begin() + bins);
    closed_.erase(closed_.begin(), closed_.begin() + bins);
    first_ += bins;
}

void Timeline::close(const Candidate& candidate) {
    for (int64_t bin = candidate.bin - 1; bin <= candidate.bin + 1; ++bin) {
        const int64_t at = bin - first_;
        if (at < 0 || at >= static_cast<int64_t>(votes_.size())) continue;
        // A neighbour with more votes is a candidate of its own right.
        if (votes_[static_cast<size_t>(at)] <= candidate.votes)
            closed_[static_cast<size_t>(at)] = 1;
    }
}

void Timeline::collect(std::vector<Candidate>& out) const {
    const float least = static_cast<float>(std::max(grid_.rules.min_stations, 1));
    const float enough = std::max(least, 0.75f * static_cast<float>(grid_.rules.min_picks));
    for (size_t i = 0; i < votes_.size(); ++i) {
        if (closed_[i] || votes_[i] < enough) continue;
        const int64_t bin = first_ + static_cast<int64_t>(i);
        out.push_back({screen_.start_of(bin + 1), votes_[i], number_, bin});
    }
}

}  // namespace velorix::assoc
