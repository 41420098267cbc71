#include "stream_past.h"

#include <algorithm>
#include <cmath>

namespace velorix::assoc {
namespace {

constexpr double kMinute = 60.0;
// So many P labels in the history, and no S among them, are a picker that calls every onset P. Real
// networks call 20 to 50 % of their onsets S; with a fifth of S, 50 picks without one have a
// chance of 1e-5.
constexpr long kManyP = 50;

int64_t minute_of(double time) { return static_cast<int64_t>(std::floor(time / kMinute)); }

}  // namespace

StreamPast::StreamPast(double history, const std::vector<int>& stations) : history_(history) {
    for (int count : stations) activity_.emplace_back(static_cast<size_t>(count));
}

void StreamPast::add_to(Activity& activity, double time) {
    const int64_t minute = minute_of(time);
    if (activity.empty() || activity.back().number != minute) {
        activity.push_back({minute, time, time});
    }
    activity.back().last = time;
}

void StreamPast::add(const Waiting& waiting) {
    count_label(waiting.pick);
    for (size_t g = 0; g < activity_.size(); ++g) {
        const int station = waiting.roles[g].place;
        if (station >= 0) add_to(activity_[g][static_cast<size_t>(station)], waiting.pick.time);
    }
}

void StreamPast::count_label(const Pick& pick) {
    const int64_t minute = minute_of(pick.time), first = minute_of(pick.time - history_);
    while (!labels_.empty() && labels_.front().number < first) {
        p_ -= labels_.front().p;
        s_ -= labels_.front().s;
        labels_.pop_front();
    }
    const Label label = label_of(pick.phase);
    if (label != Label::p && label != Label::s) return;
    if (labels_.empty() || labels_.back().number != minute) labels_.push_back({minute});
    (label == Label::p ? labels_.back().p : labels_.back().s) += 1;
    (label == Label::p ? p_ : s_) += 1;
}

Labels StreamPast::labels() const {
    return s_ == 0 && p_ >= kManyP ? Labels::p_first : Labels::trust;
}

bool StreamPast::at_work(size_t grid, int station, double origin, double known) const {
    const Activity& activity = activity_[grid][static_cast<size_t>(station)];
    const double from = origin - history_;
    const auto first =
        std::lower_bound(activity.begin(), activity.end(), from,
                         [](const Minute& minute, double time) { return minute.last < time; });
    if (first == activity.end()) return false;
    // A minute that holds picks before `from` as well ends behind it.
    return first->first <= known || (first->first < from && first->last <= known);
}

void StreamPast::forget(double origin) {
    for (auto& grid : activity_) {
        for (Activity& activity : grid) {
            while (!activity.empty() && activity.front().last < origin - history_) {
                activity.pop_front();
            }
        }
    }
}

}  // namespace velorix::assoc
