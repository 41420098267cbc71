// Identifiers of events, and the words for reasons and verdicts.
#include <array>

#include "../support/fnv.h"
#include "../support/text_values.h"
#include "../support/times.h"
#include "event_id.h"

namespace velorix::assoc {

// Origin time to 10 ms, and six digits of a hash of the place, the grid and the picks.
std::string event_id(const Event& event) {
    std::string content =
        format("%.5f %.5f %.3f %.4f ", event.lat, event.lon, event.depth, event.time) + event.grid;
    for (const EventPick& p : event.picks) {
        content += format("|%c%.4f", p.phase, p.pick.time) + full_name(p.pick);
    }
    std::string id;
    for (const char c : iso_time(event.time, 2)) {
        if (c != '-' && c != ':' && c != 'Z') id += c;
    }
    return id + format("-%06llx", static_cast<unsigned long long>(fnv1a(content) >> 40));
}

namespace {

struct Words {
    const char* name;
    const char* text;
};

// In the order of the enumerations.
constexpr std::array<Words, 8> kReasons{{{"accepted", "accepted"},
                                         {"no_time", "no travel time"},
                                         {"beyond_limit", "residual beyond"},
                                         {"label", "labelled"},
                                         {"sifted", "kept out by a sifter"},
                                         {"better_pick", "another pick of the station fits better"},
                                         {"out_of_order", "S before the P of the station"},
                                         {"other_event", "in another event"}}};
constexpr std::array<Words, 16> kLacks{
    {{"nothing", "nothing lacks"},
     {"picks_in_window", "too few picks"},
     {"cluster", "too few picks"},
     {"p_picks", "too few P picks"},
     {"s_picks", "too few S picks"},
     {"picks", "too few picks"},
     {"stations", "too few stations"},
     {"stations_by_distance", "too few stations within nsta_thresh"},
     {"priority", "inside a grid of higher priority"},
     {"edge", "on the edge of the grid"},
     {"other_grid", "inside a grid of drop_if_in_grid"},
     {"scatter", "too much scatter"},
     {"coverage", "near stations without picks"},
     {"twin", "the same as another event"},
     {"echo", "an echo of a larger event"},
     {"gone", "not confirmed by later picks"}}};
static_assert(static_cast<size_t>(Reason::other_event) + 1 == kReasons.size());
static_assert(static_cast<size_t>(Lack::gone) + 1 == kLacks.size());

constexpr std::array<const char*, 4> kKinds{"new", "revised", "final", "withdrawn"};
static_assert(static_cast<size_t>(Kind::withdrawn) + 1 == kKinds.size());

}  // namespace

const char* kind_name(Kind kind) { return kKinds[static_cast<size_t>(kind)]; }
const char* reason_name(Reason reason) { return kReasons[static_cast<size_t>(reason)].name; }
const char* lack_name(Lack lack) { return kLacks[static_cast<size_t>(lack)].name; }
const char* lack_text(Lack lack) { return kLacks[static_cast<size_t>(lack)].text; }

std::string reason_text(const LeftOut& left) {
    std::string text = kReasons[static_cast<size_t>(left.reason)].text;
    if (left.reason == Reason::beyond_limit) return text + format(" %.2f s", left.limit);
    if (left.reason == Reason::label) return text + " '" + left.pick.phase + "'";
    return text;
}

std::string verdict_text(const Verdict& v) {
    std::string text = lack_text(v.lack);
    const int have = static_cast<int>(v.have), need = static_cast<int>(v.need);
    switch (v.lack) {
        case Lack::picks_in_window:
            return text + format(": %d of %d in the window", have, need);
        case Lack::cluster:
            return text + ": none go back to one time at any node";
        case Lack::p_picks:
        case Lack::s_picks:
        case Lack::picks:
        case Lack::stations:
            return text + format(": %d of %d", have, need);
        case Lack::other_grid:
            return text + ": " + v.other_grid;
        case Lack::scatter:
            return text + format(": %.2f of %.2f s", v.have, v.need);
        case Lack::coverage:
            return text + format(": coverage %.2f of %.2f", v.have, v.need);
        case Lack::twin:
        case Lack::echo:
            return text + ": " + iso_time(v.other_time, 2);
        default:
            return text;
    }
}

}  // namespace velorix::assoc
