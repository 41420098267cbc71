#ifndef VELORIX_ASSOC_GRID_TIMES_H
#define VELORIX_ASSOC_GRID_TIMES_H
// Travel times and positions between the nodes of a grid, so that an event need not stand on one.
#include <cstdint>
#include <memory>
#include <vector>

#include "ray_times.h"

namespace velorix::assoc {

constexpr double kKmPerDegree = 111.19492664455873;  // sphere of 6371 km
constexpr double kPi = 3.141592653589793;

/// A place in a grid: fractional column, row and depth number; a general mesh: node number in x,
/// or, off the nodes, longitude, latitude and depth.
struct Spot {
    double x = 0.0, y = 0.0, z = 0.0;
    bool free = false;  ///< off the nodes of a general mesh
};

/// Great-circle distance and azimuths, degrees.
struct Path {
    double delta = 0.0, esaz = 0.0, seaz = 0.0;
};
Path path_between(const Position& event, double lat, double lon);

class GridTimes {
  public:
    explicit GridTimes(const Velorix* grid);

    const Velorix& grid() const { return *grid_; }
    bool regular() const { return grid_->mode == VELORIX_MODE_REGULAR; }
    /// Places between nodes exist: on a regular mesh by interpolation, on a general one when the
    /// calculator knows the grid's model.
    bool movable() const { return regular() || rays_; }
    /// A spot moved by so many columns, rows and depths; on a general mesh by so many spacings
    /// east, north and down. It stays inside the mesh, above the deepest sources, below the ground.
    Spot shifted(const Spot& spot, double dx, double dy, double dz) const;
    Position position(const Spot& spot) const;
    Times times(const Spot& spot, int station) const;
    Times node_times(int64_t node, int station) const;

    /// Number of nodes, depths counted.
    int64_t nodes() const { return grid_->nn; }
    Spot spot_of(int64_t node) const;

    /// Typical distance between neighbouring nodes, km: horizontally, and in depth (0: one depth).
    double spacing_km() const { return spacing_; }
    double depth_spacing_km() const { return depth_spacing_; }

  private:
    Times table_times(const Spot& spot, int station) const;
    Times mesh_times(const Spot& spot, int station) const;
    double general_spacing() const;
    void follow_rays();

    const Velorix* grid_;
    std::unique_ptr<RayTimes> rays_;
    double deepest_ = 0.0;  // km, of a free spot
    double spacing_ = 0.0, depth_spacing_ = 0.0;
};

}  // namespace velorix::assoc
#endif
