#ifndef VELORIX_TTCALC_PROFILE_H
#define VELORIX_TTCALC_PROFILE_H
// The earth as one wave family meets it: thin shells with velocity linear in radius, and the exact
// ray integrals through them.
#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/ttcalc/earth_model.h"
#include "platform/ttcalc/phases.h"

namespace velorix::tt {

/// Stations up to this height (km) are reached through the top velocity continued upward.
constexpr double kTopHeight = 10.0;

/// Angle (rad) and time (s) along a piece of a ray.
struct Leg {
    double x = 0.0;
    double t = 0.0;

    void add(const Leg& other) {
        x += other.x;
        t += other.t;
    }
};

/// A radius with its velocity, as slowness w = 1/v and eta = r/v. A ray of ray parameter p (s/rad)
/// is horizontal where eta = p.
struct RayPoint {
    double r;    ///< km
    double w;    ///< s/km
    double eta;  ///< s/rad
};

/**
 * A shell in which v is linear in r. There eta is monotone in r and w linear in eta.
 */
struct Shell {
    RayPoint bottom, top;
};

/// The point of a shell at radius r.
RayPoint point_at_radius(const Shell& shell, double r);

/// The point of a shell at which a ray turns; REQUIRES: eta increases upward and reaches p.
RayPoint point_at_eta(const Shell& shell, double p);

/**
 * Distance and time of a ray between two points of one shell (one way).
 *
 * With s = sqrt(eta^2 - p^2), dT = ds v/a and dX = ds p v/(a eta^2), where v = a + b r: no
 * singularity at the turning point (s = 0), so a short Gauss-Legendre rule in s is exact to 1e-9 of
 * the integral in shells whose eta varies by a few per cent. The factor a cancels against the
 * change of s, so that a = 0 (eta constant) is harmless. REQUIRES: 0 <= p <= both etas.
 */
inline Leg shell_leg(const RayPoint& low, const RayPoint& high, double p) {
    constexpr double kNode[4] = {0.069431844202973712388, 0.33000947820757186760,
                                 0.66999052179242813240, 0.93056815579702628761};
    constexpr double kWeight[4] = {0.17392742256872692869, 0.32607257743127307131,
                                   0.32607257743127307131, 0.17392742256872692869};
    const double s0 = std::sqrt(std::max(0.0, (low.eta - p) * (low.eta + p)));
    const double s1 = std::sqrt(std::max(0.0, (high.eta - p) * (high.eta + p)));
    const double sum = s0 + s1;
    if (!(sum > 0.0)) return {};
    const double inverse_sum = 1.0 / sum;
    const double etas = low.eta + high.eta;
    const double square = low.eta * low.eta;
    const double square_step = (high.eta - low.eta) * etas;
    const double slope = etas * (high.w - low.w);
    Leg leg;
    for (int j = 0; j < 4; ++j) {
        // Fraction of the way from low to high in eta squared.
        const double f = kNode[j] * (2.0 * s0 + kNode[j] * (s1 - s0)) * inverse_sum;
        const double eta2 = square + f * square_step;
        const double eta_sum = std::sqrt(eta2) + low.eta;
        const double q = kWeight[j] * eta_sum / ((low.w * eta_sum + f * slope) * eta2);
        leg.x += q;
        leg.t += q * eta2;
    }
    const double scale = (high.r - low.r) * etas * low.w * high.w * inverse_sum;
    leg.x *= p * scale;
    leg.t *= scale;
    return leg;
}

/// A stretch between two table rows; shells subdivide it.
struct Layer {
    int first_shell;  ///< deepest shell
    int end_shell;    ///< one past the shallowest; also the level of the layer's top
};

/**
 * All shells from the centre to kTopHeight above the surface. Level k is the bottom of shell k. The
 * S family goes through the core as P.
 */
struct Profile {
    std::vector<Shell> shells;
    std::vector<Layer> layers;
    int surface_level = 0;
    int cmb_level = 0;     ///< 0 when there is no core
    int icb_level = 0;     ///< 0 when there is no inner core
    int bottom_level = 0;  ///< sources and receivers stay at or above this level

    const Shell& shell(int k) const { return shells[static_cast<size_t>(k)]; }
    int levels() const { return static_cast<int>(shells.size()) + 1; }
    double radius(int level) const {
        return level < static_cast<int>(shells.size()) ? shell(level).bottom.r
                                                       : shells.back().top.r;
    }

    /// Shell that holds the radius; on a level the shell above it.
    int shell_at(double r) const;
};

/**
 * The last leg of a ray that emerges at the surface and goes on to a station above it, through the
 * top velocity continued upward. A closed form: time is the change of sqrt(eta^2 - p^2).
 */
class Lift {
  public:
    Lift() = default;
    Lift(const Profile& profile, double height);

    bool is_flat() const { return eta_product_ == 0.0; }

    Leg leg(double p) const {
        const double s0 = std::sqrt(std::max(0.0, low2_ - p * p));
        const double s1 = std::sqrt(std::max(0.0, low2_ + step2_ - p * p));
        const double t = step2_ / (s0 + s1);
        // The angle is below 0.06 rad, where five terms of the arc sine are exact.
        const double y = p * t / eta_product_, y2 = y * y;
        const double series =
            1.0 + y2 * (1.0 / 6 + y2 * (3.0 / 40 + y2 * (15.0 / 336 + y2 * 105.0 / 3456)));
        return {y * series, t};
    }

  private:
    double low2_ = 0.0, step2_ = 0.0, eta_product_ = 0.0;
};

Profile make_profile(const EarthModel& model, Family family);

}  // namespace velorix::tt
#endif
