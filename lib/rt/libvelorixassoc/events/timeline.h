#ifndef VELORIX_ASSOC_TIMELINE_H
#define VELORIX_ASSOC_TIMELINE_H
// The votes of one grid along the stretch of time being worked on.
#include <vector>

#include "screen.h"

namespace velorix::assoc {

/// A bin of origin time that may hold an event.
struct Candidate {
    double time = 0.0;  ///< middle of the bin pair
    float votes = 0.0f;
    size_t grid = 0;
    int64_t bin = 0;
};

class Timeline {
  public:
    Timeline(const SearchGrid& grid, size_t number) : grid_(grid), number_(number), screen_(grid) {}

    /// Starts anew at a time.
    void reset(double start);
    /// Votes up to a time that the waiting picks cover.
    void extend(double end, const PickStore& picks);
    /// Votes again for the bins that a change of picks between two times touches.
    void renew(double from, double to, const PickStore& picks);
    /// Forgets what lies before a time.
    void trim(double time);
    /// No event is to be looked for around a candidate again.
    void close(const Candidate& candidate);
    /// Open bins with enough votes.
    void collect(std::vector<Candidate>& out) const;
    double width() const { return screen_.width(); }

  private:
    void vote(int64_t from, int64_t to, const PickStore& picks);

    const SearchGrid& grid_;
    size_t number_;
    Screen screen_;
    int64_t first_ = 0;
    std::vector<float> votes_;
    std::vector<char> closed_;
};

}  // namespace velorix::assoc
#endif
