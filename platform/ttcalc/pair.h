#ifndef VELORIX_TTCALC_PAIR_H
#define VELORIX_TTCALC_PAIR_H
// The rays between two radii: which branches exist, and the samples of each.
#include "platform/ttcalc/ray_table.h"
#include "platform/ttcalc/segment.h"

namespace velorix::tt {

/// A piece of one branch: neighbouring rays, largest ray parameter first.
struct Run {
    enum class Kind : unsigned char { kUpgoing, kSampled, kResampled, kDiffracted };
    Kind kind;
    Branch branch;
    bool flat = false;  ///< the two radii are one: the rays have no length below a lift
    const Block* block = nullptr;
    double p_top = 0.0;              ///< of a kUpgoing or kResampled run
    int count = 0;                   ///< rays
    double scale = 0.0, span = 0.0;  ///< spacing of a kUpgoing run
};

class Pair {
  public:
    /// REQUIRES: both radii within the table's mantle or crust, or above the surface; r_low <=
    /// r_high.
    Pair(const RayTable& table, const EarthModel& model, double r_low, double r_high);

    const RayTable& table() const { return *table_; }
    const Station& low() const { return low_; }
    const Station& high() const { return high_; }
    bool is_point() const { return is_point_; }
    /// Whether a receiver above the surface may be reached by a lift.
    bool ends_at_surface() const;
    int row() const { return table_->row_of(low_.level); }

    /// The rays straight up; no rays when nothing passes.
    Run upgoing() const;
    /// The rays of a block that pass both radii.
    Run downgoing(const Block& block) const;

    Ray ray(const Run& run, int i) const;
    /// See Segment; of the interval from ray i to the next.
    double shape(const Run& run, int i) const;

    /// Ray parameter of the caustic of the outer core: shallower rays are the far branch.
    double caustic_p() const { return caustic_p_; }
    /// Upper limit of the ray parameter of the rays straight up.
    double largest_p() const { return std::min(p_max_, table_->eta_above(low_)); }

  private:
    bool in_turning_layer(const Block& block) const { return block.start_level > low_.level; }
    double resampled_u(const Run& run, int i) const;
    bool starts_near(const Block& block) const;
    double resampled_top(const Block& block) const;

    const RayTable* table_;
    Station low_, high_;
    bool is_point_;
    double p_max_;
    double caustic_p_;
    Branch up_branch_;
};

}  // namespace velorix::tt
#endif
