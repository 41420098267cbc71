#ifndef VELORIX_ASSOC_LOCATION_H
#define VELORIX_ASSOC_LOCATION_H
// The place and time that fit the picks of a solution best.
#include <span>
#include <vector>

#include "association.h"

namespace velorix::assoc {

/// Origin time and slowing that fit best at a place.
struct Origin {
    double time = 0.0;
    double slowing = 0.0;
};

class Locator {
  public:
    explicit Locator(const SearchGrid& grid) : grid_(grid) {}

    /**
     * Moves a solution to the best fit of its members: least Huber misfit, origin time eliminated,
     * by a pattern search from two nodes' step down to a sixteenth.
     */
    void locate(Solution& solution) const;

    /// Residuals of the members at the solution.
    void update_residuals(Solution& solution) const;

    /// Standard errors from the members' weights, their scatter and the node spacing.
    Uncertainty uncertainty(const Solution& solution) const;

  private:
    double misfit(const Spot& spot, std::span<const Member> members, Origin& origin) const;
    double weight_of(const Member& member, const Spot& spot) const;
    void search(Solution& solution) const;
    void search_nodes(Solution& solution) const;
    Spot best_depth(const Solution& solution) const;
    double predicted(const Spot& spot, const Member& member) const;

    const SearchGrid& grid_;
    mutable std::vector<double> origins_, travels_;
    mutable std::vector<double> sorted_;
};

}  // namespace velorix::assoc
#endif
