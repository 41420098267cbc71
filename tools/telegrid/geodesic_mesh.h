#ifndef VELORIX_TOOLS_TELEGRID_GEODESIC_MESH_H
#define VELORIX_TOOLS_TELEGRID_GEODESIC_MESH_H
// The geodesic mesh whose vertices the global source set is chosen from: an icosahedron with a
// vertex at each pole, every triangle split into four at the great-circle midpoints of its edges.
//
// Vertices are numbered in order of creation, so that those of a coarser mesh come first and keep
// their numbers; the compact table relies on that order.
#include <array>
#include <cstdint>
#include <vector>

namespace telegrid {

inline constexpr int kCoarseSplits = 6;
inline constexpr int kFineSplits = 8;
inline constexpr int32_t kCoarseVertices = 40962;
inline constexpr int32_t kFineVertices = 655362;
inline constexpr int32_t kSouthPole = 0;
inline constexpr int32_t kNorthPole = 11;

/// A unit vector: x toward (0, 0), y toward (0, 90 E), z toward the north pole.
struct Vector {
    double x;
    double y;
    double z;
};

inline double dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
/// Squared length of the chord between two points of the unit sphere.
inline double chord_squared(const Vector& a, const Vector& b) {
    const double dx = a.x - b.x;
    const double dy = a.y - b.y;
    const double dz = a.z - b.z;
    return dx * dx + dy * dy + dz * dz;
}

struct Mesh {
    std::vector<Vector> vertices;
    std::vector<std::array<int32_t, 3>> triangles;
};

/// The mesh after a number of splits: 10 * 4^splits + 2 vertices. Uses only operations that IEEE
/// 754 rounds correctly, so that every machine gets the same bits.
Mesh geodesic_mesh(int splits);

/// Up to six neighbours of every vertex (the twelve of the icosahedron have five), -1 beyond.
std::vector<std::array<int32_t, 6>> neighbours(const Mesh& mesh);

/// A position in units of 1e-5 degree.
struct Position {
    int32_t lat;
    int32_t lon;  // in (-180, 180] degrees; 0 at the poles

    auto operator<=>(const Position&) const = default;
};

/// A vertex rounded to five decimals. No vertex of the meshes in use lies nearer than 1.4e-10
/// degree to a rounding tie, so that the last bits of the arctangent do not matter.
Position rounded_position(const Vector& vertex);

}  // namespace telegrid

#endif
