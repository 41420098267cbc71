#include "geodesic_mesh.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <unordered_map>

namespace telegrid {

namespace {

// Latitudes +-atan(1/2), longitudes every 72 degrees from -162 (south) and -126 (north); their
// sines and cosines are square roots, which round alike everywhere.
Mesh icosahedron() {
    const double root5 = std::sqrt(5.0);
    const double cos36 = (1.0 + root5) / 4.0;
    const double cos72 = (root5 - 1.0) / 4.0;
    const double sin36 = std::sqrt(10.0 - 2.0 * root5) / 4.0;
    const double sin72 = std::sqrt(10.0 + 2.0 * root5) / 4.0;
    const double z = 1.0 / root5;
    const double r = 2.0 / root5;
    Mesh mesh;
    mesh.vertices = {{0.0, 0.0, -1.0},
                     {-sin72 * r, -cos72 * r, -z},
                     {0.0, -r, -z},
                     {sin72 * r, -cos72 * r, -z},
                     {sin36 * r, cos36 * r, -z},
                     {-sin36 * r, cos36 * r, -z},
                     {-sin36 * r, -cos36 * r, z},
                     {sin36 * r, -cos36 * r, z},
                     {sin72 * r, cos72 * r, z},
                     {0.0, r, z},
                     {-sin72 * r, cos72 * r, z},
                     {0.0, 0.0, 1.0}};
    for (int32_t i = 0; i < 5; ++i) {
        const int32_t south = 1 + i;
        const int32_t north = 6 + i;
        const int32_t next_south = 1 + (i + 1) % 5;
        const int32_t next_north = 6 + (i + 1) % 5;
        mesh.triangles.push_back({kSouthPole, next_south, south});
        mesh.triangles.push_back({south, next_south, north});
        mesh.triangles.push_back({next_south, next_north, north});
        mesh.triangles.push_back({kNorthPole, north, next_north});
    }
    return mesh;
}

Vector midpoint(const Vector& a, const Vector& b) {
    const Vector sum{a.x + b.x, a.y + b.y, a.z + b.z};
    const double length = std::sqrt(dot(sum, sum));
    return {sum.x / length, sum.y / length, sum.z / length};
}

// Splits every triangle; the midpoint of an edge is shared by the two triangles of the edge.
class Splitter {
  public:
    explicit Splitter(Mesh& mesh) : mesh_(mesh) { edges_.reserve(mesh.triangles.size() * 3 / 2); }

    void split() {
        std::vector<std::array<int32_t, 3>> finer;
        finer.reserve(mesh_.triangles.size() * 4);
        for (const auto& [a, b, c] : mesh_.triangles) {
            const int32_t ab = middle(a, b);
            const int32_t bc = middle(b, c);
            const int32_t ca = middle(c, a);
            finer.insert(finer.end(), {{a, ab, ca}, {b, bc, ab}, {c, ca, bc}, {ab, bc, ca}});
        }
        mesh_.triangles = std::move(finer);
    }

  private:
    int32_t middle(int32_t a, int32_t b) {
        const auto [low, high] = std::minmax(a, b);
        const auto next = static_cast<int32_t>(mesh_.vertices.size());
        const uint64_t key = static_cast<uint64_t>(low) << 32 | static_cast<uint64_t>(high);
        const auto [edge, added] = edges_.try_emplace(key, next);
        if (added) {
            const Vector vertex = midpoint(mesh_.vertices[low], mesh_.vertices[high]);
            mesh_.vertices.push_back(vertex);
        }
        return edge->second;
    }

    Mesh& mesh_;
    std::unordered_map<uint64_t, int32_t> edges_;
};

}  // namespace

Mesh geodesic_mesh(int splits) {
    Mesh mesh = icosahedron();
    for (int i = 0; i < splits; ++i) Splitter(mesh).split();
    return mesh;
}

std::vector<std::array<int32_t, 6>> neighbours(const Mesh& mesh) {
    std::vector<std::array<int32_t, 6>> lists(mesh.vertices.size(), {-1, -1, -1, -1, -1, -1});
    // Triangles keep their sense of rotation, so each edge of a vertex leaves it exactly once.
    for (const auto& triangle : mesh.triangles) {
        for (size_t i = 0; i < 3; ++i) {
            auto& list = lists[static_cast<size_t>(triangle[i])];
            *std::find(list.begin(), list.end(), -1) = triangle[(i + 1) % 3];
        }
    }
    return lists;
}

Position rounded_position(const Vector& vertex) {
    constexpr double units = 1e5 * 180.0 / std::numbers::pi;
    constexpr int32_t quarter = 90 * 100000;
    const auto lat = static_cast<int32_t>(
        std::lround(std::atan2(vertex.z, std::hypot(vertex.x, vertex.y)) * units));
    if (lat == quarter || lat == -quarter) return {lat, 0};
    const auto lon = static_cast<int32_t>(std::lround(std::atan2(vertex.y, vertex.x) * units));
    return {lat, lon <= -2 * quarter ? 2 * quarter : lon};
}

}  // namespace telegrid
