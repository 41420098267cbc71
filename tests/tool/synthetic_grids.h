#ifndef VELORIX_TESTS_TOOL_SYNTHETIC_GRIDS_H
#define VELORIX_TESTS_TOOL_SYNTHETIC_GRIDS_H
// Grid files with made-up times that are easy to recognise, so that what is shown does not hang on
// the travel-time calculator.
#include <string>

namespace velorix_test {

/**
 * Bytes of a grid file of two stations:
 *   "plain"  a general mesh "list, of points" (P of node n and station s: 100 n + s + 0.5) and a
 *            mesh of 2 x 1 x 2 with a distance table of three samples "table" (P: 10, 20, .. by
 *            sample and depth; S: twice as much)
 *   "empty"  a grid without nodes
 *   "odd"    a general mesh whose name fills its 64 bytes with quotes, controls and broken UTF-8
 */
std::string synthetic_grids(const std::string& kind);

}  // namespace velorix_test
#endif
