#ifndef VELORIX_TTCALC_CURVES_H
#define VELORIX_TTCALC_CURVES_H
// Arrivals between two radii at any distance: from curves prepared once, or by a single search.
#include <cstdint>
#include <span>
#include <vector>

#include "platform/ttcalc/pair.h"

namespace velorix::tt {

struct Arrival {
    double t;  ///< s
    double
        p;  ///< s/rad, the horizontal slowness along the short way; negative for the long way round
    Family family;
    Branch branch;
    bool upward;  ///< leaves the lower end upward
};

/// What the arrivals of a segment are called.
struct BranchNames {
    Family family;
    Branch branch;
    bool upward;
    bool long_way;
    double caustic_p;
};

/// Adds the arrivals of one segment at a distance along the ray.
inline void add_hits(const Segment& segment, double distance, const BranchNames& names,
                     std::vector<Arrival>& out) {
    double w[2];
    const int n = segment.find(distance, w);
    for (int i = 0; i < n; ++i) {
        const Hit hit = segment.at(w[i]);
        const bool far = names.branch == Branch::kOuterNear && hit.p > names.caustic_p;
        out.push_back({hit.t, names.long_way ? -hit.p : hit.p, names.family,
                       far ? Branch::kOuterFar : names.branch, names.upward});
    }
}

/// The segment between two rays that go on to a station above the surface.
inline Segment lifted_segment(Ray a, Ray b, double shape, const Lift& lift) {
    const Leg first = lift.leg(a.p), second = lift.leg(b.p);
    a.x += first.x;
    a.t += first.t;
    b.x += second.x;
    b.t += second.t;
    return Segment(a, b, shape);
}

/**
 * Adds all arrivals at a distance (rad, 0 .. pi), in no order. Looks at a few dozen rays around the
 * answers only; REQUIRES pair.ends_at_surface(). Gives the same values as Curves.
 */
void search_arrivals(const Pair& pair, Family family, const Lift& lift, double distance,
                     std::vector<Arrival>& out);

/// Every branch between two radii as segments, indexed by distance.
class Curves {
  public:
    Curves(const Pair& pair, Family family);

    /// Adds all arrivals at a distance (rad, 0 .. pi), in no order.
    void arrivals(const Lift& lift, double distance, std::vector<Arrival>& out) const;

    size_t bytes() const;

    struct Piece {
        Segment segment;
        double nearest, farthest;  ///< rad, without a lift
        double highest;            ///< largest distance of a lift
        int ray;                   ///< its first ray; the second follows
        double shape;
        Branch branch;
        bool upward, flat;
    };
    std::span<const Piece> pieces() const { return pieces_; }
    const Ray& ray(int i) const { return rays_[static_cast<size_t>(i)]; }

  private:
    void add_run(const Pair& pair, const Run& run, const Lift& highest);
    void build_index();
    template <class Visit>
    void each_bin(Visit visit) const;

    Family family_;
    double caustic_p_;
    std::vector<Piece> pieces_;
    std::vector<Ray> rays_;
    std::vector<uint32_t> bin_start_;
    std::vector<uint32_t> bin_pieces_;  // piece number * 2 + 1 for the long way round
};

}  // namespace velorix::tt
#endif
