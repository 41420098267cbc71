// Prints the travel-time curves of a model: distance (deg), time (s) and phase of every arrival.
#include <cstdio>
#include <cstdlib>

#include "platform/ttcalc/ttcalc.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s model depth_km\n", argv[0]);
        return 2;
    }
    TTGeometry geometry{};
    geometry.source.z = std::strtod(argv[2], nullptr);
    Hook* hook = nullptr;
    for (int i = 0; i <= 1800; ++i) {
        geometry.receiver.lon = 0.1 * i;
        Tbl* times = nullptr;
        const int n = ttcalc("tttaup", argv[1], "P,S", 0, &geometry, &times, &hook);
        if (n < 0) return 1;
        for (int k = 0; k < n; ++k) {
            const auto* time = static_cast<const TTTime*>(gettbl(times, k));
            std::printf("%.1f\t%.3f\t%s\n", geometry.receiver.lon, time->value, time->phase);
        }
    }
    freehook(&hook);
    return 0;
}
