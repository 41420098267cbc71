#include "selection.h"

#include <algorithm>
#include <numbers>
#include <numeric>
#include <stdexcept>

#include "geodesic_mesh.h"

namespace telegrid {

namespace {

constexpr double kShallowReachDeg = 0.5;
constexpr double kDeepReachDeg = 0.6;
constexpr int32_t kFurtherShallow = 71466;       // fine vertices of the 15 km layer
constexpr size_t kCoarseWithoutShallow = 278;    // coarse vertices without a 15 km record
constexpr size_t kFurtherWithoutShallow = 4091;  // fine vertices with deep records only

using Adjacency = std::vector<std::array<int32_t, 6>>;

bool is_coarse(int32_t vertex) { return vertex < kCoarseVertices; }

// A bell curve exp(-x) as (1 - x/16)^16: made of products alone, which round alike everywhere, and
// zero from 5.7 standard deviations on.
double bell(double x) {
    const double base = x < 16.0 ? 1.0 - x / 16.0 : 0.0;
    const double power2 = base * base;
    const double power4 = power2 * power2;
    const double power8 = power4 * power4;
    return power8 * power8;
}

// Smooths cells over the mesh: the score of a vertex is the sum of the weights of the cells around
// it, each times a bell curve of its distance.
class Smoother {
  public:
    Smoother(const Mesh& mesh, const Adjacency& near)
        : mesh_(mesh), near_(near), seen_by_(mesh.vertices.size(), -1) {}

    std::vector<double> scores(const std::vector<CellGroup>& cells, int depth_km,
                               double reach_deg) {
        constexpr double radian = std::numbers::pi / 180.0;
        const double scale = 1.0 / (2.0 * reach_deg * radian * reach_deg * radian);
        std::vector<double> scores(mesh_.vertices.size(), 0.0);
        for (const CellGroup& group : cells) {
            if (group.depth_km != depth_km) continue;
            for (const int32_t vertex : group.vertices) spread(vertex, group.weight, scale, scores);
        }
        return scores;
    }

  private:
    void spread(int32_t cell, double weight, double scale, std::vector<double>& scores) {
        ++wave_;
        queue_.assign(1, cell);
        seen_by_[static_cast<size_t>(cell)] = wave_;
        const Vector centre = mesh_.vertices[static_cast<size_t>(cell)];
        for (size_t head = 0; head < queue_.size(); ++head) {
            const auto vertex = static_cast<size_t>(queue_[head]);
            const double part = bell(chord_squared(centre, mesh_.vertices[vertex]) * scale);
            if (part == 0.0) continue;
            scores[vertex] += weight * part;
            for (const int32_t next : near_[vertex]) {
                if (next < 0 || seen_by_[static_cast<size_t>(next)] == wave_) continue;
                seen_by_[static_cast<size_t>(next)] = wave_;
                queue_.push_back(next);
            }
        }
    }

    const Mesh& mesh_;
    const Adjacency& near_;
    std::vector<int32_t> seen_by_;
    std::vector<int32_t> queue_;
    int32_t wave_ = -1;
};

// Vertices that satisfy a condition, best score first (or last); ties by number.
template <class Condition>
std::vector<int32_t> ranked(const std::vector<double>& scores, bool best_first, Condition wanted) {
    std::vector<int32_t> vertices;
    for (int32_t i = 0; i < kFineVertices; ++i) {
        if (wanted(i)) vertices.push_back(i);
    }
    std::stable_sort(vertices.begin(), vertices.end(), [&](int32_t a, int32_t b) {
        const double score_a = scores[static_cast<size_t>(a)];
        const double score_b = scores[static_cast<size_t>(b)];
        return best_first ? score_a > score_b : score_a < score_b;
    });
    return vertices;
}

void add_layer(Layers& layers, const std::vector<double>& scores, const std::vector<int32_t>& rank,
               size_t count, size_t layer) {
    if (rank.size() < count || (count > 0 && scores[static_cast<size_t>(rank[count - 1])] == 0.0)) {
        throw std::runtime_error("too few cells for the " + std::to_string(kDepthsKm[layer]) +
                                 " km layer");
    }
    for (size_t i = 0; i < count; ++i) {
        layers[static_cast<size_t>(rank[i])] |= static_cast<uint8_t>(1 << layer);
    }
}

// Coarse vertices whose only records are deep: those with the least shallow seismicity, no two of
// them neighbours on the coarse mesh, so that the 15 km layer has no hole wider than one of them.
std::vector<int32_t> coarse_without_shallow(const std::vector<int32_t>& quiet_first) {
    const Adjacency near = neighbours(geodesic_mesh(kCoarseSplits));
    std::vector<bool> blocked(kCoarseVertices, false);
    std::vector<int32_t> chosen;
    for (const int32_t vertex : quiet_first) {
        if (chosen.size() == kCoarseWithoutShallow) break;
        if (blocked[static_cast<size_t>(vertex)]) continue;
        chosen.push_back(vertex);
        for (const int32_t next : near[static_cast<size_t>(vertex)]) {
            if (next >= 0) blocked[static_cast<size_t>(next)] = true;
        }
    }
    return chosen;
}

void add_shallow_layer(Layers& layers, const std::vector<double>& scores) {
    const Layers deep = layers;
    const auto has_deep = [&](int32_t i) { return deep[static_cast<size_t>(i)] != 0; };
    const auto quiet_coarse = coarse_without_shallow(ranked(scores, false, [&](int32_t i) {
        return is_coarse(i) && has_deep(i) && i != kSouthPole && i != kNorthPole;
    }));
    const auto quiet_fine =
        ranked(scores, false, [&](int32_t i) { return !is_coarse(i) && has_deep(i); });
    if (quiet_coarse.size() < kCoarseWithoutShallow || quiet_fine.size() < kFurtherWithoutShallow) {
        throw std::runtime_error("too few cells for the deeper layers");
    }
    std::vector<bool> without(kFineVertices, false);
    for (const int32_t i : quiet_coarse) without[static_cast<size_t>(i)] = true;
    for (size_t i = 0; i < kFurtherWithoutShallow; ++i) {
        without[static_cast<size_t>(quiet_fine[i])] = true;
    }
    for (int32_t i = 0; i < kFineVertices; ++i) {
        if (!without[static_cast<size_t>(i)] && (is_coarse(i) || has_deep(i))) {
            layers[static_cast<size_t>(i)] |= 1;
        }
    }
    const auto above_deep = static_cast<int32_t>(quiet_fine.size() - kFurtherWithoutShallow);
    if (above_deep > kFurtherShallow) throw std::runtime_error("too many deep positions");
    const auto active =
        ranked(scores, true, [&](int32_t i) { return !is_coarse(i) && !has_deep(i); });
    add_layer(layers, scores, active, static_cast<size_t>(kFurtherShallow - above_deep), 0);
}

}  // namespace

Layers select_layers(const std::vector<CellGroup>& cells) {
    const Mesh mesh = geodesic_mesh(kFineSplits);
    const Adjacency near = neighbours(mesh);
    Smoother smoother(mesh, near);
    Layers layers(kFineVertices, 0);
    for (size_t i = 1; i < kDepthsKm.size(); ++i) {
        const auto scores = smoother.scores(cells, kDepthsKm[i], kDeepReachDeg);
        const auto rank =
            ranked(scores, true, [&](int32_t v) { return scores[static_cast<size_t>(v)] > 0.0; });
        add_layer(layers, scores, rank, static_cast<size_t>(kRecords[i]), i);
    }
    add_shallow_layer(layers, smoother.scores(cells, kDepthsKm[0], kShallowReachDeg));
    return layers;
}

}  // namespace telegrid
