#ifndef VELORIX_GRSUBS_CLUSTER_H
#define VELORIX_GRSUBS_CLUSTER_H
// The cluster search on plain arrays, with scratch that grows and is reused.
#include <cstdint>
#include <vector>

namespace velorix {

/// Candidates of one node; `weight` is null for an unweighted search.
struct Candidates {
    int n = 0;
    const double* value = nullptr;
    const double* weight = nullptr;
    const int* group = nullptr;
    const int* subgroup = nullptr;
    int ngroups = 0;  ///< REQUIRES: every group number lies in 0 .. ngroups-1
    int nsubgroups = 0;
};

/// The best placement of the window; score 0 and no members when there is none.
struct Cluster {
    double score = 0;
    double first = 0;     ///< value of the first member
    double variance = 0;  ///< of the members, s^2
};

/// Scratch of the cluster search. Group and subgroup slots are not cleared between placements: a
/// slot is marked when it holds the current placement's stamp.
struct ClusterScratch {
    struct Cell {
        double value;
        int32_t number;  // of the candidate
        int32_t bucket;
    };
    /// How many candidates of a group lie in the window and in the pre-window.
    struct Presence {
        int32_t window;
        int32_t prewindow;
        double weight;  // of each of them
    };
    std::vector<Cell> cells;
    std::vector<Cell> sorted;
    int nsorted = 0;  // candidates whose numbers `sorted` holds
    std::vector<int32_t> bucket_end;
    std::vector<double> value;  // of the sorted candidates, and so on
    std::vector<double> weight;
    std::vector<double> most;  // score that the placement starting at each cannot exceed
    std::vector<int32_t> group;
    std::vector<int32_t> subgroup;
    std::vector<uint8_t> member;     // by candidate number: 1 in the best cluster
    std::vector<Presence> presence;  // by group
    std::vector<uint32_t> group_stamp;
    std::vector<uint32_t> subgroup_stamp;
    uint32_t stamp = 0;

    /// Makes room. False after a logged line; what is there stays usable.
    bool reserve(int npoints, int ngroups, int nsubgroups);
};

/// Finds the best cluster and sets scratch.member. REQUIRES: reserve() for these counts.
Cluster best_cluster(const Candidates& candidates, double dwin, double prewin,
                     ClusterScratch& scratch);

}  // namespace velorix
#endif
