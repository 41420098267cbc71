#ifndef VELORIX_TTCALC_PREPARED_H
#define VELORIX_TTCALC_PREPARED_H
// Every branch between two radii, ready to be asked for arrivals at any distance.
#include <vector>

#include "platform/ttcalc/ray_table.h"
#include "platform/ttcalc/segment.h"

namespace velorix::tt {

enum class Phase : unsigned char {
    kUp,
    kUpper,
    kLower,
    kUppermost,
    kMantle,
    kDiffracted,
    kReflected,
    kInner,
    kOuter,
    kOuterNear,
    kOuterFar
};

struct PreparedSegment {
    Segment segment;
    Phase phase;
};

struct Arrival {
    double t, p;
    Phase phase;
    double p_sign;
};

class Prepared {
  public:
    Prepared(const EarthModel& model, const RayTable& table, double r_low, double r_high);
    void arrivals(double distance, std::vector<Arrival>& out) const;

  private:
    void add_run(const std::vector<Ray>& rays, const std::vector<double>& shapes, Phase phase);
    void add_upgoing(const RayTable& table, Phase phase);
    void add_block(const RayTable& table, const Block& block);
    Phase turning_phase(const RayTable& table, const Block& block) const;

    const EarthModel& model_;
    Station low_, high_;
    double p_max_;
    std::vector<PreparedSegment> segments_;
};

}  // namespace velorix::tt
#endif
