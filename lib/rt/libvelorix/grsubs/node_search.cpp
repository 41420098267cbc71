#include "grsubs/node_search.h"

#include "grsubs/search_scratch.h"

namespace velorix {
NodeSearch::NodeSearch(SearchParams& sp, SearchThread& thread, int32_t thread_index, Tbl* stao_tbl)
    : sp_(sp), thread_index_(thread_index), stao_tbl_(stao_tbl), scratch_(scratch_of(thread)) {
    if (!scratch_ || !list_stations(stao_tbl, scratch_->stations)) return;
    NodeScores& scores = scratch_->scores;
    if (scores.prepare(sp, scratch_->stations, scratch_->cluster)) scores_ = &scores;
}

bool NodeSearch::score(const Node& node, double bar, double& score) {
    score = kNoScore;
    if (!scores_) return score_fully(node, score);
    if (!scores_->may_reach(NodeTables(*sp_.velorix, node), bar)) return true;
    return take(scores_->score(bar, scratch_->cluster), node, score);
}

bool NodeSearch::score(const Node& node, double& score) {
    if (!scores_) return score_fully(node, score);
    const NodeTables tables(*sp_.velorix, node);
    return take(scores_->score_all(tables, scratch_->cluster), node, score);
}

bool NodeSearch::take(const NodeScores::Score& found, const Node& node, double& score) {
    score = found.value;
    return found.kind != NodeScores::Kind::kUnknown || score_fully(node, score);
}

bool NodeSearch::score_fully(const Node& node, double& score) {
    NodeResult result;
    if (!search_fully(node, result)) return false;
    score = result.score;
    return true;
}

bool NodeSearch::search(const Node& node, double bar, double best, NodeResult& result) {
    if (scores_) {
        if (!scores_->may_reach(NodeTables(*sp_.velorix, node), bar)) return true;
        const NodeScores::Score found = scores_->score(bar, scratch_->cluster);
        const bool settled = found.kind == NodeScores::Kind::kBelow ||
                             (found.kind == NodeScores::Kind::kExact && !(found.value > best));
        if (settled) return true;
    }
    return search_fully(node, result);
}

bool NodeSearch::search_fully(const Node& node, NodeResult& result) {
    double cluster_width = 0;
    return velorix_node_backproj(&sp_, thread_index_, node.ix, node.iy, node.id, stao_tbl_,
                                 &result.etime, &cluster_width, &result.score,
                                 &result.variance) == 0;
}

}  // namespace velorix
