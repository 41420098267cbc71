#ifndef VELORIX_TTCALC_RAY_TABLE_H
#define VELORIX_TTCALC_RAY_TABLE_H
// All rays of one wave family in one earth: blocks of rays that turn in one layer, sampled in the
// ray parameter, with their integrals from the deepest point up to levels some 20 km apart.
#include <span>
#include <vector>

#include "platform/ttcalc/profile.h"
#include "platform/ttcalc/segment.h"

namespace velorix::tt {

enum class RayKind : unsigned char { kTurning, kReflected, kDiffracted };

/**
 * Rays with p_low <= p <= p_high that share their lowest part and the reach of their upper part.
 * Distance has a square-root singularity at p_high (the ray grazes the top of its layer or the base
 * of a lid above), so samples are spaced in u = sqrt(p_high - p).
 */
struct Block {
    RayKind kind;
    Branch branch;    ///< every block of the outer core counts as kOuterNear
    int layer;        ///< turning layer; -1 for reflected and diffracted rays
    int start_level;  ///< top of the turning layer; the level of reflection or diffraction
    int reach;        ///< the rays get through every shell below this level
    double p_low, p_high;
    int first;         ///< first sample
    int count;         ///< samples, p_high first
    double widest_x;   ///< largest distance from the deepest point to start_level, rad
    double highest_x;  ///< largest distance from the surface to kTopHeight, rad
};

/// Where a source or receiver is: at a level, or within the shell above it.
struct Station {
    int level;
    bool inside;     ///< strictly inside the shell above the level
    RayPoint point;  ///< set when inside
};

class RayTable {
  public:
    RayTable(const EarthModel& model, Family family);

    const Profile& profile() const { return profile_; }
    std::span<const Block> blocks() const { return blocks_; }
    double p(int sample) const { return p_[static_cast<size_t>(sample)]; }
    /// Share of the change of p to the next sample that is linear in the parameter of the interval.
    double shape(int sample) const { return shape_[static_cast<size_t>(sample)]; }

    Station locate(double r) const;

    /// Eta just below and just above a point.
    double eta_below(const Station& point) const;
    double eta_above(const Station& point) const;

    /// Largest ray parameter of a ray straight up from one point to another; infinite for one
    /// point.
    double largest_p(const Station& low, const Station& high) const;

    /// From the deepest point of a block's sample up to a point. REQUIRES: the block reaches it.
    Leg leg_to(const Block& block, int sample, const Station& end) const;

    /// Straight up from one point to another.
    Leg leg_between(const Station& low, const Station& high, double p) const;

    /// From the deepest point of a ray that turns in a layer up to a point.
    Leg leg_from_turn(const Layer& layer, double p, const Station& end) const;

    /// Distances of a block for a source in a row and a receiver at the surface.
    Window window(int row, int block) const {
        const size_t at = static_cast<size_t>(row) * blocks_.size() + static_cast<size_t>(block);
        return {windows_[at].nearest, windows_[at + blocks_.size()].farthest};
    }
    /// Distances between which a sample of a block arrives. REQUIRES: covers(block, row).
    Window sample_window(int row, int sample) const {
        const size_t n = p_.size(), at = static_cast<size_t>(row) * n + static_cast<size_t>(sample);
        const size_t surface = static_cast<size_t>(row_of(profile_.surface_level)) * n;
        const double end = legs_[surface + static_cast<size_t>(sample)].x;
        return {legs_[at].x + end, legs_[at + n].x + end};
    }
    bool covers(const Block& block, int row) const {
        return level_of_row_[static_cast<size_t>(row)] >= block.start_level &&
               row < row_of(profile_.surface_level);
    }
    /// Upper limit of the distance of rays that leave a source in a row upward to the surface.
    double farthest_up(int row) const { return farthest_up_[static_cast<size_t>(row)]; }
    int row_of(int level) const { return row_of_level_[static_cast<size_t>(level)]; }

    /// Ray parameter of the caustic of the outer core for a source in a row; 0 without an outer
    /// core.
    double caustic_p(int row) const { return caustic_p_[static_cast<size_t>(row)]; }

    size_t bytes() const;

  private:
    struct Sample {
        double u, p;
        Leg turn;   // to start_level
        Leg total;  // to the surface, or as high as the ray gets
    };
    void add_turning_blocks(const EarthModel& model, int layer);
    void add_reflections();
    void add_diffraction();
    void add_block(const Block& block);
    Sample sample_at(const Block& block, double u) const;
    bool is_interpolated(const Block& block, const Sample& a, const Sample& middle,
                         const Sample& b) const;
    void refine(const Block& block, const Sample& a, const Sample& b, int depth);
    void push(double p, double shape);
    template <class Visit>
    void climb(const Block& block, double p, Visit visit) const;
    int reach_of(int level, double p) const;
    void choose_rows();
    void fill_legs();
    void fill_windows();
    Window block_window(const Block& block, int row) const;
    double farthest_up_from(int row) const;
    double find_caustic(int row) const;

    Profile profile_;
    std::vector<Block> blocks_;
    std::vector<double> p_, shape_;
    std::vector<int> row_of_level_, level_of_row_;
    std::vector<Leg> legs_;  // [row][sample]
    std::vector<Window> windows_;
    std::vector<double> farthest_up_, caustic_p_;
};

}  // namespace velorix::tt
#endif
