#ifndef VELORIX_TTCALC_CALCULATOR_H
#define VELORIX_TTCALC_CALCULATOR_H
// What a hook keeps between calls: opened models, prepared curves and the answer.
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/containers/containers.h"
#include "platform/ttcalc/curves.h"
#include "platform/ttcalc/ttcalc.h"

namespace velorix::tt {

/// Curves of both families between two radii.
struct PreparedPair {
    double r_low, r_high;
    Curves p, s;

    size_t bytes() const { return p.bytes() + s.bytes(); }
};

/// Prepared pairs by use: when they outgrow the limit, the ones not asked for longest go.
class PairCache {
  public:
    static constexpr size_t kMostBytes = 32u << 20;

    /// The pair if it is prepared.
    const PreparedPair* find(double r_low, double r_high);
    const PreparedPair* insert(std::unique_ptr<PreparedPair> pair);

  private:
    struct Key {
        double r_low, r_high;
        bool operator==(const Key&) const = default;
    };
    struct KeyHash {
        size_t operator()(const Key& key) const;
    };
    using Order = std::list<std::unique_ptr<PreparedPair>>;
    Order order_;  // latest use first
    std::unordered_map<Key, Order::iterator, KeyHash> places_;
    size_t bytes_ = 0;
};

/// A model and its rays: read only once made, so that threads share one.
struct ModelRays {
    explicit ModelRays(const EarthModel& model);

    EarthModel earth;
    RayTable p, s;
    double deepest;  ///< km, the core's surface

    const RayTable& table(Family family) const { return family == Family::kP ? p : s; }
    /// The curves between two radii, the upper one at the surface or below the other's lift.
    PreparedPair prepare(double r_low, double r_high) const;
};

/// An open model, of one thread.
class OpenModel {
  public:
    explicit OpenModel(const EarthModel& earth);
    explicit OpenModel(std::shared_ptr<const ModelRays> rays);

    const std::shared_ptr<const ModelRays>& rays() const { return rays_; }
    const EarthModel& earth() const { return rays_->earth; }
    const RayTable& table(Family family) const { return rays_->table(family); }
    double deepest() const { return rays_->deepest; }

    /// Adds the arrivals of the wanted families between two radii, r_low <= r_high, by time.
    void arrivals(double r_low, double r_high, double distance, bool want_p, bool want_s,
                  std::vector<Arrival>& out);

  private:
    const PreparedPair* prepare(double r_low, double r_high, bool at_surface);
    bool asked_often(double r_low);

    std::shared_ptr<const ModelRays> rays_;
    PairCache cache_;
    const PreparedPair* latest_ = nullptr;
    Lift p_lift_, s_lift_;
    double lift_height_ = 0.0;
    struct Visit {
        double r_low = 0.0;
        int count = 0;
    };
    std::vector<Visit> visits_;  // of depths not prepared yet, by a hash of the depth
};

}  // namespace velorix::tt
#endif
