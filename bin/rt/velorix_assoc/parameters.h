#ifndef VELORIX_ASSOC_PARAMETERS_H
#define VELORIX_ASSOC_PARAMETERS_H
// Parameters in force: the engine's per grid, and the program's own.
#include <string>
#include <vector>

#include "grid_times.h"
#include "platform/pf/pf.h"
#include "velorix_pvt.h"

namespace velorix::assoc {

/// The program's own parameters of one grid; each has the name of its key.
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

/// How the phase labels of the picks are taken.
enum class Labels {
    trust,    ///< P is P and S is S
    p_first,  ///< a P label may be an S; for pickers that call every onset P
    ignore    ///< any pick may be either
};

struct ProgramRules {
    bool labels_automatic = true;
    Labels labels = Labels::trust;
    bool reuse_picks = false;  ///< picks of an event may serve later ones
};

/// Text of one parameter file; empty without one.
struct ParameterFile {
    Pf* root = nullptr;
    ~ParameterFile() { pffree(root); }
    ParameterFile() = default;
    ParameterFile(const ParameterFile&) = delete;
    ParameterFile& operator=(const ParameterFile&) = delete;
    /// The node of a grid in a table: `grids` holds the engine's parameters, `events` the program's
    /// own. Null when the file has none.
    Pf* section(const char* table, const std::string& name) const;
};

/// Values for both records that follow from the grid alone.
void derive_defaults(const GridTimes& times, SearchParams& sp, GridRules& rules);

/// What the file says about one grid on top of the defaults. False after a logged line.
bool read_grid_rules(const ParameterFile& file, const std::string& name, SearchParams* sp,
                     GridRules& rules);
bool read_program_rules(const ParameterFile& file, ProgramRules& rules);
/// Complains about grids of the file that were not loaded and about keys nobody reads.
void complain_unknown_keys(const ParameterFile& file, const std::vector<std::string>& grids);

/// All values in force, as TOML that read_* takes back.
std::string show_program_rules(const ProgramRules& rules);
std::string show_grid_rules(const std::string& name, const SearchParams& sp,
                            const GridRules& rules);

}  // namespace velorix::assoc
#endif
