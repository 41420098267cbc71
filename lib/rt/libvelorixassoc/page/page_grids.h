#ifndef VELORIX_ASSOC_PAGE_GRIDS_H
#define VELORIX_ASSOC_PAGE_GRIDS_H
// What a page shows of a grid.
#include <cstdint>
#include <string>
#include <vector>

#include "velorix.h"

namespace velorix::assoc {

/// Name, model, size, depths, outline and travel-time curves as a JSON object.
/// @param stations number of each of the grid's stations among those of the page
/// @param nodes    with the nodes and their times, thinned to what a page can hold
std::string page_grid(const Velorix& grid, const std::vector<int64_t>& stations, bool nodes);

}  // namespace velorix::assoc
#endif
