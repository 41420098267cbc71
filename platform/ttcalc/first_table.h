#ifndef VELORIX_TTCALC_FIRST_TABLE_H
#define VELORIX_TTCALC_FIRST_TABLE_H
// Which pieces of the curves between two radii can be the first P, or the first S, at a distance.
#include <bit>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/ttcalc/calculator.h"

namespace velorix::tt {

enum class First { kP, kS };

/// Degrees; beyond it diffracted arrivals are no first P, see arrival_selection.h.
/// In radians, as distances are here.
inline constexpr double kDiffractedLimit = 102.0 * 3.141592653589793 / 180.0;

/// The rays between two neighbours of a branch, as Curves have them.
struct FirstPiece {
    Ray a, b;
    double shape;
    Segment flat;  ///< of the rays as they are, without a lift
    Family family;
    Branch branch;
    bool upward;
    bool long_way;        ///< arrives the long way round
    bool a_ends, b_ends;  ///< nothing continues the branch beyond this ray
};

/// Where a piece may answer: from lo + h lo_slope to hi + h hi_slope, h the height of the receiver
/// above the surface (rad and km; a little wider than the truth).
struct FirstEntry {
    double lo, hi, lo_slope, hi_slope;
    uint32_t piece;
};

/**
 * The pieces that may be first, by bins of distance.
 *
 * A piece A is left out of a bin when a chain C of linked pieces reaches every distance of the bin
 * at every height up to the table's and is earlier there. Times are compared less p0 times the
 * distance, p0 the slowness of C in the bin. Going up by dr at a ray parameter p adds
 *   dt - p0 dx = (q + p (p - p0) / (r^2 q)) dr,  q = sqrt(1/v^2 - p^2/r^2),
 * to that reduced time, which is least at p = p0 and grows away from it. So C loses against A no
 * more, up to any height, than the largest excess over that least value at the top.
 */
class FirstTable {
  public:
    /// @param highest heights of receivers that are asked for, km; 0: none is above r_high
    FirstTable(const ModelRays& rays, const PreparedPair& pair, First which, double highest);

    /// Entries of the bin that holds a distance (rad, 0 .. pi).
    std::span<const FirstEntry> at(double distance) const {
        const size_t bin = bin_of(distance);
        return {entries_.data() + bin_start_[bin], entries_.data() + bin_start_[bin + 1]};
    }
    const FirstPiece& piece(uint32_t i) const { return pieces_[i]; }
    size_t bytes() const {
        return pieces_.capacity() * sizeof(FirstPiece) + entries_.capacity() * sizeof(FirstEntry) +
               bin_start_.capacity() * sizeof(uint32_t);
    }

    /// Bins are as wide as 1/128 of the distance, at least of kNearest: rays lie denser near the
    /// source. Measured: 1/64 asks 40 % slower,
    /// tables are made in half the time.
    static size_t bin_of(double distance) {
        return static_cast<size_t>((std::bit_cast<uint64_t>(distance + kNearest) >> kShift) -
                                   kFirst);
    }
    static double bin_begin(size_t bin) {
        return std::bit_cast<double>((kFirst + bin) << kShift) - kNearest;
    }

  private:
    static constexpr double kNearest = 0x1p-10;  // rad
    static constexpr int kShift = 52 - 7;
    static constexpr uint64_t kFirst = std::bit_cast<uint64_t>(kNearest) >> kShift;

    std::vector<FirstPiece> pieces_;
    std::vector<FirstEntry> entries_;
    std::vector<uint32_t> bin_start_;
};

}  // namespace velorix::tt
#endif
