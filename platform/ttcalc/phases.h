#ifndef VELORIX_TTCALC_PHASES_H
#define VELORIX_TTCALC_PHASES_H
// Names of the branches.
#include <array>

namespace velorix::tt {

enum class Family { kP, kS };

/// What a branch is, in either family.
enum class Branch : unsigned char {
    kUp,          ///< leaves a source in the mantle upward
    kUpperCrust,  ///< turns in the upper crust, or leaves a source there upward
    kLowerCrust,
    kUpperMantle,  ///< turns between the Moho and the 410-km discontinuity
    kMantle,       ///< turns below it
    kDiffracted,   ///< along the surface of the core
    kReflected,    ///< at the inner core, from above
    kInnerCore,    ///< turns in the inner core
    kOuterNear,    ///< turns in the outer core, steeper than the caustic's ray
    kOuterFar,     ///< turns in the outer core, shallower than the caustic's ray
};
constexpr int kBranches = 10;

/// A phase name as the answers carry it, padded with zeros.
using PhaseName = std::array<char, 16>;

inline const PhaseName& phase_name(Family family, Branch branch) {
    static constexpr PhaseName kNames[2][kBranches] = {
        {{"p"},
         {"Pg"},
         {"Pb"},
         {"Pn"},
         {"P"},
         {"Pdiff"},
         {"PKiKP"},
         {"PKPdf"},
         {"PKPbc"},
         {"PKPab"}},
        {{"s"}, {"Sg"}, {"Sb"}, {"Sn"}, {"S"}, {"Sdiff"}, {"SKiKS"}, {"SKIKS"}, {"SKS"}, {"SKS"}}};
    return kNames[static_cast<int>(family)][static_cast<int>(branch)];
}

}  // namespace velorix::tt
#endif
