#ifndef VELORIX_ASSOC_FINAL_PASS_H
#define VELORIX_ASSOC_FINAL_PASS_H
// Final events: candidates decided when all picks around them are known.
#include <functional>
#include <map>
#include <vector>

#include "proposal.h"
#include "timeline.h"

namespace velorix::assoc {

class FinalPass {
  public:
    FinalPass(std::vector<SearchGrid>& grids, std::vector<Timeline>& timelines, double slack,
              Proposer& proposer, const PickStore& picks);

    /// The next pick in order of time, which is in the store. False after a logged line.
    bool take(const Waiting& waiting);
    /// Every pick before a time has been taken. False after a logged line.
    bool advance(double complete);
    /// Every pick of the stream has been taken. False after a logged line.
    bool finish();

    /// No event to come has its origin before this.
    double decided() const { return decided_; }
    /// No event to come can use picks before this.
    double in_use() const { return in_use_; }
    /// Events so near that they may still tell whether another is their twin or echo.
    std::span<const Kept> kept() const { return kept_; }
    const std::map<Lack, long>& refusals() const { return refusals_; }

    /// A decided event, while the picks of its proposal are there.
    std::function<void(const Proposal&, Event)> on_event;
    std::function<void(const Refusal&)> on_refusal;

  private:
    bool decide_open(double known, bool last);
    bool choose(double known, bool last, Candidate& chosen) const;
    bool decide(const Candidate& candidate);
    void commit(Proposal& best);
    void refuse(const Candidate& candidate, const std::vector<Proposal>& proposals);
    void settle_bounds(double known);
    bool flush();

    std::vector<SearchGrid>& grids_;
    std::vector<Timeline>& timelines_;
    Proposer& proposer_;
    const PickStore& picks_;
    double window_ = 0.0, step_ = 0.0, slack_, longest_ = 0.0;
    double apart_ = 0.0;  // of events that can be twins or echoes, s
    bool running_ = false;
    double newest_, complete_, next_advance_ = 0.0;
    double decided_, in_use_;
    std::vector<Kept> kept_;
    long events_ = 0;
    std::map<Lack, long> refusals_;
};

}  // namespace velorix::assoc
#endif
