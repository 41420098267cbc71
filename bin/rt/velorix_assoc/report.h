#ifndef VELORIX_ASSOC_REPORT_H
#define VELORIX_ASSOC_REPORT_H
// What the program says about its own work, on standard error.
#include <chrono>
#include <string>
#include <vector>

#include "associator.h"
#include "pick_stream.h"

namespace velorix::assoc {

/// Stations, picks, time span and parameters, before a run.
std::string opening(const PickSurvey& survey, const GridSet& grids, Labels labels);

/// Events, scans and why candidates came to nothing, after it.
std::string closing(const Associator& associator, const PickStream& stream);

/// One line an event.
std::string event_line(const Event& event);

/// Everything known around a time: events with the picks they took and left, and refused
/// candidates.
std::string explanation(double time, double window, const std::vector<Event>& events,
                        const std::vector<Trial>& trials);

/// A line on a terminal that is overwritten about three times a second; silent elsewhere.
class Progress {
  public:
    Progress(bool enabled, long picks);
    ~Progress();
    void update(double time, size_t events);
    /// Clears the line, so that another can be written.
    void clear();

  private:
    using Clock = std::chrono::steady_clock;
    bool enabled_;
    long picks_, done_ = 0;
    Clock::time_point start_, shown_;
    bool visible_ = false;
};

}  // namespace velorix::assoc
#endif
