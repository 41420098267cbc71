#ifndef VELORIX_ASSOC_SCREEN_H
#define VELORIX_ASSOC_SCREEN_H
// Where in time an event may have happened: picks back-projected to a sparse subset of a grid's
// nodes. The bins of origin time stand at multiples of their width, whatever the stretch of picks
// looked at, so that the answer does not depend on where a run starts.
#include <cstdint>
#include <span>
#include <vector>

#include "search_grid.h"

namespace velorix::assoc {

/// A pick as screening sees it.
struct ScreenPick {
    double time;
    int station;
    bool p, s;
};

/// An origin may lie so many widths of bins from the middle of its candidate: the candidate is a
/// pair of them, and screening's nodes stand off the event by up to one more. Italian picks (two
/// spans, 255 | 448 events): 1 width 255 | 450, 2.5 widths 254 | 442.
inline constexpr double kSlackWidths = 1.5;

/// Votes from which on a bin may hold an event: of all that an event needs, screening misses some,
/// since its nodes stand off the event.
int least_votes(const GridRules& rules);

class Screen {
  public:
    explicit Screen(const SearchGrid& grid);

    /// Width of a bin, s.
    double width() const { return width_; }
    int64_t bin_of(double time) const;
    size_t nodes() const { return nodes_.size(); }
    /// Times from a node to a station, s; negative where the station is out of reach.
    float p_time(size_t node, int station) const {
        return p_[node * static_cast<size_t>(stations_) + static_cast<size_t>(station)];
    }
    float s_time(size_t node, int station) const {
        return s_[node * static_cast<size_t>(stations_) + static_cast<size_t>(station)];
    }
    double start_of(int64_t bin) const { return static_cast<double>(bin) * width_; }

    /**
     * For every bin the largest count of picks, over the nodes, that go back to it or the next one:
     * a station counts once as P and once as S. Nodes where too few P picks go back to these bins
     * or the one before do not count.
     * @param[in]  picks by time
     * @param[in]  first first bin
     * @param[out] votes one a bin; overwritten
     */
    void vote(std::span<const ScreenPick> picks, int64_t first, std::span<float> votes) const;

  private:
    void choose_nodes(const GridTimes& times);
    void read_times(const SearchGrid& grid);
    double smear(const GridTimes& times) const;
    void vote_at(size_t node, std::span<const ScreenPick> picks, int64_t first,
                 std::span<float> votes) const;

    int stations_ = 0;
    float min_p_ = 0.0f;
    double width_ = 1.0;
    std::vector<int64_t> nodes_;
    std::vector<float> p_, s_;  // [node][station]; negative: out of reach
    mutable std::vector<float> counts_, p_counts_;
    mutable std::vector<int64_t> last_bin_;  // [station][phase]
};

}  // namespace velorix::assoc
#endif
