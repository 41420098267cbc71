#ifndef VELORIX_ASSOC_EVENT_H
#define VELORIX_ASSOC_EVENT_H
// What the program finds: events with their picks.
#include <string>
#include <vector>

#include "pick.h"

namespace velorix::assoc {

/// A pick as part of an event.
struct EventPick {
    Pick pick;
    char phase = 'P';       ///< as associated: 'P' or 'S'
    bool defining = false;  ///< took part in the location; else only associated
    double residual = 0.0;  ///< s, observed minus predicted
    double delta = 0.0;     ///< degrees
    double esaz = 0.0;      ///< event to station, degrees, 0 .. 360
    double seaz = 0.0;      ///< station to event
    double weight = 0.0;
};

/// A pick that could have belonged to an event and does not.
struct LeftOut {
    Pick pick;
    char phase = 'P';
    double residual = 0.0;  ///< s
    std::string reason;
};

/// One standard deviation each, with the covariance they come from.
struct Uncertainty {
    double time = 0.0;                ///< s
    double depth = 0.0;               ///< km
    double major = 0.0, minor = 0.0;  ///< km, axes of the horizontal ellipse
    double strike = 0.0;              ///< degrees from north of the major axis
    double east = 0.0, north = 0.0;   ///< km
    double covariance[4][4] = {};     ///< east, north, depth (km), time (s)
};

struct Event {
    std::string id;  ///< unique in a catalogue, the same from run to run
    double time = 0.0;
    double lat = 0.0, lon = 0.0, depth = 0.0;
    std::string grid, model;
    int p = 0, s = 0;               ///< associated picks by phase
    int defining = 0;               ///< picks in the location
    int stations = 0;               ///< stations with an associated pick
    double scatter = 0.0;           ///< standard deviation of the residuals, s
    double scatter_weighted = 0.0;  ///< s
    double gap = 360.0;             ///< largest azimuth without a station, degrees
    double nearest = 0.0, farthest = 0.0, median = 0.0;  ///< station distances, degrees
    double score = 0.0;                                  ///< of the scan's best node
    double coverage = 0.0;     ///< share of near stations that recorded the event
    bool on_edge = false;      ///< of the mesh, horizontally
    bool fixed_depth = false;  ///< the grid has one depth
    Uncertainty error;
    std::vector<EventPick> picks;  ///< by station distance, P before S
    std::vector<LeftOut> left_out;
};

/// Gives every event of a catalogue its identifier, from origin time; the events are sorted by
/// time.
void name_events(std::vector<Event>& events);

}  // namespace velorix::assoc
#endif
