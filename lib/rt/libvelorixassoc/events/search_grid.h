#ifndef VELORIX_ASSOC_SEARCH_GRID_H
#define VELORIX_ASSOC_SEARCH_GRID_H
// A loaded grid with its search parameters, and what picks may be on it.
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "grid_rules.h"
#include "grid_times.h"
#include "pick_store.h"
#include "platform/containers/owners.h"

namespace velorix::assoc {

/// What the pattern list of a grid says about a station.
struct StationRule {
    double p_weight = 1.0, s_weight = 1.0;  ///< 0: joins events without a say in them
    double p_limit = 0.0, s_limit = 0.0;    ///< of |residual| of defining picks, s
    double p_join = 0.0, s_join = 0.0;      ///< of picks that are associated only, s
    double weight(char phase) const { return phase == 'S' ? s_weight : p_weight; }
    double limit(char phase) const { return phase == 'S' ? s_limit : p_limit; }
    double join_limit(char phase) const { return phase == 'S' ? s_join : p_join; }
};

struct SearchGrid {
    SearchGrid(const Velorix* record, std::string grid_name)
        : name(std::move(grid_name)), times(record) {}

    std::string name;
    GridTimes times;
    GridRules rules;
    velorix::Owned<SearchParams, velorix_free_search> search;
    std::vector<StationRule> station_rules;  ///< by number
    double min_p = 0.0;                      ///< shortest travel time in the grid, s

    /// Number of a pick's station in the grid, by code, NET.STA or NET_STA; -1 when it has none.
    int station_of(const Pick& pick) const;
    const Station& station(int number) const { return times.grid().stations[number]; }

  private:
    mutable std::unordered_map<std::string, int> numbers_;
};

/// The grids of a set and what they were read from.
struct GridSet::Owned {
    std::vector<std::unique_ptr<Tbl, EndContainer<velorix_release>>> files;
    std::vector<SearchGrid> grids;
    /// SearchParams by grid name.
    OwnedArr by_name;
};

/// Gives a pick its role on every grid. `labels` is not automatic.
void assign_roles(Waiting& waiting, const std::vector<SearchGrid>& grids, Labels labels);
/// It may join an event, as some phase, on some grid.
bool has_role(const Waiting& waiting);

}  // namespace velorix::assoc
#endif
