#ifndef VELORIX_TOOLS_TELEGRID_SELECTION_H
#define VELORIX_TOOLS_TELEGRID_SELECTION_H
#include <vector>

#include "cells.h"
#include "table_file.h"

namespace telegrid {

/// Chooses the vertices of every layer by rank, so that each count is met exactly. The result
/// depends on correctly rounded operations only and is the same on every machine. Throws
/// std::runtime_error when the cells do not reach far enough.
Layers select_layers(const std::vector<CellGroup>& cells);

}  // namespace telegrid

#endif
