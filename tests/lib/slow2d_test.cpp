// Slowness to distance, on tables made by a stand-in for the calculator.
#include "slow2d.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "platform/ttcalc/ttcalc.h"
#include "support/allocations.h"
#include "support/log_capture.h"
#include "velorix_pvt.h"

namespace {

struct Arrival {
    const char* phase;
    double slowness;
};
using Earth = std::function<std::vector<Arrival>(double distance)>;

// What the stand-in answers, and what it was asked.
struct Calculator {
    Earth earth;
    long fail_at = -1;  // number of the request that fails
    long requests = 0;
    std::vector<TTSlow> answer;
    Tbl* list = nullptr;
    TTGeometry first{};
    TTGeometry last{};
    std::string method_model_phases;
    bool same_list = true;
};
Calculator calculator;

}  // namespace

extern "C" int ttcalc(const char*, const char*, const char*, int, const TTGeometry*, Tbl**,
                      Hook**) {
    return -1;
}

extern "C" int ucalc(const char* method, const char* model, const char* phases, int mode,
                     const TTGeometry* geometry, Tbl** slows, Hook** state) {
    Calculator& c = calculator;
    if (c.requests++ == c.fail_at) return -1;
    if (c.requests == 1) {
        c.first = *geometry;
        c.method_model_phases = std::string(method) + ' ' + model + ' ' + phases;
        EXPECT_EQ(*slows, nullptr);
        EXPECT_EQ(mode, 0);
        EXPECT_EQ(state, &hook);
    } else {
        c.same_list = c.same_list && *slows == c.list;
    }
    c.last = *geometry;
    c.answer.clear();
    for (const Arrival& arrival : c.earth(geometry->receiver.lon)) {
        TTSlow slow{};
        slow.ux = arrival.slowness;
        std::snprintf(slow.phase, sizeof slow.phase, "%s", arrival.phase);
        c.answer.push_back(slow);
    }
    if (!c.list) c.list = newtbl(8);
    clrtbl(c.list);
    for (TTSlow& slow : c.answer) settbl(c.list, -1, &slow);
    *slows = c.list;
    return static_cast<int>(c.answer.size());
}

namespace {

// Pn at one slowness to 10 degrees, P falling from 0.12 to 0.04 at 90, PKiKP rising from 0 to 0.02
// at 110, PKPdf falling from 0.019 to 0 at 180; S and Pg stand before them here and there.
std::vector<Arrival> plain_earth(double d) {
    std::vector<Arrival> arrivals{{"S", 0.2}, {"Pg", 0.16}};
    if (d < 10.005) return {{"Pg", 0.16}, {"Pn", 0.125}, {"P", 0.119}};
    if (d < 90.005) {
        arrivals.push_back({"P", 0.12 - 0.001 * (d - 10.0)});
    } else if (d < 110.005) {
        arrivals.push_back({"PKiKP", 0.001 * (d - 90.0)});
    } else {
        arrivals.push_back({"PKPdf", 0.019 * (180.0 - d) / 70.0});
    }
    return arrivals;
}

class Slow2d : public testing::Test {
  protected:
    void SetUp() override { use(plain_earth); }
    void TearDown() override {
        velorix::reset_slowness_table();
        freetbl(calculator.list, nullptr);
        calculator = Calculator{};
    }
    static void use(Earth earth) {
        velorix::reset_slowness_table();
        freetbl(calculator.list, nullptr);
        calculator = Calculator{};
        calculator.earth = std::move(earth);
    }
    // The distance, or -1; `slowout` as well when asked for.
    static double distance(double slowness, double* slowout = nullptr) {
        double found = 7.0;
        double of_table = 7.0;
        EXPECT_EQ(slow2d("ak135", 33.0, 1.5, slowness, &found, &of_table), 0);
        EXPECT_EQ(found == -1.0, of_table == -1.0);
        if (slowout) *slowout = of_table;
        return found;
    }
};

TEST_F(Slow2d, AsksForEveryHundredthOfADegreeOnce) {
    distance(0.08);
    distance(0.05);
    EXPECT_EQ(calculator.requests, 18000);
    EXPECT_EQ(calculator.method_model_phases, "tttaup ak135 P,S");
    EXPECT_EQ(calculator.first.receiver.lon, 0.01);
    EXPECT_NEAR(calculator.last.receiver.lon, 180.0, 1e-6);
    EXPECT_EQ(calculator.first.source.z, 33.0);
    EXPECT_EQ(calculator.first.receiver.z, -1.5);
    EXPECT_EQ(calculator.first.source.lon, 0.0);
    EXPECT_TRUE(calculator.same_list);
}

TEST_F(Slow2d, AnswersFromTheBranchOfTheSlowness) {
    const struct {
        const char* name;
        double slowness, distance, tolerance;
    } cases[] = {
        {"first P not slower", 0.08, 50.0, 0.0101},
        {"between two samples", 0.080005, 50.0, 0.0101},
        {"smallest P", 0.12 - 0.001 * 80.0 + 1e-9, 90.0, 0.0101},
        {"nearest Pn of equal ones", 0.125, 0.01, 1e-9},
        {"between P and Pn", 0.1225, -1.0, 0.0},
        {"above all", 0.3, -1.0, 0.0},
        {"between PKiKP and P", 0.03, -1.0, 0.0},
        {"PKiKP above every PKPdf", 0.01995, 110.0, 0.0101},
        {"PKiKP short of its end", 0.0195, -1.0, 0.0},
        {"PKPdf where both are", 0.0095, 145.0, 0.0401},
        {"slowness 0", 0.0, 180.0, 0.0101},
        {"below 0", -0.01, -1.0, 0.0},
        {"not a number", NAN, -1.0, 0.0},
    };
    for (const auto& c : cases) {
        double of_table = 0.0;
        EXPECT_NEAR(distance(c.slowness, &of_table), c.distance, c.tolerance) << c.name;
        EXPECT_NEAR(of_table, c.distance < 0.0 ? -1.0 : c.slowness, 1e-4) << c.name;
    }
}

TEST_F(Slow2d, ReturnsTableValuesOnly) {
    double of_table = 0.0;
    const double found = distance(0.0800049, &of_table);
    EXPECT_NEAR(found / 0.01, std::round(found / 0.01), 1e-6);
    EXPECT_EQ(of_table, 0.12 - 0.001 * (found - 10.0));
    EXPECT_LE(of_table, 0.0800049);
}

TEST_F(Slow2d, TakesTheLastOfEqualCoreEntries) {
    use([](double d) -> std::vector<Arrival> {
        if (d < 90.0) return {{"P", 0.05}};
        if (d < 100.0) return {{"PKiKP", 0.02}};
        return {{"PKPdf", 0.01}};
    });
    EXPECT_NEAR(distance(0.05), 0.01, 1e-9);
    EXPECT_NEAR(distance(0.02), 99.99, 0.0101);
    EXPECT_NEAR(distance(0.01), 180.0, 1e-6);
}

TEST_F(Slow2d, AcceptsATenThousandthAndNoMore) {
    // P falls from 0.0625 to 0.05 at 40 degrees, at once.
    use([](double d) -> std::vector<Arrival> { return {{"P", d < 40.0 ? 0.0625 : 0.05}}; });
    EXPECT_NE(distance(0.05 + 0.00009), -1.0);
    EXPECT_EQ(distance(0.05 + 0.00011), -1.0);
    EXPECT_EQ(distance(0.056), -1.0);
}

// The PKiKP bound is tested before the PKPdf range.
TEST_F(Slow2d, SlownessAbovePkikpHasNoDistanceEvenWithinPkpdf) {
    use([](double d) -> std::vector<Arrival> {
        if (d < 90.0) return {{"P", 0.05}};
        if (d < 100.0) return {{"PKiKP", 0.005}};
        return {{"PKPdf", 0.02 * (180.0 - d) / 80.0}};
    });
    EXPECT_EQ(distance(0.01), -1.0);
    EXPECT_NE(distance(0.004), -1.0);
}

TEST_F(Slow2d, APhaseThatNeverOccursHasNoDistance) {
    use([](double) -> std::vector<Arrival> { return {{"S", 0.0}, {"Pg", 0.0}, {"PcP", 0.0}}; });
    for (const double slowness : {-0.00005, 0.0, 0.00005}) EXPECT_EQ(distance(slowness), -1.0);
}

TEST_F(Slow2d, SearchesPassOverEntriesOfOtherPhases) {
    // A single Pn entry within the P range is met by a P query.
    use([](double d) -> std::vector<Arrival> {
        return {{d > 39.995 && d < 40.005 ? "Pn" : "P", 0.1 - 0.001 * d}};
    });
    EXPECT_NEAR(distance(0.06), 40.0, 0.0101);
}

TEST_F(Slow2d, LaterCallsAnswerFromTheFirstTable) {
    const double first = distance(0.08);
    double found = 0.0;
    double of_table = 0.0;
    EXPECT_EQ(slow2d("prem", 600.0, 0.0, 0.08, &found, &of_table), 0);
    EXPECT_EQ(found, first);
    EXPECT_EQ(calculator.requests, 18000);
}

TEST_F(Slow2d, ACallAfterAFailureStartsFromNothing) {
    calculator.fail_at = 9000;
    const velorix_test::LogCapture log;
    double found = 0.0;
    double of_table = 0.0;
    EXPECT_EQ(slow2d("ak135", 33.0, 0.0, 0.02, &found, &of_table), -1);
    EXPECT_TRUE(log.empty());
    calculator.fail_at = -1;
    calculator.requests = 0;
    freetbl(calculator.list, nullptr);
    calculator.list = nullptr;
    EXPECT_NEAR(distance(0.01995), 110.0, 0.0101) << "beyond the request that failed";
    EXPECT_EQ(calculator.requests, 18000);
}

TEST_F(Slow2d, ACallAfterAnAllocationFailureBuildsTheTable) {
    double found = 0.0;
    double of_table = 0.0;
    bool said = false;  // a capture that allocates would fail too
    elog_set_hook(
        [](int, int flag, const char* message, void* user) {
            *static_cast<bool*>(user) = flag == 1 && std::strcmp(message, "malloc error.\n") == 0;
        },
        &said);
    {
        const velorix_test::FailingAllocations failing(1);
        EXPECT_EQ(slow2d("ak135", 33.0, 0.0, 0.08, &found, &of_table), -1);
    }
    elog_set_hook(nullptr, nullptr);
    EXPECT_TRUE(said);
    EXPECT_EQ(calculator.requests, 0);
    EXPECT_NEAR(distance(0.08), 50.0, 0.0101);
}

}  // namespace
