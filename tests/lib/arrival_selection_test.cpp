#include "support/arrival_selection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <vector>

namespace {

struct Answer {
    explicit Answer(const std::string& phases) {
        std::istringstream in(phases);
        for (std::string phase; in >> phase;) {
            TTTime time{};
            time.value = static_cast<double>(times.size() + 1);
            phase.copy(time.phase, sizeof time.phase - 1);
            times.push_back(time);
        }
        for (TTTime& time : times) settbl(list, -1, &time);
    }
    ~Answer() { freetbl(list, nullptr); }
    Answer(const Answer&) = delete;

    std::vector<TTTime> times;
    Tbl* list = newtbl(0);
};

TEST(ArrivalSelection, TakesTheFirstThatQualifies) {
    struct Case {
        const char* phases;  // at times 1, 2, 3, ...
        double distance;
        double P, S;
    };
    const Case cases[] = {
        {"S P", 30.0, 2, 1},
        {"Pdiff PKiKP SKS S", 90.0, 1, 3},
        {"Pdiff PKiKP SKS S", 102.0, 1, 3},
        {"Pdiff PKiKP SKS S", 102.0001, 2, 3},
        {"Pdiff PKiKP SKS S", NAN, 2, 3},
        {"sPdiff SKS", 110.0, 2, 2},
        {"sPdiff SKS", 90.0, 1, 1},
        {"Sdiff SKS", 110.0, 2, 1},
        {"PcS SP pS s", 30.0, 2, 4},
    };
    for (const Case& c : cases) {
        const Answer answer(c.phases);
        using namespace velorix;
        EXPECT_EQ(first_arrival(answer.list, c.distance, qualifies_as_P), c.P)
            << c.phases << " at " << c.distance;
        EXPECT_EQ(first_arrival(answer.list, c.distance, qualifies_as_S), c.S)
            << c.phases << " at " << c.distance;
    }
}

}  // namespace
