#ifndef VELORIX_ASSOC_STREAM_PAST_H
#define VELORIX_ASSOC_STREAM_PAST_H
// What a span of a stream's past tells: which stations are at work, and whether labels tell S.
#include <cstdint>
#include <deque>
#include <vector>

#include "pick_store.h"

namespace velorix::assoc {

class StreamPast {
  public:
    /// @param history  span that is looked back on, s
    /// @param stations number of stations of each grid
    StreamPast(double history, const std::vector<int>& stations);

    /// A pick, not earlier than the one before.
    void add(const Waiting& waiting);
    /// A station of a grid has a pick from `history` before an origin up to a time behind it.
    bool at_work(size_t grid, int station, double origin, double known) const;
    /// How labels are to be taken of picks now: from those of the history before the newest.
    Labels labels() const;
    /// Forgets what no origin from a time on asks for.
    void forget(double origin);

  private:
    /// Picks of one minute: when, and of which label.
    struct Minute {
        int64_t number;
        double first, last;
    };
    struct LabelMinute {
        int64_t number;
        long p = 0, s = 0;
    };
    using Activity = std::deque<Minute>;
    static void add_to(Activity& activity, double time);
    void count_label(const Pick& pick);

    double history_;
    std::vector<std::vector<Activity>> activity_;  // [grid][station]
    std::deque<LabelMinute> labels_;               // of the history before the newest pick
    long p_ = 0, s_ = 0;                           // sums of labels_
};

}  // namespace velorix::assoc
#endif
