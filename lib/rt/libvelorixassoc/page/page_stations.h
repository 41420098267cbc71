#ifndef VELORIX_ASSOC_PAGE_STATIONS_H
#define VELORIX_ASSOC_PAGE_STATIONS_H
// The stations of a page: those of the grids, and those that only events know.
#include <map>
#include <string>
#include <vector>

#include "../velorixassoc.h"
#include "columns.h"

namespace velorix::assoc {

class PageStations {
  public:
    /// Stations of a grid, in the order of the grid.
    std::vector<int64_t> add(const Velorix& grid);
    /// The station of a pick; a new one when no grid has it. Without a grid its place follows from
    /// distance and azimuth as seen from an event, the nearest one.
    int64_t of_pick(const EventPick& pick, const Event& event);
    int64_t of_pick(const Pick& pick);
    std::string json() const;

  private:
    struct Place {
        std::string name;
        double lat, lon, elev;
        double seen_from;  ///< degrees away: 0 when a grid says where it is
    };
    int64_t find(const Pick& pick);
    std::map<std::string, int64_t> in_grids_, by_pick_;
    std::vector<Place> places_;
};

}  // namespace velorix::assoc
#endif
