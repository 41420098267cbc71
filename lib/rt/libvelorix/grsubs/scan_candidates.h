#ifndef VELORIX_GRSUBS_SCAN_CANDIDATES_H
#define VELORIX_GRSUBS_SCAN_CANDIDATES_H
// The candidates of a scan without what depends on the node: built once, read at every node.
#include <cstdint>
#include <span>
#include <vector>

#include "velorix_pvt.h"

namespace velorix {

/// Times are counted in ticks of 1/256 bin, a bin being a quarter of the cluster window and 1/64 of
/// it more. So the members of a cluster lie in five neighbouring bins, with room for the rounding
/// of arrival time, travel time and their difference (less than 8 ticks).
inline constexpr int kTickBits = 8;
inline constexpr double kBinsPerWindow = 4 / (1 + 1.0 / 64);
inline constexpr int kWindowBins = 5;

/// Arrays over the candidates hold all P candidates first, then all S candidates, each in the order
/// of the grid's stations, which is that of a node's travel times in memory.
struct ScanCandidates {
    int n = 0;
    int np = 0;
    int ngroups = 0;  ///< two a slot
    int nsubgroups = 0;
    double ticks_per_second = 0;
    std::vector<StationObs*> slots;  ///< the stations with candidates
    std::vector<int32_t> arrival;    ///< ticks after the first arrival
    std::vector<double> time;        ///< the same in epoch seconds
    std::vector<int32_t> slot;
    std::vector<int32_t> is;  ///< station number in the grid
    std::vector<int32_t> group;
    std::vector<int32_t> subgroup;
    std::vector<int32_t> order;  ///< [n] places in the order in which one node's search takes them

    /// Collects the candidates of a station list. False when they cannot be counted in ticks: the
    /// scan then has to score every node in full. Throws std::bad_alloc.
    bool build(const SearchParams& sp, std::span<StationObs* const> stations);

  private:
    struct Candidate {
        double time;
        int32_t slot;
        int32_t subgroup;
        bool is_s;
    };
    std::vector<Candidate> listed_;

    bool list(const SearchParams& sp, std::span<StationObs* const> stations);
    void list_station(const SearchParams& sp, StationObs& station);
    bool set_ticks(double cluster_twin);
    void arrange();
};

}  // namespace velorix
#endif
