#ifndef VELORIX_ASSOC_LOCATE_H
#define VELORIX_ASSOC_LOCATE_H
// Which picks belong to a place and time, and the place and time that fit the picks best.
#include <span>
#include <vector>

#include "event.h"
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

struct Solution {
    Spot spot;
    double time = 0.0;
    double slowing = 0.0;  ///< travel times are longer by this share than the grid's
    std::vector<Member> members;
    bool on_edge = false;
};

/// Origin time and slowing that fit best at a place.
struct Origin {
    double time = 0.0;
    double slowing = 0.0;
};

class Locator {
  public:
    Locator(const SearchGrid& grid, int number) : grid_(grid), number_(number) {}

    /**
     * The picks that fit a solution: at most one P and one S a station, each the one with the
     * smallest residual, S behind P; no pick as both. Where the station has no weight the member
     * does not define the solution.
     * @param picks  by time
     * @param at     place, time and slowing
     * @param widen  factor on the residual limits
     */
    std::vector<Member> associate(std::span<Waiting* const> picks, const Solution& at,
                                  double widen) const;

    /**
     * Moves a solution to the best fit of its members: least Huber misfit, origin time eliminated,
     * by a pattern search from two nodes' step down to a sixteenth.
     */
    void locate(Solution& solution) const;

    /// Residuals of the members at the solution.
    void update_residuals(Solution& solution) const;

    /// Standard errors from the members' weights, their scatter and the node spacing.
    Uncertainty uncertainty(const Solution& solution) const;

    /// Limits of |residual| for association, s.
    double limit(const Member& member) const;

    /// Travel times as a solution has them.
    Times slowed(const Solution& at, int station) const;

  private:
    double misfit(const Spot& spot, std::span<const Member> members, Origin& origin) const;
    double weight_of(const Member& member, const Spot& spot) const;
    double station_weight(const Member& member, const Spot& spot) const;
    void search(Solution& solution) const;
    void search_nodes(Solution& solution) const;
    Spot best_depth(const Solution& solution) const;
    double predicted(const Spot& spot, const Member& member) const;

    const SearchGrid& grid_;
    int number_;  // of the grid
    mutable std::vector<double> origins_, travels_;
    mutable std::vector<double> sorted_;
};

/// Median azimuth gap of a set of azimuths: the largest angle without one, degrees.
double largest_gap(std::vector<double> azimuths);

}  // namespace velorix::assoc
#endif
