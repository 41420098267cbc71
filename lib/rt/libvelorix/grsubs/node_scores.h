#ifndef VELORIX_GRSUBS_NODE_SCORES_H
#define VELORIX_GRSUBS_NODE_SCORES_H
// Which nodes of a scan can reach a score, and the exact score of those that can, without sorting
// the candidates that do not matter.
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "grsubs/cluster.h"
#include "grsubs/node_tables.h"
#include "grsubs/scan_candidates.h"
#include "grsubs/score_bound.h"
#include "velorix_pvt.h"

namespace velorix {

class NodeScores {
  public:
    /// Prepares for the nodes of a scan. False when every node has to be scored in full; also when
    /// memory fails, for no scan must end for want of a short cut.
    bool prepare(const SearchParams& sp, std::span<StationObs* const> stations,
                 ClusterScratch& cluster);

    /// False when the node's score certainly is below `bar`.
    bool may_reach(const NodeTables& tables, double bar);

    enum class Kind {
        kExact,    ///< bit by bit what velorix_node_backproj finds
        kBelow,    ///< less than the bar
        kUnknown,  ///< to be scored in full
    };
    struct Score {
        Kind kind;
        double value;
    };
    /// The score of the node last given to may_reach(), which returned true.
    Score score(double bar, ClusterScratch& cluster);
    /// The score of any node, never below; sorts all its candidates.
    Score score_all(const NodeTables& tables, ClusterScratch& cluster);

    int64_t refused = 0;    ///< nodes for which may_reach() returned false
    int64_t clustered = 0;  ///< nodes that score() clustered

  private:
    void index_rows(const Velorix& grid);
    void set_rows(const NodeTables& tables);
    void set_weights(const NodeTables& tables);
    void keep_nearest_only(const NodeTables& tables);
    void narrow_weights();
    void enter(const NodeTables& tables);
    template <class Wanted>
    bool collect(Wanted wanted);
    double cluster_collected(ClusterScratch& cluster) const;
    double travel_time(int k) const;

    const SearchParams* sp_ = nullptr;
    ScanCandidates candidates_;
    ScoreBound bound_;
    ScoreBound::Rows rows_{};
    std::vector<StationObs*> stations_;
    bool nearest_only_ = false;  // closest_stations: the candidates' order depends on the node
    bool curves_ = false;
    bool weighted_ = false;  // some weight of the node at hand is not 1.0
    bool known_ = false;     // the node at hand could be bounded

    std::vector<float> slot_p_;  // travel times by slot, where they lie behind offsets
    std::vector<float> slot_s_;
    std::vector<double> slot_weight_;  // [2 * slots] P and S of each; 0 when left out
    std::vector<float> weight_;        // by candidate, narrowed
    std::vector<std::pair<double, int32_t>> by_distance_;

    struct Part {  // some of the candidates, in the order of one node's search
        size_t count = 0;
        std::vector<double> value;
        std::vector<double> weight;
        std::vector<int32_t> group;
        std::vector<int32_t> subgroup;
    } part_;
};

}  // namespace velorix
#endif
