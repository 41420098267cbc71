#ifndef VELORIX_ASSOC_REPORT_H
#define VELORIX_ASSOC_REPORT_H
// What the program says about its own work, on standard error.
#include <chrono>
#include <string>
#include <vector>

#include "velorixassoc.h"

namespace velorix::assoc {

/// The grids and what an event needs on each, before a run.
std::string opening(const GridSet& grids);

/// Picks and what became of them, events, scans, and why candidates came to nothing, after it.
std::string closing(const Associator& associator, const PickStream& stream, const GridSet& grids,
                    const StreamRules& rules, long events);

/// Every pick that was read has one fate. False after a logged line.
bool accounted_for(const Associator& associator, const PickStream& stream);

/// One line an event.
std::string event_line(const Event& event);

/// What happened around a time: events with the picks they took and left, and refused candidates.
class Explanation {
  public:
    Explanation(double time, double window) : time_(time), window_(window) {}
    void add(const Event& event);
    void add(const Refusal& refusal);
    std::string text() const;

  private:
    double time_, window_;
    std::string events_, refusals_;
    std::vector<std::string> said_;
};

/// A line on a terminal that is overwritten about three times a second; silent elsewhere.
class Progress {
  public:
    explicit Progress(bool enabled);
    ~Progress();
    void update(double time, long events);
    /// Clears the line, so that another can be written.
    void clear();

  private:
    using Clock = std::chrono::steady_clock;
    bool enabled_;
    long done_ = 0;
    Clock::time_point start_, shown_;
    bool visible_ = false;
};

}  // namespace velorix::assoc
#endif
