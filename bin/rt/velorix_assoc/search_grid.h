#ifndef VELORIX_ASSOC_SEARCH_GRID_H
#define VELORIX_ASSOC_SEARCH_GRID_H
// A loaded grid with its search parameters, and the picks waiting to be associated.
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "activity.h"
#include "grid_times.h"
#include "parameters.h"
#include "pick.h"
#include "velorix_pvt.h"

namespace velorix::assoc {

/// What a pick may be on one grid.
struct Role {
    int station = -1;           ///< number in the grid; -1: not in it, or no phase allowed
    int place = -1;             ///< the same whether or not a phase is allowed
    bool p = false, s = false;  ///< phases it may join an event as
    bool search_s = false;      ///< tried as S in the search for the best node
    bool sifted = false;        ///< a sifter takes away a phase that its label allows
};

/// What the pattern list of a grid says about a station.
struct StationRule {
    double p_weight = 1.0, s_weight = 1.0;  ///< 0: joins events without a say in them
    double p_limit = 0.0, s_limit = 0.0;    ///< of |residual|, s
    double weight(char phase) const { return phase == 'S' ? s_weight : p_weight; }
    double limit(char phase) const { return phase == 'S' ? s_limit : p_limit; }
};

/// A pick on its way through the program.
struct Waiting {
    Pick pick;
    std::vector<Role> roles;  ///< one a grid
    PickList record{};        ///< the engine's view
    int event = 0;            ///< number of the event that took it, from 1; 0: free
};

struct FreeSearch {
    void operator()(SearchParams* sp) const { velorix_free_search(sp); }
};

struct SearchGrid {
    SearchGrid(const Velorix* record, std::string grid_name)
        : name(std::move(grid_name)), times(record) {}

    std::string name;
    GridTimes times;
    GridRules rules;
    std::unique_ptr<SearchParams, FreeSearch> search;
    std::vector<StationRule> stations;      ///< by number
    std::vector<char> alive;                ///< per station: it has a pick somewhere in the files
    std::vector<const Activity*> activity;  ///< per station; null: unknown
    double min_p = 0.0;                     ///< shortest travel time in the grid, s

    /// A station had picks in the hours around a time.
    bool at_work(int station, double time) const;
    /// Number of a pick's station in the grid, by code, NET.STA or NET_STA; -1 when it has none.
    int station_of(const Pick& pick) const;
    const Station& station(int number) const { return times.grid().stations[number]; }

  private:
    mutable std::unordered_map<std::string, int> numbers_;
};

struct ReleaseGrids {
    void operator()(Tbl* grids) const { freetbl(grids, velorix_release); }
};

/// Every grid of a run.
class GridSet {
  public:
    /// Loads the grids of all files and gives each its parameters. False after a logged line.
    bool load(const std::vector<std::string>& paths, const ParameterFile& file, int threads);
    /// Adds one grid, which stays the caller's and must outlive the set.
    bool add(Velorix* grid, const ParameterFile& file, int threads);
    std::vector<SearchGrid>& grids() { return grids_; }
    const std::vector<SearchGrid>& grids() const { return grids_; }
    /// SearchParams by grid name, as the engine wants them.
    Arr* by_name() const { return by_name_.get(); }

  private:
    struct FreeArr {
        void operator()(Arr* arr) const { freearr(arr, nullptr); }
    };
    std::vector<std::unique_ptr<Tbl, ReleaseGrids>> files_;
    std::vector<SearchGrid> grids_;
    std::unique_ptr<Arr, FreeArr> by_name_;
};

/// Gives a pick its role on every grid.
void assign_roles(Waiting& waiting, const std::vector<SearchGrid>& grids, Labels labels);

}  // namespace velorix::assoc
#endif
