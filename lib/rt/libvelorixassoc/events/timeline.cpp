#include "timeline.h"

#include <algorithm>

namespace velorix::assoc {

void Timeline::reset(double start) {
    first_ = screen_.bin_of(start);
    votes_.clear();
    closed_.clear();
}

void Timeline::extend(double end, const PickStore& picks) {
    const int64_t old = first_ + static_cast<int64_t>(votes_.size());
    const int64_t now = screen_.bin_of(end);
    if (now <= old) return;
    votes_.resize(static_cast<size_t>(now - first_), 0.0f);
    closed_.resize(votes_.size(), 0);
    vote(old, now, picks);
}

void Timeline::renew(double from, double to, const PickStore& picks) {
    const int64_t end = first_ + static_cast<int64_t>(votes_.size());
    const int64_t low = std::clamp(screen_.bin_of(from) - 1, first_, end);
    const int64_t high = std::clamp(screen_.bin_of(to) + 2, low, end);
    if (high > low) vote(low, high, picks);
}

void Timeline::vote(int64_t from, int64_t to, const PickStore& picks) {
    const double start = screen_.start_of(from - 1);
    const double end = screen_.start_of(to + 1) + grid_.rules.window;
    std::vector<ScreenPick> free;
    for (auto at = picks.from(start); at != picks.end() && (*at)->pick.time <= end; ++at) {
        const Waiting& waiting = **at;
        const Role& role = waiting.roles[number_];
        if (waiting.event == 0 && role.station >= 0) {
            free.push_back({waiting.pick.time, role.station, role.p, role.search_s});
        }
    }
    const std::span<float> part(votes_.data() + (from - first_), static_cast<size_t>(to - from));
    screen_.vote(free, from, part);
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
    const float enough = static_cast<float>(least_votes(grid_.rules));
    for (size_t i = 0; i < votes_.size(); ++i) {
        if (closed_[i] || votes_[i] < enough) continue;
        const int64_t bin = first_ + static_cast<int64_t>(i);
        out.push_back({screen_.start_of(bin + 1), votes_[i], number_, bin});
    }
}

}  // namespace velorix::assoc
