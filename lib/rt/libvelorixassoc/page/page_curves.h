#ifndef VELORIX_ASSOC_PAGE_CURVES_H
#define VELORIX_ASSOC_PAGE_CURVES_H
// The P and S curves of a grid, as its tables have them.
#include <string>

#include "velorix.h"

namespace velorix::assoc {

/// A JSON array with an object for each depth: "depth" (m), "distance" (1e-4 degrees), "p" and "s"
/// (ms; absent without a table), by distance. A regular mesh has a curve a depth, at most 40; the
/// nodes of a general mesh are put in 12 groups by depth.
std::string page_curves(const Velorix& grid);

}  // namespace velorix::assoc
#endif
