// What a placement of the window can score at most: the weight of the groups in the window, less
// that of the groups that are in the pre-window alone. Exact but for the bonus and for observations
// with both phases in the window.
#include "grsubs/cluster_bound.h"

#include <algorithm>
#include <limits>
#include <type_traits>

namespace velorix {
namespace {

using Presence = ClusterScratch::Presence;

/// Keeps the window's weight less the pre-window's while both slide. Without weights it counts in
/// integers, which is several times faster than a chain of floating-point sums.
template <bool kWeighted>
class SlidingGroups {
  public:
    explicit SlidingGroups(Presence* groups) : groups_(groups) {}

    double net() const { return static_cast<double>(net_); }

    void enter_window(int group) {
        Presence& g = groups_[group];
        const int gained = g.window++ == 0 ? 1 + (g.prewindow > 0 ? 1 : 0) : 0;
        net_ += gained * weight(g);
    }
    /// The window's first candidate falls behind it.
    void pass_to_prewindow(int group) {
        Presence& g = groups_[group];
        ++g.prewindow;
        const int lost = --g.window == 0 ? 2 : 0;
        net_ -= lost * weight(g);
    }
    void leave_prewindow(int group) {
        Presence& g = groups_[group];
        --g.prewindow;
        const int gained = (g.prewindow | g.window) == 0 ? 1 : 0;
        net_ += gained * weight(g);
    }

  private:
    using Sum = std::conditional_t<kWeighted, double, int>;

    static Sum weight(const Presence& g) {
        if constexpr (kWeighted) {
            return g.weight;
        } else {
            return 1;
        }
    }

    Presence* groups_;
    Sum net_ = 0;
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
/// Counts are exact, but a bonus is added to them and a penalty taken off in another order.
double rounding_slack(const Candidates& in) {
    double total = in.weight ? 0 : in.n;
    for (int i = 0; in.weight && i < in.n; ++i) total += in.weight[i];
    return 16 * (in.n + 4.0) * std::numeric_limits<double>::epsilon() * (total + 1);
}

template <bool kWeighted>
int sweep(const Candidates& sorted, double dwin, double prewin, ClusterScratch& scratch) {
    const int n = sorted.n;
    double* most = scratch.most.data();
    const double slack = rounding_slack(sorted);
    const double* value = sorted.value;
    SlidingGroups<kWeighted> groups(scratch.presence.data());
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
        most[i] = kLargestBonus + groups.net() + slack;
        if (most[i] > most[largest]) largest = i;
        groups.pass_to_prewindow(sorted.group[i]);
    }
    return largest;
}

/// The number of candidates in the window alone.
int count_windows(const Candidates& sorted, double dwin, ClusterScratch& scratch) {
    const int n = sorted.n;
    const double* value = sorted.value;
    double* most = scratch.most.data();
    const double slack = rounding_slack(sorted);
    int end = 0;
    int largest = 0;
    for (int i = 0; i < n; ++i) {
        while (end < n && (end <= i || value[end] - value[i] < dwin)) ++end;
        most[i] = kLargestBonus + (end - i) + slack;
        if (most[i] > most[largest]) largest = i;
    }
    return largest;
}

}  // namespace

int bound_scores(const Candidates& sorted, double dwin, double prewin, ClusterScratch& scratch) {
    // To follow the groups of few candidates takes longer than to score a few placements more.
    constexpr int kFewCandidates = 128;
    if (sorted.n <= kFewCandidates && !sorted.weight) return count_windows(sorted, dwin, scratch);
    if (!set_group_weights(sorted, scratch)) {
        std::fill_n(scratch.most.begin(), sorted.n, std::numeric_limits<double>::infinity());
        return 0;
    }
    return sorted.weight ? sweep<true>(sorted, dwin, prewin, scratch)
                         : sweep<false>(sorted, dwin, prewin, scratch);
}

}  // namespace velorix
