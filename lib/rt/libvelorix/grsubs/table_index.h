#ifndef VELORIX_GRSUBS_TABLE_INDEX_H
#define VELORIX_GRSUBS_TABLE_INDEX_H
// Node and station to table entry: the only place that this arithmetic stands.
#include <cstddef>
#include <cstdint>

#include "velorix.h"

namespace velorix {

/// A node as the queries number it: column, row and depth, or the node number in ix.
struct Node {
    int32_t ix;
    int32_t iy;
    int32_t id;
};

/// Place of a node among the horizontal positions (general mesh: among the nodes).
inline int64_t position_number(const Velorix& grid, const Node& node) {
    if (grid.mode == VELORIX_MODE_GENERAL) return node.ix;
    return int64_t{node.iy} * grid.nx + node.ix;
}

/// Entry 0 of a node's row of a per-pair table; station `is` stands at this entry plus `is`.
inline int64_t pair_row(const Velorix& grid, const Node& node) {
    if (grid.mode == VELORIX_MODE_GENERAL) return int64_t{node.ix} * grid.ns;
    return ((int64_t{node.id} * grid.ny + node.iy) * grid.nx + node.ix) * grid.ns;
}

/// Distance sample of a node and station in a distance-table grid.
inline int64_t distance_sample(const Velorix& grid, const Node& node, int32_t is) {
    return grid.ttoffsets[position_number(grid, node) * grid.ns + is];
}

/// Entry of a node and station in the P and S tables. REQUIRES: type 1 or 2.
inline int64_t time_entry(const Velorix& grid, const Node& node, int32_t is) {
    if (grid.type == VELORIX_TYPE_3D) return pair_row(grid, node) + is;
    const int64_t depth = grid.mode == VELORIX_MODE_GENERAL ? 0 : int64_t{node.id} * grid.ndist;
    return distance_sample(grid, node, is) + depth;
}

}  // namespace velorix

#endif
