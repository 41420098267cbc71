// Slowness to distance, on tables made by a stand-in for the calculator.
#include "slow2d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/ttcalc/ttcalc.h"
#include "support/fail_each_allocation.h"
#include "velorix_pvt.h"

namespace {

struct Arrival {
    const char* phase;
    double slowness;
};
using Earth = std::function<std::vector<Arrival>(double distance)>;

// What the stand-in answers, and the distances that it was asked for.
struct Calculator {
    Earth earth;
    size_t fail_at = SIZE_MAX;  // number of the request that fails
    std::vector<double> asked;
    std::vector<TTSlow> answer;
    Tbl* list = nullptr;
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
    EXPECT_EQ(std::string(method) + ' ' + model + ' ' + phases, "tttaup ak135 P,S");
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(state, &hook);
    EXPECT_EQ(*slows, c.list) << "not the list of the answer before";
    EXPECT_EQ(geometry->source.z, 33.0);
    EXPECT_EQ(geometry->source.lon, 0.0);
    EXPECT_EQ(geometry->receiver.z, -1.5);
    c.asked.push_back(geometry->receiver.lon);
    if (c.asked.size() == c.fail_at) return -1;
    c.answer.clear();
    for (const Arrival& arrival : c.earth(c.asked.back())) {
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
    if (d < 10.005) return {{"Pg", 0.16}, {"Pn", 0.125}, {"P", 0.119}};
    if (d < 90.005) return {{"S", 0.2}, {"Pg", 0.16}, {"P", 0.12 - 0.001 * (d - 10.0)}};
    if (d < 110.005) return {{"S", 0.2}, {"Pg", 0.16}, {"PKiKP", 0.001 * (d - 90.0)}};
    return {{"S", 0.2}, {"Pg", 0.16}, {"PKPdf", 0.019 * (180.0 - d) / 70.0}};
}

class Slow2d : public testing::Test {
  protected:
    void SetUp() override { use(plain_earth); }
    void TearDown() override { use({}); }
    static void use(Earth earth) {
        velorix::reset_slowness_table();
        answer_from(std::move(earth));
    }
    static void answer_from(Earth earth) {
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
    const double first = distance(0.08);
    double later = 0.0;
    double of_table = 0.0;
    EXPECT_EQ(slow2d("prem", 600.0, 0.0, 0.08, &later, &of_table), 0);
    EXPECT_EQ(later, first) << "of the first call's model and depth";
    ASSERT_EQ(calculator.asked.size(), 18000u);
    EXPECT_EQ(calculator.asked.front(), 0.01);
    EXPECT_NEAR(calculator.asked.back(), 180.0, 1e-6);
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
        SCOPED_TRACE(c.name);
        double of_table = 0.0;
        const double found = distance(c.slowness, &of_table);
        EXPECT_NEAR(found, c.distance, c.tolerance);
        EXPECT_NEAR(of_table, c.distance < 0.0 ? -1.0 : c.slowness, 1e-4);
        // Nothing lies between what was asked for.
        EXPECT_TRUE(found < 0.0 ||
                    std::count(calculator.asked.begin(), calculator.asked.end(), found) == 1);
    }
}

TEST_F(Slow2d, AnswersOnOtherEarths) {
    const struct {
        const char* name;
        Earth earth;
        std::vector<std::pair<double, double>> answers;  // slowness and distance
    } cases[] = {
        {"the last of equal core entries",
         [](double d) -> std::vector<Arrival> {
             if (d < 90.0) return {{"P", 0.05}};
             if (d < 100.0) return {{"PKiKP", 0.02}};
             return {{"PKPdf", 0.01}};
         },
         {{0.05, 0.01}, {0.02, 99.99}, {0.01, 180.0}}},
        {"P falls from 0.0625 to 0.05 at once: a ten-thousandth is accepted and no more",
         [](double d) {
             return std::vector<Arrival>{{"P", d < 40.0 ? 0.0625 : 0.05}};
         },
         {{0.05 + 0.00009, 40.0}, {0.05 + 0.00011, -1.0}, {0.056, -1.0}}},
        {"the PKiKP bound is tested before the PKPdf range",
         [](double d) -> std::vector<Arrival> {
             if (d < 90.0) return {{"P", 0.05}};
             if (d < 100.0) return {{"PKiKP", 0.005}};
             return {{"PKPdf", 0.02 * (180.0 - d) / 80.0}};
         },
         {{0.01, -1.0}, {0.0040001, 163.99}}},
        {"a phase that never occurs",
         [](double) {
             return std::vector<Arrival>{{"S", 0.0}, {"Pg", 0.0}, {"PcP", 0.0}};
         },
         {{-0.00005, -1.0}, {0.0, -1.0}, {0.00005, -1.0}}},
        {"a single Pn entry within the P range is met by a P query",
         [](double d) {
             const bool single = d > 39.995 && d < 40.005;
             return std::vector<Arrival>{{single ? "Pn" : "P", 0.1 - 0.001 * d}};
         },
         {{0.0600001, 40.0}}},
    };
    for (const auto& c : cases) {
        use(c.earth);
        for (const auto& [slowness, want] : c.answers)
            EXPECT_NEAR(distance(slowness), want, 1e-6) << c.name << ", " << slowness;
    }
}

TEST_F(Slow2d, ACallAfterAFailureStartsFromNothing) {
    double found = 0.0;
    double of_table = 0.0;
    velorix_test::LastLine line;
    {
        const velorix_test::FailingAllocations failing(1);
        EXPECT_EQ(slow2d("ak135", 33.0, 1.5, 0.08, &found, &of_table), -1);
    }
    EXPECT_STREQ(line.text, "malloc error.\n");
    EXPECT_EQ(line.flag, 1);
    EXPECT_TRUE(calculator.asked.empty());

    line.text[0] = '\0';
    calculator.fail_at = 9000;
    EXPECT_EQ(slow2d("ak135", 33.0, 1.5, 0.08, &found, &of_table), -1);
    EXPECT_STREQ(line.text, "") << "the calculator has said it";
    answer_from(plain_earth);
    EXPECT_NEAR(distance(0.01995), 110.0, 0.0101) << "beyond the request that failed";
    EXPECT_EQ(calculator.asked.size(), 18000u);
}

}  // namespace
