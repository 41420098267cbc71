#ifndef VELORIX_ASSOC_PICK_H
#define VELORIX_ASSOC_PICK_H
// A pick as its source gives it.
#include <cstdint>
#include <string>

namespace velorix::assoc {

/// What the source says about the phase.
enum class Label : unsigned char { unknown, p, s, other };

struct Pick {
    double time = 0.0;  ///< epoch seconds
    std::string network;
    std::string station;
    std::string location;
    std::string channel;
    std::string phase;      ///< as written; empty when unknown
    std::string id;         ///< the source's identifier; empty without one
    double quality = -1.0;  ///< signal-to-noise ratio, probability or weight; -1 unknown
    int64_t arid = -1;      ///< numeric identifier; -1 without one
};

/// P, S, or something that a first-arrival grid does not carry (PKP, pP, LR ...).
Label label_of(const std::string& phase);

/// "NET.STA.LOC.CHA", for messages.
std::string full_name(const Pick& pick);

}  // namespace velorix::assoc
#endif
