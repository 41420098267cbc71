#ifndef VELORIX_ASSOC_GRID_SCAN_H
#define VELORIX_ASSOC_GRID_SCAN_H
// One scan of one grid by the engine.
#include <span>
#include <vector>

#include "search_grid.h"

namespace velorix::assoc {

/// The best node of a scan.
struct ScanResult {
    bool good = false;  ///< something could be scored
    Spot spot;
    double time = 0.0;  ///< epoch seconds
    double score = 0.0;
    double scatter = 0.0, scatter_weighted = 0.0;
    bool edge = false, priority = false;  ///< faults
    Position position;
};

/**
 * Scans a grid with the given picks, each in the role it has there.
 * @return false after a logged line; a scan without anything to score is good = false
 */
bool scan_grid(std::span<SearchGrid> grids, size_t number, std::span<Waiting* const> picks,
               ScanResult& result);

/**
 * The score of every node with the given picks, each in the role it has there: what a scan looks
 * for the largest of.
 * @param[out] scores by node number; 0 where nothing could be scored
 * @return false after a logged line
 */
bool score_nodes(SearchGrid& grid, size_t number, std::span<Waiting* const> picks,
                 std::vector<double>& scores);

}  // namespace velorix::assoc
#endif
