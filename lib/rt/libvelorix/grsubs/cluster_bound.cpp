// What a placement of the window can score at most: the weight of the groups in the window, less
// that of the groups that are in the pre-window alone. Exact but for the bonus and for observations
// with both phases in the window.
#include "grsubs/cluster_bound.h"

#include <algorithm>
#include <limits>

namespace velorix {
namespace {

using Presence = ClusterScratch::Presence;

/// Keeps the two sums while the windows slide.
class SlidingGroups {
  public:
    explicit SlidingGroups(Presence* groups) : groups_(groups) {}

    double in_window() const { return in_window_; }
    double before_only() const { return before_only_; }

    void enter_window(int group) {
        Presence& g = groups_[group];
        const bool first = g.window++ == 0;
        in_window_ += first ? g.weight : 0;
        before_only_ -= first && g.prewindow > 0 ? g.weight : 0;
    }
    void leave_window(int group) {
        Presence& g = groups_[group];
        const bool last = --g.window == 0;
        in_window_ -= last ? g.weight : 0;
        before_only_ += last && g.prewindow > 0 ? g.weight : 0;
    }
    void enter_prewindow(int group) {
        Presence& g = groups_[group];
        const bool alone = g.prewindow++ == 0 && g.window == 0;
        before_only_ += alone ? g.weight : 0;
    }
    void leave_prewindow(int group) {
        Presence& g = groups_[group];
        const bool alone = --g.prewindow == 0 && g.window == 0;
        before_only_ -= alone ? g.weight : 0;
    }

  private:
    Presence* groups_;
    double in_window_ = 0;
    double before_only_ = 0;
};

/// Gives every group the weight of its candidates; false when they differ or one is negative.
bool set_group_weights(const Candidates& in, ClusterScratch& scratch) {
    constexpr double kUnset = -1;
    std::fill_n(scratch.presence.begin(), in.ngroups, Presence{0, 0, in.weight ? kUnset : 1.0});
    if (!in.weight) return true;
    for (int i = 0; i < in.n; ++i) {
        double& weight = scratch.presence[size_t(in.group[i])].weight;
        if (!(in.weight[i] >= 0) || (weight != kUnset && weight != in.weight[i])) return false;
        weight = in.weight[i];
    }
    return true;
}

/// Covers the rounding of the sliding sums and of the score's own sums, each of at most 4 n terms.
double rounding_slack(const Candidates& in) {
    if (!in.weight) return 0;
    double total = 0;
    for (int i = 0; i < in.n; ++i) total += in.weight[i];
    return 16 * (in.n + 4.0) * std::numeric_limits<double>::epsilon() * (total + 1);
}

}  // namespace

int bound_scores(const Candidates& sorted, double dwin, double prewin, ClusterScratch& scratch) {
    const int n = sorted.n;
    double* most = scratch.most.data();
    if (!set_group_weights(sorted, scratch)) {
        std::fill_n(most, n, std::numeric_limits<double>::infinity());
        return 0;
    }
    const double slack = rounding_slack(sorted);
    const double* value = sorted.value;
    SlidingGroups groups(scratch.presence.data());
    int end = 0;
    int begin = 0;
    int largest = 0;
    for (int i = 0; i < n; ++i) {
        while (end < n && (end <= i || value[end] - value[i] < dwin)) {
            groups.enter_window(sorted.group[end++]);
        }
        while (begin < i && !(value[i] - value[begin] < prewin)) {
            groups.leave_prewindow(sorted.group[begin++]);
        }
        most[i] = kLargestBonus + groups.in_window() - groups.before_only() + slack;
        if (most[i] > most[largest]) largest = i;
        groups.leave_window(sorted.group[i]);
        groups.enter_prewindow(sorted.group[i]);
    }
    return largest;
}

}  // namespace velorix
