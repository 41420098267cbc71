#ifndef VELORIX_TTCALC_RECEIVERS_H
#define VELORIX_TTCALC_RECEIVERS_H
// Receivers prepared for many sources: unit vectors, sorted into groups that share curves.
#include <cstdint>
#include <span>
#include <vector>

#include "platform/ttcalc/first_kernel.h"
#include "platform/ttcalc/ttcalc.h"

/// Where receivers are, and what every source asks of them.
struct TTReceivers {
    /// Receivers that share the upper end of their curves.
    struct Group {
        double radius;   ///< km; the surface for those above it
        double highest;  ///< km above that radius; 0 unless the group lies above the surface
        size_t first, count;
    };

    TTReceivers(int64_t n, const double* lat, const double* lon, const double* elev);
    /// Receivers at distances (degrees) from any source.
    TTReceivers(int64_t n, const double* distance, const double* elev);

    size_t size() const { return elev_.size(); }
    bool by_distance() const { return lat_.empty(); }
    std::span<const Group> groups() const { return groups_; }
    /// Receivers that are in no group: a coordinate is not a number, or out of the ordinary.
    std::span<const uint32_t> odd() const { return odd_; }
    /// Number of the receiver at a place of the groups.
    uint32_t number(size_t place) const { return order_[place]; }
    const double* heights() const { return height_.data(); }  ///< km above the group's radius

    /// Distances (rad) of `count` places from `first` on; see arc_distances.
    void distances(const velorix::tt::UnitVector& from, size_t first, size_t count,
                   double* out) const;

    /// One receiver and a source, as ttcalc takes them.
    TTGeometry geometry(const TTPoint& source, uint32_t receiver) const;

  private:
    void sort_into_groups();
    bool is_odd(uint32_t receiver) const;

    std::vector<double> lat_, lon_;  // empty when distances are given
    std::vector<double> distance_;   // degrees, else empty
    std::vector<double> elev_;       // km
    std::vector<uint32_t> order_;    // by group
    std::vector<double> x_, y_, z_;  // unit vectors, or x the distance in rad; by group
    std::vector<double> height_;     // by group
    std::vector<Group> groups_;
    std::vector<uint32_t> odd_;
};

namespace velorix::tt {

/// Whether the unit vector of a point is as exact as its coordinates: no turns to take off.
bool is_ordinary(double lat, double lon);

UnitVector unit_vector(double lat, double lon);

}  // namespace velorix::tt
#endif
