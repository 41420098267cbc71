#ifndef VELORIX_TOOLS_TELEGRID_CELLS_H
#define VELORIX_TOOLS_TELEGRID_CELLS_H
// Where earthquakes happen, thinned to the vertices of the fine mesh: per layer the vertices with
// at least one event (or a plate boundary) nearest to them, each with its weight.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace telegrid {

/// Vertices of one layer that share a weight, in rising order.
struct CellGroup {
    int depth_km;
    double weight;
    std::vector<int32_t> vertices;
};

/**
 * Text form: comment lines that begin with '#', then per group a line
 * "layer <km> weight <weight> cells <count>" and the vertex numbers, each as its difference from
 * the one before (the first from 0).
 */
std::string cells_to_text(const std::vector<CellGroup>& groups);
/// The inverse; throws std::runtime_error that names the faulty word.
std::vector<CellGroup> cells_from_text(std::string_view text);

}  // namespace telegrid

#endif
