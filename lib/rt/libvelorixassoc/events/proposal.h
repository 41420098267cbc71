#ifndef VELORIX_ASSOC_PROPOSAL_H
#define VELORIX_ASSOC_PROPOSAL_H
// What the grids make of a candidate: the picks it could have are scanned, located and judged.
#include <limits>
#include <map>
#include <set>
#include <span>
#include <vector>

#include "grid_scan.h"
#include "location.h"
#include "stream_past.h"

namespace velorix::assoc {

/// What one grid makes of a candidate.
struct Proposal {
    size_t grid = 0;
    int picks = 0;  ///< free ones in the window
    ScanResult scan;
    Solution solution;
    double coverage = 0.0;
    Verdict verdict;
};

/// An event that has its picks, as its grid has it; the members' picks may be gone.
struct Kept {
    long number = 0;
    size_t grid = 0;
    Solution solution;
    Position position;
    std::set<int> stations;

    Kept(long number, const SearchGrid& of, size_t grid, const Solution& solution);
};

/// The stored picks as one pass over them sees them.
class PickView {
  public:
    /// The final pass: picks before a time, whatever is announced of them.
    static PickView final(const PickStore& store, double until) { return {store, until, -1}; }
    /// Events as they form: every pick, those of other announced events left aside unless they are
    /// smaller.
    /// @param sizes picks of announced events by their number
    static PickView announced(const PickStore& store, long own_track, size_t own_size,
                              const std::map<long, size_t>& sizes) {
        PickView view(store, std::numeric_limits<double>::infinity(), own_track);
        view.own_size_ = own_size;
        view.sizes_ = &sizes;
        return view;
    }

    enum class Which {
        free,    ///< may join an event of the grid, and belong to none
        usable,  ///< may join an event of the grid
        all      ///< at a station of the grid
    };
    /// By time.
    std::vector<Waiting*> between(double from, double to, size_t grid, Which which) const;

  private:
    PickView(const PickStore& store, double until, long own_track)
        : store_(&store), until_(until), own_track_(own_track) {}
    bool is_free(const Waiting& waiting) const;

    const PickStore* store_;
    double until_;
    long own_track_;  // -1: the final pass
    size_t own_size_ = 0;
    const std::map<long, size_t>* sizes_ = nullptr;
};

/// What else is known where a proposal is judged.
struct Surroundings {
    std::span<const Kept> kept;  ///< events around it
    /// Picks are known up to here: they tell which stations are at work.
    double known;
    /// The time now: waves that arrive later cannot have been picked.
    double now = std::numeric_limits<double>::infinity();
};

class Proposer {
  public:
    /// @param slack how far an origin may lie from its candidate, s
    Proposer(std::vector<SearchGrid>& grids, const StreamRules& rules, const StreamPast& past,
             double slack);

    /**
     * Every grid's proposal around an origin time, and the best of them that passes: the highest
     * score, unless a finer grid sees the same event.
     * @param slack how far the origin may lie from the time, by grid, s
     * @return false after a logged line
     */
    bool propose(double time, std::span<const double> slacks, const PickView& picks,
                 const Surroundings& around, std::vector<Proposal>& proposals);
    /// The one that stands for the event; null when none passes.
    Proposal* best(std::vector<Proposal>& proposals) const;

    /**
     * Associates and locates in turn, from wide limits to the final ones, from where the solution
     * stands: a scan's best node may be half a cell away, and its picks as seen from there are not
     * yet the event's. Then late picks join.
     * @param slack how far the origin may yet move, s
     */
    void settle(size_t grid, double slack, const PickView& picks, Solution& solution) const;
    /// Judges by the rules; sets coverage and verdict.
    void judge(Proposal& proposal, const Surroundings& around) const;

    /// The event that a proposal describes, without identifier; picks it leaves out with reasons.
    Event event_of(const Proposal& proposal, const PickView& picks) const;

    /// From when on an event's farthest station stays its farthest: waves have gone twice as far.
    double passed(size_t grid, const Solution& solution) const;

    long scans() const { return scans_; }
    const SearchGrid& grid(size_t number) const { return grids_[number]; }

  private:
    bool propose_within(size_t grid, double time, double slack, double window,
                        const PickView& picks, const Surroundings& around, Proposal& proposal);
    bool propose_on(size_t grid, double time, double slack, const PickView& picks,
                    const Surroundings& around, Proposal& proposal);
    double reach_of(size_t grid, const Solution& solution, const std::set<int>& with,
                    double now) const;
    double coverage_of(size_t grid, const Solution& solution, const Surroundings& around) const;
    bool at_work(size_t grid, int station, double origin, double known) const;
    Proposal* finest(Proposal& best, std::vector<Proposal>& proposals) const;
    bool same_event(const Proposal& a, const Proposal& b, const GridRules& rules) const;
    const Kept* twin_of(const Proposal& proposal, std::span<const Kept> kept) const;
    const Kept* echo_of(const Proposal& proposal, std::span<const Kept> kept) const;
    bool accounts_for(const Kept& kept, const Member& member) const;
    Verdict place_verdict(const Proposal& proposal) const;
    Verdict verdict_of(const Proposal& proposal, const Surroundings& around) const;

    std::vector<SearchGrid>& grids_;
    const StreamRules& rules_;
    const StreamPast& past_;
    std::vector<Locator> locators_;
    double slack_;
    long scans_ = 0;
};

}  // namespace velorix::assoc
#endif
