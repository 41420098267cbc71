#ifndef VELORIX_GRSUBS_NODE_TABLES_H
#define VELORIX_GRSUBS_NODE_TABLES_H
// A grid's tables as one node sees them: the node's part of the index arithmetic is done once.
#include "grsubs/table_index.h"
#include "velorix_pvt.h"

namespace velorix {

class NodeTables {
  public:
    NodeTables(const Velorix& grid, const Node& node) : ns_(grid.ns) {
        if (grid.type == VELORIX_TYPE_3D) {
            row_ = pair_row(grid, node);
        } else if (grid.type == VELORIX_TYPE_1D && grid.ttoffsets) {
            samples_ = grid.ttoffsets + position_number(grid, node) * grid.ns;
            if (grid.mode != VELORIX_MODE_GENERAL) depth_row_ = int64_t{node.id} * grid.ndist;
        } else {
            ns_ = 0;
            return;
        }
        p_times_ = grid.P_times;
        s_times_ = grid.S_times;
        distances_ = grid.distances;
    }

    bool usable() const { return ns_ > 0; }
    bool has_station(int is) const { return is >= 0 && is < ns_; }
    bool has_distances() const { return distances_ != nullptr; }

    /// Place of the pair in the grid's distance table. REQUIRES: has_station(is).
    int64_t distance_entry(int is) const { return samples_ ? samples_[is] : row_ + is; }
    double distance(int is) const { return distances_[distance_entry(is)]; }
    /// Whether times are read at p_row()[is] and s_row()[is]; a row is null without its table.
    bool pair_times() const { return !samples_; }
    const float* p_row() const { return p_times_ ? p_times_ + row_ : nullptr; }
    const float* s_row() const { return s_times_ ? s_times_ + row_ : nullptr; }
    /// Travel times, seconds; 0.0 from a table that the grid does not carry.
    double p_time(int is) const { return time(p_times_, is); }
    double s_time(int is) const { return time(s_times_, is); }

  private:
    double time(const float* times, int is) const {
        return times ? static_cast<double>(times[distance_entry(is) + depth_row_]) : 0.0;
    }

    int32_t ns_;
    int64_t row_ = 0;
    int64_t depth_row_ = 0;
    const uint16_t* samples_ = nullptr;
    const float* p_times_ = nullptr;
    const float* s_times_ = nullptr;
    const float* distances_ = nullptr;
};

}  // namespace velorix
#endif
