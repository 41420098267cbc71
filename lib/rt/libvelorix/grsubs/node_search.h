#ifndef VELORIX_GRSUBS_NODE_SEARCH_H
#define VELORIX_GRSUBS_NODE_SEARCH_H
#include "grsubs/node_scores.h"
#include "grsubs/table_index.h"
#include "velorix_pvt.h"

namespace velorix {

/// Below every score: a best-so-far search starts here and takes only what is strictly greater.
inline constexpr double kNoScore = -1e20;

/// What the full search of a node delivers.
struct NodeResult {
    double score = kNoScore;
    double etime = 0;
    double variance = 0;
};

/// The search of many nodes with one worker's scratch, which sorts and clusters only at nodes that
/// can matter. Every score it gives is bit by bit that of velorix_node_backproj.
class NodeSearch {
  public:
    /// REQUIRES: `thread` stands at `thread_index` of sp's threads.
    NodeSearch(SearchParams& sp, SearchThread& thread, int32_t thread_index, Tbl* stao_tbl);

    /// Whether some nodes may not need the full search.
    bool selective() const { return scores_ != nullptr; }

    /// Searches a node when its score is at least `bar` and above `best`; `result` stays as it was
    /// when it is not. False when the full search failed.
    bool search(const Node& node, double bar, double best, NodeResult& result);

    /// The node's score; when below `bar`, anything below it. False when the full search failed.
    bool score(const Node& node, double bar, double& score);
    /// The score of a node, be it high or low.
    bool score(const Node& node, double& score);

  private:
    bool take(const NodeScores::Score& found, const Node& node, double& score);
    bool score_fully(const Node& node, double& score);
    bool search_fully(const Node& node, NodeResult& result);

    SearchParams& sp_;
    int32_t thread_index_;
    Tbl* stao_tbl_;
    SearchScratch* scratch_;
    NodeScores* scores_ = nullptr;  // null: every node is searched in full
};

}  // namespace velorix
#endif
