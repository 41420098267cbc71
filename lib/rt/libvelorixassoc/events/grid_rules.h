#ifndef VELORIX_ASSOC_GRID_RULES_H
#define VELORIX_ASSOC_GRID_RULES_H
// Parameters of one grid: the engine's, and the rules of an event.
#include <string>
#include <vector>

#include "../velorixassoc.h"
#include "grid_times.h"
#include "velorix_pvt.h"

namespace velorix::assoc {

/// The rules of an event on one grid; each has the name of its key.
struct GridRules {
    int min_p = 0;                 ///< least P picks of an event
    int min_s = 0;                 ///< least S picks
    int min_picks = 0;             ///< least picks in all
    int min_stations = 0;          ///< least stations
    double min_coverage = 0.0;     ///< least share of near stations with a pick, 0 .. 1
    double max_scatter = 0.0;      ///< largest weighted residual scatter, s
    double window = 0.0;           ///< longest time from origin to a pick, s
    double step = 0.0;             ///< time by which the stream advances, s
    double separation_time = 0.0;  ///< events closer than both of these are one, s
    double separation_km = 0.0;
    double velocity_sigma = 0.0;  ///< deviation of the model's slowness, a share; 0: taken as exact
    double s_doubt = 0.0;         ///< weight of a pick as S that is not called S; called S: 1
    int refine = 1;               ///< locate between the nodes
    int screen_stations = 0;      ///< stations nearest to a node that screening looks at
};

/// Values for both records that follow from the grid alone.
void derive_defaults(const GridTimes& times, SearchParams& sp, GridRules& rules);

/// The keys of a table `events.<grid>`.
std::vector<const char*> grid_rule_keys();

/// What the file says about one grid on top of the defaults. False after a logged line.
bool read_grid_rules(const Parameters& parameters, const std::string& name, SearchParams* sp,
                     GridRules& rules);

/// Warns of the engine's keys in a file that do nothing for an associator.
void complain_unheeded(const Parameters& parameters, const std::string& name);

/// All values in force, as TOML that read_grid_rules takes back.
std::string show_grid_rules(const std::string& name, const SearchParams& sp,
                            const GridRules& rules);

}  // namespace velorix::assoc
#endif
