#ifndef VELORIX_ASSOC_ASSOCIATION_H
#define VELORIX_ASSOC_ASSOCIATION_H
// Which picks belong to a place and time: the one rule that location, catalogue and explanation
// read.
#include <span>
#include <vector>

#include "search_grid.h"

namespace velorix::assoc {

/// A pick taken for a phase.
struct Member {
    Waiting* waiting = nullptr;
    int station = 0;
    char phase = 'P';
    double residual = 0.0;  ///< s
    double weight = 1.0;    ///< of the location
    bool defining = true;
};

/// A place and time with the picks that belong to it.
struct Solution {
    Spot spot;
    double time = 0.0;
    double slowing = 0.0;  ///< travel times are longer by this share than the grid's
    std::vector<Member> members;
    bool on_edge = false;
};

/// How far a pick may lie from its predicted time.
struct Limits {
    double widen = 1.0;  ///< factor on the limits of defining picks
    bool join = false;   ///< instead: the wider limits of picks that are associated only
    double of(const StationRule& rule, char phase) const {
        return join ? rule.join_limit(phase) : widen * rule.limit(phase);
    }
};

/// How one pick fits a place and time.
struct Fit {
    char phase = 'P';
    Reason reason = Reason::no_time;  ///< accepted, no_time, beyond_limit, label or sifted
    double residual = 0.0;            ///< s, as that phase
    double limit = 0.0;               ///< applied to |residual|, s
    /// Within so many limits, allowed or not.
    bool within(double limits) const { return std::abs(residual) <= limits * limit; }
};

/**
 * The phase that a pick fits best among those it may be; another one where only that would be near.
 * @param role   of the pick on the grid
 * @param times  predicted at its station, s; negative: the grid has none
 * @param travel from origin to pick, s
 */
Fit fit_of(const SearchGrid& grid, const Role& role, const Times& times, double travel,
           const Limits& limits);

/// Travel times at a station as a solution has them.
Times slowed_times(const SearchGrid& grid, const Solution& at, int station);

/// Weight of a station for a phase at a place, by the grid's patterns and its curves against
/// distance; 0: its picks do not define an event.
double station_weight(const SearchGrid& grid, int station, char phase, const Spot& spot);

/**
 * The picks that fit a solution: at most one P and one S a station, each the one with the smallest
 * residual, S behind P; no pick as both.
 * @param number of the grid
 * @param picks  by time
 * @param at     place, time and slowing
 */
std::vector<Member> associate(const SearchGrid& grid, size_t number,
                              std::span<Waiting* const> picks, const Solution& at,
                              const Limits& limits);

/// Picks near a solution's predicted times that are not its own, and why.
/// @param nearby picks around it, by time, those of events too
std::vector<LeftOut> left_out_of(const SearchGrid& grid, size_t number, const Solution& solution,
                                 std::span<Waiting* const> nearby);

}  // namespace velorix::assoc
#endif
