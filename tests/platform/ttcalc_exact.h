#ifndef VELORIX_TESTS_TTCALC_EXACT_H
#define VELORIX_TESTS_TTCALC_EXACT_H
// Arrivals by shooting rays: every branch is followed in small steps of the ray parameter and every
// crossing of the distance is bisected. Slow, without interpolation, index or lift.
#include <cmath>
#include <numbers>
#include <vector>

#include "platform/ttcalc/pair.h"

namespace velorix_test {

struct ExactArrival {
    double t, p;
    bool near_caustic;  ///< two arrivals are about to merge
};

class RayShooter {
  public:
    RayShooter(const velorix::tt::RayTable& table, const velorix::tt::EarthModel& model,
               double r_low, double r_high)
        : pair_(table, model, r_low, r_high) {
        follow(pair_.upgoing());
        for (const auto& block : pair_.table().blocks()) follow(pair_.downgoing(block));
    }

    std::vector<ExactArrival> arrivals(double distance) const {
        std::vector<ExactArrival> found;
        for (const Branch& branch : branches_) {
            for (const double x : {distance, 2.0 * std::numbers::pi - distance}) {
                cross(branch, x, found);
            }
        }
        return found;
    }

  private:
    static constexpr int kSteps = 120;

    struct Branch {
        velorix::tt::Run run;
        double high, low;  // ray parameters
        std::vector<velorix::tt::Ray> rays;

        // Steps that grow with i, small where a ray grazes.
        double p(double i) const {
            const double u = i / kSteps;
            return i >= kSteps ? low : high - (high - low) * u * u * u * u;
        }
    };

    velorix::tt::Ray shoot(const velorix::tt::Run& run, double p) const {
        using namespace velorix::tt;
        const RayTable& table = pair_.table();
        const Leg up = table.leg_between(pair_.low(), pair_.high(), p);
        if (run.kind == Run::Kind::kUpgoing) return {p, up.x, up.t};
        const Block& block = *run.block;
        const Leg turn =
            block.kind == RayKind::kTurning
                ? table.leg_from_turn(table.profile().layers[static_cast<size_t>(block.layer)], p,
                                      pair_.low())
                : table.leg_between({block.start_level, false, {}}, pair_.low(), p);
        return {p, 2.0 * turn.x + up.x, 2.0 * turn.t + up.t};
    }

    void follow(const velorix::tt::Run& run) {
        using Kind = velorix::tt::Run::Kind;
        if (run.count == 0 || run.flat) return;
        const bool cut = run.kind == Kind::kUpgoing || run.kind == Kind::kResampled;
        Branch branch{run,
                      cut ? run.p_top : run.block->p_high,
                      run.kind == Kind::kUpgoing ? 0.0 : run.block->p_low,
                      {}};
        const int last = run.kind == Kind::kDiffracted ? 0 : kSteps;
        for (int i = 0; i <= last; ++i) branch.rays.push_back(shoot(run, branch.p(i)));
        branches_.push_back(branch);
    }

    void cross(const Branch& branch, double x, std::vector<ExactArrival>& found) const {
        if (branch.run.kind == velorix::tt::Run::Kind::kDiffracted) {
            const velorix::tt::Ray& end = branch.rays[0];
            if (x >= end.x && x <= std::numbers::pi) {
                found.push_back({end.t + end.p * (x - end.x), end.p, false});
            }
            return;
        }
        for (int i = 0; i < kSteps; ++i) {
            const double a = branch.rays[static_cast<size_t>(i)].x;
            const double b = branch.rays[static_cast<size_t>(i) + 1].x;
            if ((a - x) * (b - x) < 0.0) found.push_back(bisect(branch, i, a > x, x));
        }
    }

    ExactArrival bisect(const Branch& branch, int i, bool falls, double x) const {
        double from = i, to = i + 1;
        for (int n = 0; n < 50; ++n) {
            const double middle = 0.5 * (from + to);
            ((shoot(branch.run, branch.p(middle)).x > x) == falls ? from : to) = middle;
        }
        const velorix::tt::Ray ray = shoot(branch.run, branch.p(from));
        const double slope = shoot(branch.run, branch.p(from + 0.02)).x - ray.x;
        return {ray.t + ray.p * (x - ray.x), ray.p, std::fabs(slope) < 1e-5};
    }

    velorix::tt::Pair pair_;
    std::vector<Branch> branches_;
};

}  // namespace velorix_test
#endif
