#ifndef VELORIX_ASSOC_STATION_CODE_H
#define VELORIX_ASSOC_STATION_CODE_H
// Station codes that are written with their network.
#include "../velorixassoc.h"

namespace velorix::assoc {

/// Where a pick has no network, takes "NET.STA" or "NET_STA" (as grids name a station whose code
/// several networks use) apart. Network codes have one or two characters, temporary ones up to
/// eight behind a dot.
inline void take_network_apart(Pick& pick) {
    constexpr size_t kLongestNetwork = 2;
    if (!pick.network.empty()) return;
    size_t at = pick.station.find('.');
    if (at == pick.station.npos) {
        at = pick.station.find('_');
        if (at == pick.station.npos || at > kLongestNetwork) return;
    }
    if (at == 0 || at + 1 == pick.station.size()) return;
    pick.network = pick.station.substr(0, at);
    pick.station = pick.station.substr(at + 1);
}

}  // namespace velorix::assoc
#endif
