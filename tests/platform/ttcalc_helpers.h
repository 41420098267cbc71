#ifndef VELORIX_TESTS_TTCALC_HELPERS_H
#define VELORIX_TESTS_TTCALC_HELPERS_H
// Calls of the travel-time calculator for tests.
#include <string>
#include <vector>

#include "platform/ttcalc/ttcalc.h"

namespace velorix_test {

constexpr double kDegree = 3.14159265358979323846 / 180.0;

/// A calculator hook that is released at the end.
struct Calculator {
    Hook* hook = nullptr;

    Calculator() = default;
    ~Calculator() { freehook(&hook); }
    Calculator(const Calculator&) = delete;
    Calculator& operator=(const Calculator&) = delete;

    int call(const std::string& model, const TTGeometry& geometry, const char* phases = "P,S") {
        return ttcalc("tttaup", model.c_str(), phases, 0, &geometry, &times, &hook);
    }

    /// The answer for a source and a receiver on the equator; empty after a failure.
    std::vector<TTTime> arrivals(const std::string& model, double depth, double receiver_z,
                                 double distance_deg, const char* phases = "P,S") {
        TTGeometry geometry{};
        geometry.source.z = depth;
        geometry.receiver.z = receiver_z;
        geometry.receiver.lon = distance_deg;
        std::vector<TTTime> answer;
        const int n = call(model, geometry, phases);
        for (int i = 0; i < n; ++i) answer.push_back(*static_cast<TTTime*>(gettbl(times, i)));
        return answer;
    }

  private:
    Tbl* times = nullptr;
};

/// The arrivals whose name is one of the family: its first letter, either case.
inline std::vector<TTTime> family(const std::vector<TTTime>& arrivals, char letter) {
    std::vector<TTTime> chosen;
    for (const TTTime& time : arrivals) {
        const bool same = (time.phase[0] & ~0x20) == letter;
        if (same) chosen.push_back(time);
    }
    return chosen;
}

}  // namespace velorix_test
#endif
