#include "platform/ttcalc/profile.h"

#include <algorithm>

namespace velorix::tt {
namespace {

// Thin enough for the quadrature of shell_leg, and so that a table entry at a shell's bottom is
// near every source inside it.
constexpr double kThickest = 25.0;      // km
constexpr double kLargestRatio = 1.03;  // of eta within a shell
// Inside this ball velocity counts as constant; eta falls to zero there.
constexpr double kCentreRadius = 8.0;  // km

double family_velocity(const ModelPoint& point, Family family, bool in_core) {
    return family == Family::kP || in_core ? point.vp : point.vs;
}

// A shell that no ray of the family passes has eta 0.
RayPoint ray_point(double r, double v) {
    if (v <= 0.0) return {r, 0.0, 0.0};
    return {r, 1.0 / v, r / v};
}

// Collects shells from the surface down; Profile wants them from the centre up.
class Builder {
  public:
    void add_layer(double r_top, double v_top, double r_bottom, double v_bottom) {
        if (!(r_top > r_bottom)) return;
        if (v_top <= 0.0 || v_bottom <= 0.0) v_top = v_bottom = 0.0;
        const double gradient = (v_top - v_bottom) / (r_top - r_bottom);
        const int first = static_cast<int>(shells_.size());
        RayPoint top = ray_point(r_top, v_top);
        const RayPoint end = ray_point(r_bottom, v_bottom);
        while (top.r > r_bottom) {
            const double v = v_top + gradient * (top.r - r_top);
            const RayPoint bottom = v > 0.0 ? next_bottom(top, end, v, gradient) : end;
            shells_.push_back({bottom, top});
            top = bottom;
        }
        layers_.push_back({first, static_cast<int>(shells_.size())});
    }

    int count() const { return static_cast<int>(shells_.size()); }

    Profile finish() {
        Profile profile;
        std::reverse(shells_.begin(), shells_.end());
        std::reverse(layers_.begin(), layers_.end());
        for (Layer& layer : layers_) {
            layer = {count() - layer.end_shell, count() - layer.first_shell};
        }
        profile.shells = std::move(shells_);
        profile.layers = std::move(layers_);
        return profile;
    }

  private:
    static RayPoint next_bottom(const RayPoint& top, const RayPoint& end, double v,
                                double gradient) {
        if (top.r <= kCentreRadius) return end;
        // d ln(eta)/dr = 1/r - v'/v: neither term may change eta by more than the ratio allows.
        const double rate = std::max(1.0 / top.r, std::fabs(gradient) / v);
        const double step = std::min(kThickest, (kLargestRatio - 1.0) / rate);
        double r = top.r - step;
        if (r < kCentreRadius && end.r < kCentreRadius) r = std::min(kCentreRadius, 0.97 * top.r);
        if (r - end.r < 0.05 * step) return end;
        return ray_point(r, v + gradient * (r - top.r));
    }

    std::vector<Shell> shells_;
    std::vector<Layer> layers_;
};

}  // namespace

RayPoint point_at_radius(const Shell& shell, double r) {
    const auto& [low, high] = shell;
    if (low.eta <= 0.0 || high.eta <= 0.0) return {r, high.w, r * high.w};
    const double f = (r - low.r) / (high.r - low.r);
    const double v = (1.0 - f) / low.w + f / high.w;
    return {r, 1.0 / v, r / v};
}

RayPoint point_at_eta(const Shell& shell, double p) {
    const auto& [low, high] = shell;
    const double range = high.eta - low.eta;
    const double f = range > 0.0 ? std::clamp((p - low.eta) / range, 0.0, 1.0) : 0.0;
    const double w = low.w + f * (high.w - low.w);
    return {std::clamp(p / w, low.r, high.r), w, p};
}

Lift::Lift(const Profile& profile, double height) {
    const RayPoint& surface = profile.shell(profile.surface_level).bottom;
    if (!(height > 0.0) || !(surface.eta > 0.0)) return;
    const double high = (kEarthRadius + height) * surface.w;
    low2_ = surface.eta * surface.eta;
    step2_ = (high - surface.eta) * (high + surface.eta);
    eta_product_ = high * surface.eta;
}

int Profile::shell_at(double r) const {
    const auto above = std::upper_bound(shells.begin(), shells.end(), r,
                                        [](double x, const Shell& s) { return x < s.bottom.r; });
    return std::max(0, static_cast<int>(above - shells.begin()) - 1);
}

Profile make_profile(const EarthModel& model, Family family) {
    const std::vector<ModelPoint>& points = model.points;
    Builder builder;
    const double v_surface = family_velocity(points.front(), family, false);
    builder.add_layer(kEarthRadius + kTopHeight, v_surface, kEarthRadius, v_surface);
    const int surface = builder.count();
    int cmb = -1, icb = -1;
    for (size_t i = 0; i < points.size(); ++i) {
        const ModelPoint& above = points[i];
        const bool last = i + 1 == points.size();
        const ModelPoint below =
            last ? ModelPoint{kEarthRadius, above.vp, above.vs} : points[i + 1];
        const bool in_core = below.depth > model.cmb;
        if (in_core && cmb < 0) cmb = builder.count();
        if (below.depth > model.icb && icb < 0) icb = builder.count();
        builder.add_layer(kEarthRadius - above.depth, family_velocity(above, family, in_core),
                          kEarthRadius - below.depth, family_velocity(below, family, in_core));
    }
    Profile profile = builder.finish();
    const int total = static_cast<int>(profile.shells.size());
    profile.surface_level = total - surface;
    profile.cmb_level = cmb < 0 ? 0 : total - cmb;
    profile.icb_level = icb < 0 ? 0 : total - icb;
    profile.bottom_level = std::max(profile.cmb_level, 1);
    return profile;
}

}  // namespace velorix::tt
