#include "page_curves.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <vector>

#include "../events/grid_times.h"
#include "columns.h"
#include "support/grid_view.h"

namespace velorix::assoc {
namespace {

constexpr int64_t kMostDepths = 40, kGroups = 12;
constexpr size_t kBins = 72;           // of a curve: about 8 pixels each on a wide screen
constexpr int64_t kMostPairs = 60000;  // looked at for a curve

struct Sample {
    double distance, p, s;
};

/// The nodes that a curve is taken from.
struct Layer {
    double depth;
    std::vector<int64_t> nodes;
};

Sample sample_at(const Velorix& grid, int64_t node, int32_t is) {
    const int64_t place = grid.mode == VELORIX_MODE_REGULAR ? node % grid.nh : node;
    const Source& at = grid.sources[place];
    const Station& station = grid.stations[is];
    Sample out{path_between({at.lat, at.lon, 0.0}, station.lat, station.lon).delta, -1.0, -1.0};
    if (grid.mode == VELORIX_MODE_REGULAR) {
        velorix_get_ttimes(&grid, is, static_cast<int32_t>(place % grid.nx),
                           static_cast<int32_t>(place / grid.nx),
                           static_cast<int32_t>(node / grid.nh), &out.p, &out.s);
    } else {
        velorix_get_ttimes(&grid, is, static_cast<int32_t>(node), 0, 0, &out.p, &out.s);
    }
    return out;
}

Sample mean(std::span<const Sample> samples) {
    Sample sum{0.0, 0.0, 0.0};
    for (const Sample& s : samples) {
        sum.distance += s.distance;
        sum.p += s.p;
        sum.s += s.s;
    }
    const auto n = static_cast<double>(samples.size());
    return {sum.distance / n, sum.p / n, sum.s / n};
}

std::vector<Layer> mesh_layers(const Velorix& grid) {
    std::vector<Layer> out;
    const int64_t step = (grid.nd + kMostDepths - 1) / kMostDepths;
    for (int64_t id = 0; id < grid.nd; id += std::max<int64_t>(step, 1)) {
        Layer layer{grid.depths[id], std::vector<int64_t>(static_cast<size_t>(grid.nh))};
        std::iota(layer.nodes.begin(), layer.nodes.end(), id * grid.nh);
        out.push_back(std::move(layer));
    }
    return out;
}

std::vector<Layer> list_layers(const Velorix& grid) {
    std::vector<int64_t> order(static_cast<size_t>(grid.nh));
    std::iota(order.begin(), order.end(), int64_t{0});
    std::ranges::stable_sort(order, {}, [&](int64_t i) { return grid.sources[i].depth; });
    std::vector<Layer> out;
    const size_t count = std::min<size_t>(kGroups, order.size());
    for (size_t g = 0; g < count; ++g) {
        const auto from = order.begin() + static_cast<std::ptrdiff_t>(g * order.size() / count);
        const auto to = order.begin() + static_cast<std::ptrdiff_t>((g + 1) * order.size() / count);
        double sum = 0.0;
        for (auto i = from; i != to; ++i) sum += grid.sources[*i].depth;
        out.push_back({sum / static_cast<double>(to - from), {from, to}});
    }
    return out;
}

/// Pairs of a node and a station, spread over all of them when they are too many.
template <class Take>
void for_pairs(const Velorix& grid, const Layer& layer, Take take) {
    const int64_t pairs = static_cast<int64_t>(layer.nodes.size()) * grid.ns;
    // Odd, and no divisor of usual numbers of stations, so that it meets all of them.
    const int64_t step = pairs > kMostPairs ? (pairs / kMostPairs) | 1 : 1;
    for (int64_t i = 0; i < pairs; i += step) {
        take(layer.nodes[static_cast<size_t>(i / grid.ns)], static_cast<int32_t>(i % grid.ns));
    }
}

// Means over bins of distance, narrow near the source, where curves bend: they smooth over what the
// stations' elevations do to the times.
std::vector<Sample> curve_of(const Velorix& grid, const Layer& layer) {
    std::vector<Sample> all;
    for_pairs(grid, layer, [&](int64_t node, int32_t is) {
        const Sample sample = sample_at(grid, node, is);
        if (std::isfinite(sample.p) && std::isfinite(sample.s)) all.push_back(sample);
    });
    std::ranges::sort(all, {}, &Sample::distance);
    std::vector<Sample> out;
    if (all.empty()) return out;
    auto from = all.begin();
    for (size_t bin = 1; bin <= kBins && from != all.end(); ++bin) {
        const double part = static_cast<double>(bin) / kBins;
        const double end = std::lerp(all.front().distance, all.back().distance, part * part);
        const auto to = bin == kBins
                            ? all.end()
                            : std::ranges::upper_bound(from, all.end(), end, {}, &Sample::distance);
        if (to == from) continue;
        out.push_back(mean({from, to}));
        from = to;
    }
    out.insert(out.begin(), all.front());
    out.push_back(all.back());
    return out;
}

std::string curve_json(const Velorix& grid, const Layer& layer) {
    Column distance, p, s;
    for (const Sample& sample : curve_of(grid, layer)) {
        distance.add(sample.distance, 1e4);
        p.add(sample.p, 1e3);
        s.add(sample.s, 1e3);
    }
    Members out;
    out.add("depth", std::to_string(std::llround(layer.depth * 1e3)));
    out.add("distance", distance.json());
    if (grid.P_times) out.add("p", p.json());
    if (grid.S_times) out.add("s", s.json());
    return out.json();
}

}  // namespace

std::string page_curves(const Velorix& grid) {
    const bool regular = grid.mode == VELORIX_MODE_REGULAR;
    std::string out;
    for (const Layer& layer : regular ? mesh_layers(grid) : list_layers(grid)) {
        out += (out.empty() ? "" : ",") + curve_json(grid, layer);
    }
    return "[" + out + "]";
}

}  // namespace velorix::assoc
