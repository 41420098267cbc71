#ifndef VELORIX_ASSOC_TRACKS_H
#define VELORIX_ASSOC_TRACKS_H
// Events as they form: announced when the picks that are there pass the rules, revised as more
// arrive, and handed over to the final event or withdrawn.
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <unordered_set>
#include <vector>

#include "proposal.h"
#include "vote_book.h"

namespace velorix::assoc {

class Tracks {
  public:
    /// @param lateness of picks, s
    /// @param slack    how far an origin may lie from its candidate, s
    Tracks(std::vector<SearchGrid>& grids, Proposer& proposer, const PickStore& picks,
           double lateness, double slack);

    /// A pick has arrived. False after a logged line.
    bool take(Waiting& waiting, double now, std::span<const Kept> final_events);
    /// The clock has moved on. False after a logged line.
    bool advance(double now, std::span<const Kept> final_events);

    /// The track of a final event: the one that it shares most picks with, which ends here, or a
    /// new one. To be asked before the picks know the final event.
    std::string hand_over(const Proposal& proposal);
    /// Withdraws the tracks that no event before a time has taken over.
    void withdraw_before(double decided);
    /// No track uses picks before this.
    double oldest() const;

    std::function<void(const Report&)> on_report;

  private:
    struct Track {
        long number;
        std::string id;
        Proposal proposal;
        int version = 0;
        size_t joined = 0;      ///< picks that are or were near enough to be its own
        size_t located = 0;     ///< of them when it was located last
        size_t scanned = 0;     ///< of them when it was scanned last
        bool complete = false;  ///< located when all its waves had passed
        bool robbed = false;    ///< a larger one has taken picks of it
    };
    using Place = std::list<Track>::iterator;

    bool joins(const Track& track, const Waiting& waiting) const;
    bool try_peak(size_t grid, const Peak& peak, double now, std::span<const Kept> final_events);
    bool try_time(size_t grid, double time, double now, std::span<const Kept> final_events,
                  std::vector<Proposal>& proposals, bool& announced);
    void announce(Proposal proposal, double now);
    bool update(Track& track, double now, std::span<const Kept> final_events);
    bool scan_again(Track& track, double now, std::span<const Kept> final_events);
    bool due(const Track& track, double now) const;
    std::vector<Kept> kept_around(const Track* self, std::span<const Kept> final_events) const;
    Track* blocking(const std::vector<Proposal>& proposals);
    void claim(Track& track);
    void free_picks(const Track& track, const std::unordered_set<const Waiting*>& but);
    void report(Track& track, Kind kind);
    Place withdraw(Place track, Verdict why);
    std::string new_id(const Proposal& proposal, double now) const;
    std::vector<double> slacks(size_t grid) const;
    PickView view_of(const Track& track) const;
    bool try_near_misses(double now, std::span<const Kept> final_events);

    std::vector<SearchGrid>& grids_;
    Proposer& proposer_;
    const PickStore& picks_;
    double slack_;
    std::vector<VoteBook> books_;
    std::list<Track> tracks_;
    std::map<long, size_t> sizes_;  // picks of each
    /// Candidates that lacked coverage while waves were under way: when to look again.
    struct NearMiss {
        double when;
        size_t grid;
        double time;
    };
    std::deque<NearMiss> near_misses_;
    long made_ = 0;
    double now_ = 0.0;
};

}  // namespace velorix::assoc
#endif
