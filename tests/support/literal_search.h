#ifndef VELORIX_TESTS_SUPPORT_LITERAL_SEARCH_H
#define VELORIX_TESTS_SUPPORT_LITERAL_SEARCH_H
// The cluster search at its plainest: every slot and record is cleared at every start. Yardstick
// for the results and the speed of the product's.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "velorix_pvt.h"

namespace velorix_test {

struct LiteralCluster {
    double score = 0;
    double first = 0;
    double variance = 0;
};

/// By value, equal values by candidate number.
inline int literal_order(const void* first, const void* second) {
    const auto* a = static_cast<const bufsort*>(first);
    const auto* b = static_cast<const bufsort*>(second);
    const int order = mycmp(a, b);
    if (order != 0) return order;
    return a->data_ptr < b->data_ptr ? -1 : a->data_ptr > b->data_ptr ? 1 : 0;
}

inline LiteralCluster literal_find_cluster(int n, double* data, double* weight, const int* group,
                                           const int* subgroup, double dwin, double prewin) {
    LiteralCluster best;
    if (n < 1) return best;
    std::vector<bufsort> buf(static_cast<size_t>(2 * n));
    std::vector<double*> groups(static_cast<size_t>(2 * group[n - 1] + 2));
    std::vector<double*> subgroups(static_cast<size_t>(2 * subgroup[n - 1] + 2));
    for (int i = 0; i < n; ++i) {
        buf[size_t(i)] = {data + i, weight ? weight + i : nullptr, group[i], subgroup[i], 0, 0};
    }
    qsort(buf.data(), size_t(n), sizeof(bufsort), literal_order);
    const double h = (0.5 * dwin) * (0.5 * dwin);
    for (int i = 0; i < n; ++i) {
        std::fill(groups.begin(), groups.end(), nullptr);
        std::fill(subgroups.begin(), subgroups.end(), nullptr);
        for (int k = 0; k < n; ++k) buf[size_t(k)].used_tmp = 0;
        const auto take = [&](bufsort& b) {
            groups[size_t(b.group_index)] = b.data_ptr;
            subgroups[size_t(b.subgroup_index)] = b.data_ptr;
            b.used_tmp = 1;
        };
        bufsort& start = buf[size_t(i)];
        take(start);
        double w = weight ? *start.weight_ptr : 1;
        double w2 = w * w, dw = 0, ddw = 0, p = 0;
        for (int j = i + 1; j < n; ++j) {
            bufsort& next = buf[size_t(j)];
            const double d = *next.data_ptr - *start.data_ptr;
            if (!(d < dwin)) break;
            if (groups[size_t(next.group_index)] || subgroups[size_t(next.subgroup_index)])
                continue;
            take(next);
            const double wj = weight ? *next.weight_ptr : 1;
            w += wj;
            w2 += wj * wj;
            dw += d * wj;
            ddw += d * d * wj;
        }
        for (int k = i - 1; prewin > 0 && k >= 0; --k) {
            bufsort& earlier = buf[size_t(k)];
            if (!(*start.data_ptr - *earlier.data_ptr < prewin)) break;
            if (groups[size_t(earlier.group_index)]) continue;
            groups[size_t(earlier.group_index)] = earlier.data_ptr;
            p += weight ? *earlier.weight_ptr : 1;
        }
        double v = ddw;
        if (!weight) {
            v = ddw - dw * dw / w;
            if (w != 1) v /= w - 1;
        } else if (w > 0) {
            const double m = dw / w;
            if (w * w - w2 > 1e-9) v = (ddw - m * m * w) * w / (w * w - w2);
        }
        if (v < 0) v = 0;
        double bonus = 0.9 * (1 - v / h);
        if (bonus < 0) bonus = 0;
        const double score = bonus + w - p;
        if (score > best.score) {
            best = {score, *start.data_ptr, v};
            for (int k = 0; k < n; ++k) buf[size_t(k)].used = buf[size_t(k)].used_tmp;
        }
    }
    for (int k = 0; k < n; ++k) {
        if (!buf[size_t(k)].used) *buf[size_t(k)].data_ptr = 0.0;
    }
    return best;
}

/// Candidates of a node as the search takes them.
struct LiteralCandidates {
    std::vector<double> value, weight;
    std::vector<int> group, subgroup, phase;
    std::vector<sta_obs2*> obs;
    bool weighted = false;

    void clear() {
        value.clear();
        weight.clear();
        group.clear();
        subgroup.clear();
        phase.clear();
        obs.clear();
        weighted = false;
    }
    void add(double v, double w, int g, int s, int type, sta_obs2* o) {
        value.push_back(v);
        weight.push_back(w);
        group.push_back(g);
        subgroup.push_back(s);
        phase.push_back(type);
        obs.push_back(o);
        if (w != 1.0) weighted = true;
    }
};

/// Builds the candidates of a node, each time through the grid's own queries.
/// `c` is cleared first and keeps its room.
inline void literal_candidates(SearchParams& sp, int ix, int iy, int id, Tbl* table,
                               LiteralCandidates& c) {
    c.clear();
    int g = 0;
    int s = 0;
    for (int i = 0; i < maxtbl(table); ++i) {
        auto& station = *static_cast<StationObs*>(gettbl(table, i));
        double p_time = 0, s_time = 0;
        velorix_get_ttimes(sp.velorix, station.is, ix, iy, id, &p_time, &s_time);
        bool has_p = false, has_s = false;
        for (int k = 0; k < station.nobs; ++k) {
            if (station.p_weight > 0 && station.obs[k]->useforP) has_p = true;
        }
        for (int k = 0; k < station.nobs; ++k) {
            sta_obs2* obs = station.obs[k];
            obs->used = 0;
            const size_t before = c.value.size();
            if (station.p_weight > 0 && obs->useforP) {
                c.add(obs->time - p_time, station.p_weight, g, s, 'P', obs);
            }
            if (station.s_weight > 0 && sp.try_S && obs->useforS) {
                c.add(obs->time - s_time, station.s_weight, g + (has_p ? 1 : 0), s, 'S', obs);
                has_s = true;
            }
            if (c.value.size() > before) ++s;
        }
        g += (has_p ? 1 : 0) + (has_s ? 1 : 0);
    }
}

}  // namespace velorix_test
#endif
