#include "screen.h"

#include <algorithm>
#include <cmath>

namespace velorix::assoc {
namespace {

// Measured on Italian picks (two spans of four hours: 255 | 448 events).

// Of a regular mesh, both depths together; 300: 255 | 444 events, 1200: 254 | 446 for 8 % more
// time.
constexpr int64_t kMostNodes = 600;
constexpr int64_t kMostSources = 1500;  // of a general mesh, which covers more ground
// Bins are never finer than picks are timed: their number is that of the memory.
constexpr double kLeastWidth = 0.01;  // s
// Width of a bin, in half differences between nodes and in `cluster_twin`: 1 smear 254 | 445
// events, 2 255 | 447; 0.3 twins 448 and 0.9 449 of the second span.
constexpr double kSmears = 1.5, kTwins = 0.6;

}  // namespace

int least_votes(const GridRules& rules) {
    // Part of an event's picks that screening's nodes see; 0.5: 260 | 454 events in 1.75 of the
    // time, 0.9 and 1: 248 | 421.
    constexpr double kSeen = 0.75;
    const int seen = static_cast<int>(std::ceil(kSeen * rules.min_picks));
    return std::max({1, rules.min_stations, seen});
}

Screen::Screen(const SearchGrid& grid)
    : stations_(grid.times.grid().ns), min_p_(static_cast<float>(grid.rules.min_p)) {
    choose_nodes(grid.times);
    read_times(grid);
    width_ =
        std::max({kLeastWidth, kSmears * smear(grid.times), kTwins * grid.search->cluster_twin});
    last_bin_.resize(2 * static_cast<size_t>(stations_));
}

// Every k-th column and row at two depths of a regular mesh; every k-th source of a general mesh.
void Screen::choose_nodes(const GridTimes& times) {
    const Velorix& grid = times.grid();
    if (!times.regular()) {
        const int64_t step = std::max<int64_t>(1, grid.nn / kMostSources);
        for (int64_t node = step / 2; node < grid.nn; node += step) nodes_.push_back(node);
        return;
    }
    std::vector<int32_t> depths{grid.nd / 4};
    if (grid.nd > 2) depths.push_back(grid.nd * 3 / 4);
    const double cells = static_cast<double>(grid.nh) * static_cast<double>(depths.size());
    const int32_t step =
        std::max(1, static_cast<int32_t>(std::ceil(std::sqrt(cells / kMostNodes))));
    for (int32_t id : depths) {
        for (int32_t iy = std::min(step / 2, grid.ny - 1); iy < grid.ny; iy += step) {
            for (int32_t ix = std::min(step / 2, grid.nx - 1); ix < grid.nx; ix += step) {
                nodes_.push_back((static_cast<int64_t>(id) * grid.ny + iy) * grid.nx + ix);
            }
        }
    }
}

// Times to the stations nearest in time: far ones only add noise to a vote.
void Screen::read_times(const SearchGrid& grid) {
    const size_t ns = static_cast<size_t>(stations_);
    const size_t reach = std::min<size_t>(ns, static_cast<size_t>(grid.rules.screen_stations)) - 1;
    p_.assign(nodes_.size() * ns, -1.0f);
    s_.assign(nodes_.size() * ns, -1.0f);
    std::vector<float> sorted(ns);
    for (size_t n = 0; n < nodes_.size(); ++n) {
        std::vector<Times> row(ns);
        for (size_t is = 0; is < ns; ++is) {
            row[is] = grid.times.node_times(nodes_[n], static_cast<int>(is));
            sorted[is] = static_cast<float>(row[is].p);
        }
        const auto limit = sorted.begin() + static_cast<std::ptrdiff_t>(reach);
        std::nth_element(sorted.begin(), limit, sorted.end());
        for (size_t is = 0; is < ns; ++is) {
            if (static_cast<float>(row[is].p) > *limit) continue;
            p_[n * ns + is] = static_cast<float>(row[is].p);
            s_[n * ns + is] = static_cast<float>(row[is].s);
        }
    }
}

// How far apart the picks of an event between the nodes go back: half the difference of the times
// of neighbouring nodes, for most stations.
double Screen::smear(const GridTimes& times) const {
    constexpr size_t kSample = 40;  // nodes; keeps the search for neighbours short
    std::vector<double> halves;
    const size_t ns = static_cast<size_t>(stations_);
    for (size_t n = 0; n < nodes_.size(); n += std::max<size_t>(1, nodes_.size() / kSample)) {
        const Position at = times.position(times.spot_of(nodes_[n]));
        size_t nearest = n;
        double best = 1e9;
        for (size_t m = 0; m < nodes_.size(); ++m) {
            const Position other = times.position(times.spot_of(nodes_[m]));
            const double d = path_between(at, other.lat, other.lon).delta;
            if (d > 1e-6 && d < best) {
                best = d;
                nearest = m;
            }
        }
        for (size_t is = 0; is < ns; ++is) {
            const float a = p_[n * ns + is], b = p_[nearest * ns + is];
            if (a >= 0.0f && b >= 0.0f) halves.push_back(0.5 * std::fabs(a - b));
        }
    }
    if (halves.empty()) return 0.0;
    const auto most = halves.begin() + static_cast<std::ptrdiff_t>(halves.size() * 4 / 5);
    std::nth_element(halves.begin(), most, halves.end());
    return *most;
}

int64_t Screen::bin_of(double time) const {
    return static_cast<int64_t>(std::floor(time / width_));
}

void Screen::vote(std::span<const ScreenPick> picks, int64_t first, std::span<float> votes) const {
    std::fill(votes.begin(), votes.end(), 0.0f);
    counts_.resize(votes.size() + 2);
    p_counts_.resize(counts_.size());
    for (size_t node = 0; node < nodes_.size(); ++node) vote_at(node, picks, first, votes);
}

// counts_ begins a bin before the votes: P picks are looked for there too, which makes up for the
// node standing off the event.
void Screen::vote_at(size_t node, std::span<const ScreenPick> picks, int64_t first,
                     std::span<float> votes) const {
    std::fill(counts_.begin(), counts_.end(), 0.0f);
    std::fill(p_counts_.begin(), p_counts_.end(), 0.0f);
    std::fill(last_bin_.begin(), last_bin_.end(), -1);
    const float* p = p_.data() + node * static_cast<size_t>(stations_);
    const float* s = s_.data() + node * static_cast<size_t>(stations_);
    const int64_t bins = static_cast<int64_t>(counts_.size());
    const auto add = [&](double time, int station, int phase) {
        const int64_t bin = bin_of(time) - first + 1;
        int64_t& last = last_bin_[2 * static_cast<size_t>(station) + static_cast<size_t>(phase)];
        if (bin < 0 || bin >= bins || last == bin) return;
        last = bin;
        counts_[static_cast<size_t>(bin)] += 1.0f;
        if (phase == 0) p_counts_[static_cast<size_t>(bin)] += 1.0f;
    };
    for (const ScreenPick& pick : picks) {
        if (p[pick.station] < 0.0f) continue;
        if (pick.p) add(pick.time - p[pick.station], pick.station, 0);
        if (pick.s && s[pick.station] >= 0.0f) add(pick.time - s[pick.station], pick.station, 1);
    }
    for (size_t i = 0; i < votes.size(); ++i) {
        if (p_counts_[i] + p_counts_[i + 1] + p_counts_[i + 2] < min_p_) continue;
        votes[i] = std::max(votes[i], counts_[i + 1] + counts_[i + 2]);
    }
}

}  // namespace velorix::assoc
