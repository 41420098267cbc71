#ifndef VELORIX_ASSOC_GRID_TIMES_H
#define VELORIX_ASSOC_GRID_TIMES_H
// Travel times and positions between the nodes of a grid, so that an event need not stand on one.
#include <cstdint>
#include <vector>

#include "velorix.h"

namespace velorix::assoc {

constexpr double kKmPerDegree = 111.19492664455873;  // sphere of 6371 km
constexpr double kPi = 3.141592653589793;

/// A place in a grid: fractional column, row and depth number; a general mesh: node number in x.
struct Spot {
    double x = 0.0, y = 0.0, z = 0.0;
};

struct Position {
    double lat = 0.0, lon = 0.0, depth = 0.0;
};

/// Travel times; negative when the grid carries no such table.
struct Times {
    double p = -1.0, s = -1.0;
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
    /// Places between nodes exist: a regular mesh.
    bool movable() const { return grid_->mode == VELORIX_MODE_REGULAR; }
    Spot clamped(const Spot& spot) const;
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

    const Velorix* grid_;
    double spacing_ = 0.0, depth_spacing_ = 0.0;
};

}  // namespace velorix::assoc
#endif
