#ifndef VELORIX_INFO_SUMMARY_H
#define VELORIX_INFO_SUMMARY_H
// What a person wants to know of a grid.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "velorix.h"

namespace velorix::info {

struct Range {
    double min;
    double max;
};

/// Latitudes, and the shortest arc of longitudes, that hold every position; when `east` is smaller
/// than `west` the arc crosses the 180 degree meridian.
struct Area {
    double south;
    double north;
    double west;
    double east;
};

struct Summary {
    std::string mode;
    std::string type;
    std::vector<double> depths;  // distinct, rising; km
    std::optional<Area> area;
    std::optional<Range> distances;  // degrees
    std::optional<Range> p_times;    // seconds
    std::optional<Range> s_times;
};

Summary summarize(const Velorix& grid);

/// The tables that a grid carries, in the order of the file: "distances", "P", "S", "offsets".
std::vector<std::string_view> tables(const Velorix& grid);

/// True for a geometric field that the grid's builder has set.
bool is_set(double field);

}  // namespace velorix::info
#endif
