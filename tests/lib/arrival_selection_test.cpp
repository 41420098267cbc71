#include "platform/ttcalc/arrival_selection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <sstream>

namespace {

// The time taken of phases that come at 1, 2, 3, ...
double taken(const char* phases, double distance, bool (*qualifies)(const char*, double)) {
    std::deque<TTTime> times;
    Tbl* list = newtbl(0);
    std::istringstream in(phases);
    for (std::string phase; in >> phase;) {
        TTTime& time = times.emplace_back();
        time.value = static_cast<double>(times.size());
        phase.copy(time.phase, sizeof time.phase - 1);
        settbl(list, -1, &time);
    }
    const double first = velorix::first_arrival(list, distance, qualifies);
    freetbl(list, nullptr);
    return first;
}

TEST(ArrivalSelection, TakesTheFirstThatQualifies) {
    struct Case {
        const char* phases;
        double distance;
        double P, S;
    };
    for (const Case& c :
         {Case{"S P", 30.0, 2, 1}, Case{"Pdiff PKiKP SKS S", 102.0, 1, 3},
          Case{"Pdiff PKiKP SKS S", 102.0001, 2, 3}, Case{"Pdiff PKiKP SKS S", NAN, 2, 3},
          Case{"sPdiff SKS", 110.0, 2, 2}, Case{"sPdiff SKS", 90.0, 1, 1},
          Case{"Sdiff SKS", 110.0, 2, 1}, Case{"PcS SP pS s", 30.0, 2, 4}}) {
        SCOPED_TRACE(testing::Message() << c.phases << " at " << c.distance);
        EXPECT_EQ(taken(c.phases, c.distance, velorix::qualifies_as_P), c.P);
        EXPECT_EQ(taken(c.phases, c.distance, velorix::qualifies_as_S), c.S);
    }
}

}  // namespace
