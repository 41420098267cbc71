// What a pick is.
#include <algorithm>
#include <array>
#include <string_view>

#include "../velorixassoc.h"

namespace velorix::assoc {

// First arrivals of crust, mantle and (as the grid's P table carries it) the diffracted branch.
// Core and depth phases are later arrivals or belong to tables that a grid does not hold.
Label label_of(const std::string& phase) {
    static constexpr std::array<std::string_view, 11> kP{
        "P", "p", "Pg", "Pn", "Pb", "P*", "P1", "Pdif", "Pdiff", "PKPdf", "PKIKP"};
    static constexpr std::array<std::string_view, 9> kS{"S",  "s",  "Sg",   "Sn",   "Sb",
                                                        "S*", "S1", "Sdif", "Sdiff"};
    if (phase.empty() || phase == "?" || phase == "-" || phase == "U") return Label::unknown;
    if (std::find(kP.begin(), kP.end(), phase) != kP.end()) return Label::p;
    if (std::find(kS.begin(), kS.end(), phase) != kS.end()) return Label::s;
    return Label::other;
}

std::string full_name(const Pick& pick) {
    return pick.network + "." + pick.station + "." + pick.location + "." + pick.channel;
}

}  // namespace velorix::assoc
