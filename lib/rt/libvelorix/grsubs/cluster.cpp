#include "grsubs/cluster.h"

#include <algorithm>
#include <limits>
#include <new>

#include "grsubs/cluster_bound.h"
#include "grsubs/cluster_sort.h"
#include "grsubs/weighted_variance.h"
#include "platform/elog/elog.h"

namespace velorix {
namespace {

// Reallocates by the message's rule: twice what is needed, so that a slowly growing event settles.
template <class Resize>
bool grow(const char* what, size_t have, size_t need, Resize resize) {
    if (have >= need) return true;
    const size_t count = 2 * need;
    try {
        resize(count);
        return true;
    } catch (const std::exception&) {
        elog_log(1, "find_cluster: %s(%s,%d) error.\n", have ? "realloc" : "malloc", what,
                 static_cast<int>(count));
        return false;
    }
}

void resize_points(ClusterScratch& scratch, size_t count) {
    // `cells` tells the capacity, so it grows last.
    scratch.sorted.resize(count);
    scratch.bucket_end.resize(count + 1);
    scratch.value.resize(count);
    scratch.weight.resize(count);
    scratch.most.resize(count);
    scratch.group.resize(count);
    scratch.subgroup.resize(count);
    scratch.member.resize(count);
    scratch.cells.resize(count);
}

void load_sorted(const Candidates& in, ClusterScratch& s) {
    sort_candidates(in.n, in.value, s);
    for (int i = 0; i < in.n; ++i) {
        const auto& cell = s.sorted[size_t(i)];
        s.value[size_t(i)] = cell.value;
        s.group[size_t(i)] = in.group[cell.number];
        s.subgroup[size_t(i)] = in.subgroup[cell.number];
    }
    if (!in.weight) return;
    for (int i = 0; i < in.n; ++i) s.weight[size_t(i)] = in.weight[s.sorted[size_t(i)].number];
}

// Of the members of a placement; without weights their sum is the count.
double variance_of(const WeightedSums& sums, bool weighted) {
    double v = sums.xx;
    if (!weighted) {
        v = sums.xx - sums.x * sums.x / sums.w;
        if (sums.w != 1) v /= sums.w - 1;
    } else if (sums.w > 0) {
        v = weighted_variance(sums, sums.xx);
    }
    return v < 0 ? 0 : v;  // rounding
}

template <bool kWeighted>
class Search {
  public:
    Search(const Candidates& in, double dwin, double prewin, ClusterScratch& scratch)
        : n_(in.n),
          dwin_(dwin),
          prewin_(prewin),
          half_squared_((0.5 * dwin) * (0.5 * dwin)),
          value_(scratch.value.data()),
          weight_(scratch.weight.data()),
          group_(scratch.group.data()),
          subgroup_(scratch.subgroup.data()),
          scratch_(scratch) {}

    // The placement that promises most is scored first; after it only those are that may reach its
    // score, in ascending order, so that the earliest of equal scores is found as if all were.
    Cluster run(int ngroups) {
        const int promising =
            bound_scores({n_, value_, kWeighted ? weight_ : nullptr, group_, subgroup_, ngroups, 0},
                         dwin_, prewin_, scratch_);
        Cluster seed;
        improve(promising, seed);
        Cluster best;
        int best_start = -1;
        for (int i = 0; i < n_; ++i) {
            const double most = scratch_.most[size_t(i)];
            if (most < seed.score || most <= best.score) continue;
            if (improve(i, best)) best_start = i;
        }
        mark_members(best_start);
        return best;
    }

  private:
    double weight_of(int i) const { return kWeighted ? weight_[i] : 1; }

    bool marked(int i) const { return scratch_.group_stamp[size_t(group_[i])] == scratch_.stamp; }
    void mark_group(int i) { scratch_.group_stamp[size_t(group_[i])] = scratch_.stamp; }
    void mark(int i) {
        mark_group(i);
        scratch_.subgroup_stamp[size_t(subgroup_[i])] = scratch_.stamp;
    }

    template <class Take>
    void walk_window(int i, Take take) {
        ++scratch_.stamp;
        mark(i);
        for (int j = i + 1; j < n_; ++j) {
            const double d = value_[j] - value_[i];
            if (!(d < dwin_)) return;
            if (marked(j) || scratch_.subgroup_stamp[size_t(subgroup_[j])] == scratch_.stamp) {
                continue;
            }
            mark(j);
            take(j, d);
        }
    }

    WeightedSums sum_window(int i) {
        const double w0 = weight_of(i);
        WeightedSums sums{w0, w0 * w0, 0, 0};
        walk_window(i, [&](int j, double d) {
            const double w = weight_of(j);
            sums.w += w;
            if (kWeighted) sums.w2 += w * w;
            sums.x += kWeighted ? d * w : d;
            sums.xx += kWeighted ? d * d * w : d * d;
        });
        return sums;
    }

    // REQUIRES: sum_window(i) has just marked the members' groups.
    double penalty(int i) {
        double sum = 0;
        if (!(prewin_ > 0)) return sum;
        for (int k = i - 1; k >= 0 && value_[i] - value_[k] < prewin_; --k) {
            if (marked(k)) continue;
            mark_group(k);
            sum += weight_of(k);
        }
        return sum;
    }

    // The bonus lies in 0 .. 0.9 and rounding keeps order, so the test before the divisions loses
    // nothing.
    bool improve(int i, Cluster& best) {
        const WeightedSums sums = sum_window(i);
        const double p = penalty(i);
        if (kLargestBonus + sums.w - p <= best.score) return false;
        const double v = variance_of(sums, kWeighted);
        double bonus = 0.9 * (1 - v / half_squared_);
        if (bonus < 0) bonus = 0;
        const double score = bonus + sums.w - p;
        if (!(score > best.score)) return false;
        best = {score, value_[i], v};
        return true;
    }

    void mark_members(int start) {
        std::fill_n(scratch_.member.begin(), n_, uint8_t{0});
        if (start < 0) return;
        const auto take = [&](int j, double = 0) {
            scratch_.member[size_t(scratch_.sorted[size_t(j)].number)] = 1;
        };
        take(start);
        walk_window(start, take);
    }

    const int n_;
    const double dwin_;
    const double prewin_;
    const double half_squared_;
    const double* const value_;
    const double* const weight_;
    const int32_t* const group_;
    const int32_t* const subgroup_;
    ClusterScratch& scratch_;
};

// Every placement takes a stamp, and so do the first look at one and the marking of the members.
void renew_stamps(int n, ClusterScratch& scratch) {
    if (std::numeric_limits<uint32_t>::max() - scratch.stamp > static_cast<uint32_t>(n) + 2) return;
    std::fill(scratch.group_stamp.begin(), scratch.group_stamp.end(), 0);
    std::fill(scratch.subgroup_stamp.begin(), scratch.subgroup_stamp.end(), 0);
    scratch.stamp = 0;
}

}  // namespace

bool ClusterScratch::reserve(int npoints, int ngroups, int nsubgroups) {
    return grow("buf", cells.size(), size_t(npoints), [&](size_t n) { resize_points(*this, n); }) &&
           grow("group", group_stamp.size(), size_t(ngroups),
                [&](size_t n) {
                    presence.resize(n);
                    group_stamp.resize(n);
                }) &&
           grow("subgroup", subgroup_stamp.size(), size_t(nsubgroups),
                [&](size_t n) { subgroup_stamp.resize(n); });
}

Cluster best_cluster(const Candidates& candidates, double dwin, double prewin,
                     ClusterScratch& scratch) {
    if (candidates.n < 1) return {};
    load_sorted(candidates, scratch);
    renew_stamps(candidates.n, scratch);
    if (candidates.weight)
        return Search<true>(candidates, dwin, prewin, scratch).run(candidates.ngroups);
    return Search<false>(candidates, dwin, prewin, scratch).run(candidates.ngroups);
}

}  // namespace velorix
