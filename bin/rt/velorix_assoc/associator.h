#ifndef VELORIX_ASSOC_ASSOCIATOR_H
#define VELORIX_ASSOC_ASSOCIATOR_H
// From a stream of picks to events.
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "event.h"
#include "grid_scan.h"
#include "locate.h"
#include "timeline.h"

namespace velorix::assoc {

/// A place and time that was looked at and gave no event.
struct Trial {
    double time = 0.0;
    std::string grid;
    Position best;
    double score = 0.0;
    int p = 0, s = 0, stations = 0;
    std::string lacking;
    bool scanned = false;  ///< there is a best node
};

/**
 * Takes picks in order of time and finds events.
 *
 * Votes say where in time an event may have happened. The candidate with most votes among all
 * within two windows of it goes first: every grid is scanned with the picks that an event there
 * could have, the best passing result is located between the nodes and takes its picks, and the
 * votes are counted again. A candidate is decided only when the picks of two windows behind it are
 * known, so that neither the place where a run starts nor the pace at which picks arrive matters.
 */
class Associator {
  public:
    Associator(GridSet& grids, const ProgramRules& rules);

    /// A pick, not earlier than the one before. False after a logged line.
    bool add(Pick pick);
    /// The stream has ended. False after a logged line.
    bool finish();

    std::vector<Event>& events() { return events_; }
    /// Why candidates came to nothing: reason without figures, and count.
    const std::map<std::string, long>& refusals() const { return refusals_; }
    /// Picks at stations that are in no grid, by station.
    const std::map<std::string, long>& unknown() const { return unknown_; }
    long scans() const { return scans_; }
    long waiting() const { return static_cast<long>(most_waiting_); }

    std::function<void(const Event&)> on_event;
    std::function<void(const Trial&)> on_trial;

  private:
    /// A grid's proposal for a candidate.
    struct Proposal {
        ScanResult scan;
        Solution solution;
        std::string lacking;
        bool sparse = false;  ///< too few of the near stations have a pick
        int picks = 0;        ///< free ones in the window
        size_t grid = 0;
    };

    /// A committed event as its grid has it.
    struct Kept {
        size_t grid;
        Solution solution;
        std::set<int> stations;
    };

    bool advance(bool final);
    bool choose(bool final, double known, Candidate& chosen) const;
    bool decide(const Candidate& candidate);
    bool propose_within(size_t grid, double time, double slack, double window, Proposal& proposal);
    bool propose(size_t grid, double time, double slack, Proposal& proposal);
    void settle(const Proposal& best, Solution& solution) const;
    Proposal& finest(Proposal& best, std::vector<Proposal>& proposals) const;
    bool same_event(const Proposal& a, const Proposal& b, double time, double km) const;
    void commit(Proposal& best);
    void refuse(const Candidate& candidate, const Proposal* best, int picks);
    void trim(double known);
    /// Free picks that may join an event; those of events too; also those that may not join one.
    enum class Which { free, usable, all };
    std::vector<Waiting*> waiting_between(double from, double to, size_t grid, Which which);
    const Event* twin_of(const Proposal& proposal) const;
    void keep(const Proposal& proposal);
    const Kept* echo_of(const Proposal& proposal) const;
    std::string lacking(Proposal& proposal) const;

    GridSet& grids_;
    ProgramRules rules_;
    std::vector<Timeline> timelines_;
    std::vector<Locator> locators_;
    std::deque<Waiting> waiting_;
    double window_ = 0.0, step_ = 0.0, slack_ = 0.0;
    bool running_ = false;
    double newest_ = 0.0, next_advance_ = 0.0;
    std::vector<Event> events_;
    std::deque<Kept> kept_;  // as long as a pick may still be free around them
    std::map<std::string, long> refusals_, unknown_;
    long scans_ = 0;
    size_t most_waiting_ = 0;
};

/// The event that a solution describes.
Event make_event(const SearchGrid& grid, const Locator& locator, const Solution& solution);

/// Share of the stations at work, nearer than the median associated one, that have a pick.
double coverage_of(const SearchGrid& grid, const Solution& solution);

/// Says of picks near a solution's predicted times why they are not its own.
std::vector<LeftOut> left_out_of(const SearchGrid& grid, size_t number, const Solution& solution,
                                 std::span<Waiting* const> nearby);

}  // namespace velorix::assoc
#endif
