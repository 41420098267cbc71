#ifndef VELORIX_TTCALC_RAY_TABLE_H
#define VELORIX_TTCALC_RAY_TABLE_H
// All rays of one wave family in one earth: blocks of rays that turn in one layer, sampled in the
// ray parameter, with their integrals from the deepest point up to every level.
#include <span>
#include <vector>

#include "platform/ttcalc/profile.h"

namespace velorix::tt {

enum class RayKind : unsigned char { kTurning, kReflected, kDiffracted };

/**
 * Rays with p_low <= p <= p_high that share their lowest part and the reach of their upper part.
 * Distance has a square-root singularity at p_high (the ray grazes the top of its layer or the base
 * of a lid above), so samples are spaced in u = sqrt(p_high - p).
 */
struct Block {
    RayKind kind;
    int layer;        ///< turning layer; -1 for reflected and diffracted rays
    int start_level;  ///< top of the turning layer; the level of reflection or diffraction
    int reach;        ///< the rays get through every shell below this level
    double p_low, p_high;
    int first;  ///< first sample
    int count;  ///< samples, p_high first
};

/// Where a source or receiver is: at a level, or within the shell above it.
struct Station {
    int level;
    bool inside;     ///< strictly inside the shell above the level
    RayPoint point;  ///< REQUIRES inside
};

class RayTable {
  public:
    RayTable(const EarthModel& model, Family family);

    const Profile& profile() const { return profile_; }
    std::span<const Block> blocks() const { return blocks_; }
    double p(int sample) const { return p_[sample]; }
    /// Share of the change of p to the next sample that is linear in the parameter of the interval.
    double shape(int sample) const { return shape_[sample]; }

    Station locate(double r) const;

    /// Largest ray parameter of a ray straight up from one point to another.
    double largest_p(const Station& low, const Station& high) const;

    /// From a sample's deepest point up to a point. REQUIRES: the block reaches it from below.
    Leg leg_to(int sample, const Station& end) const;

    /// Straight up from one point to another.
    Leg leg_between(const Station& low, const Station& high, double p) const;

    /// From the deepest point of a ray that turns in a layer up to a point.
    Leg leg_from_turn(const Layer& layer, double p, const Station& end) const;

  private:
    void add_turning_blocks(int layer);
    void add_reflections();
    void add_diffraction();
    void add_block(Block block);
    void fill_legs();
    Leg leg_to_level(const Block& block, double p, int level) const;
    template <class Visit>
    void climb(const Block& block, double p, Visit visit) const;
    int reach_of(int level, double p) const;

    Profile profile_;
    std::vector<Block> blocks_;
    std::vector<double> p_, shape_;
    std::vector<Leg> legs_;  // [level - bottom_level][sample]
};

}  // namespace velorix::tt
#endif
