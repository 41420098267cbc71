#ifndef VELORIX_ASSOC_DEFINING_H
#define VELORIX_ASSOC_DEFINING_H
// Counts and scatter of the picks that define a solution.
#include <cmath>
#include <set>

#include "association.h"

namespace velorix::assoc {

struct Defining {
    int p = 0, s = 0;
    std::set<int> stations;
    double sum = 0.0, weights = 0.0, squares = 0.0;

    explicit Defining(const Solution& solution) {
        for (const Member& m : solution.members) {
            if (!m.defining) continue;
            (m.phase == 'S' ? s : p) += 1;
            stations.insert(m.station);
            sum += m.weight * m.residual * m.residual;
            squares += m.residual * m.residual;
            weights += m.weight;
        }
    }
    int picks() const { return p + s; }
    /// Standard deviation of the residuals, s.
    double scatter() const { return picks() > 1 ? std::sqrt(squares / (picks() - 1)) : 0.0; }
    /// The same by weight.
    double weighted_scatter() const {
        return picks() > 1 && weights > 0.0 ? std::sqrt(sum / weights * picks() / (picks() - 1))
                                            : 0.0;
    }
};

}  // namespace velorix::assoc
#endif
