#ifndef VELORIX_ASSOC_VOTE_BOOK_H
#define VELORIX_ASSOC_VOTE_BOOK_H
// Votes for origin times of one grid, counted pick by pick as they arrive, in whatever order.
#include <cstdint>
#include <vector>

#include "screen.h"

namespace velorix::assoc {

/// Where most picks go back to.
struct Peak {
    int votes = 0;  ///< of two neighbouring bins at one node; 0: none
    int64_t bin = 0;
};

class VoteBook {
  public:
    /// @param span how far back from the newest pick origins are voted for, s
    VoteBook(const SearchGrid& grid, size_t number, double span);

    /// Counts a pick; the highest peak that it is part of, is high enough for an event, and has not
    /// been tried with as many votes.
    Peak add(Waiting& waiting);
    /// Takes a pick's votes back.
    void remove(Waiting& waiting);
    /// Makes room for origins up to a time and forgets those out of the span.
    void advance(double now);
    /// So many picks go back to about a time that an event may be there.
    bool enough_at(double time) const;
    /// No event was found at a peak: it is looked at again when it has grown.
    void note_tried(const Peak& peak);

    double time_of(const Peak& peak) const { return screen_.start_of(peak.bin + 1); }
    double width() const { return screen_.width(); }

  private:
    struct Counts {
        uint16_t all = 0, p = 0;
    };
    static constexpr unsigned char kVotedP = 1, kVotedS = 2;  // bits of Waiting::voted
    bool repeats(std::vector<double>& newest, int station, double time) const;
    const Counts* row(size_t node) const {
        return counts_.data() + node * static_cast<size_t>(bins_);
    }
    Counts* row(size_t node) { return counts_.data() + node * static_cast<size_t>(bins_); }
    int64_t slot(int64_t bin) const { return ((bin % bins_) + bins_) % bins_; }
    bool holds(int64_t bin) const { return bin >= first_ && bin < first_ + bins_; }
    void change(const Waiting& waiting, int by);
    void look(const Counts* counts, int64_t bin, bool untried, Peak& peak) const;

    const SearchGrid& grid_;
    size_t number_;
    Screen screen_;
    int64_t bins_;
    int64_t first_ = 0;
    bool empty_ = true;
    int enough_;
    std::vector<Counts> counts_;     // [node][bin modulo bins_]
    std::vector<uint16_t> tried_;    // [bin modulo bins_]
    std::vector<double> newest_[2];  // [phase][station]: time of the newest pick that voted
};

}  // namespace velorix::assoc
#endif
