#ifndef VELORIX_INFO_NODES_H
#define VELORIX_INFO_NODES_H
// The nodes of a grid by number, and the node nearest to a point.
#include <cstdint>

#include "velorix.h"

namespace velorix::info {

struct Point {
    double lat;    // degrees
    double lon;    // degrees
    double depth;  // km
};

/// A node as velorix_get_ttimes wants it: on a general mesh ix is the node number.
struct Node {
    int64_t number;
    int32_t ix;
    int32_t iy;
    int32_t id;
    Point at;
};

inline bool is_regular(const Velorix& grid) { return grid.mode == VELORIX_MODE_REGULAR; }

/// Degrees to a tenth of a metre on the ground: beyond that a distance's digits say nothing.
double rounded_degrees(double degrees);

/// REQUIRES: 0 <= number < grid.nn. Regular meshes count x fastest, then y, then depth.
Node node(const Velorix& grid, int64_t number);

/// The node at the smallest straight-line distance, the first of several; REQUIRES: grid.nn > 0.
Node nearest_node(const Velorix& grid, const Point& point);

}  // namespace velorix::info
#endif
