#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <set>

#include "support/environment.h"
#include "support/fail_each_allocation.h"
#include "support/log_capture.h"
#include "support/temp_file.h"
#include "tests/platform/ttcalc_helpers.h"

namespace {

using namespace velorix_test;
using testing::HasSubstr;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

const TTTime* find(const std::vector<TTTime>& arrivals, const std::string& phase) {
    for (const TTTime& time : arrivals) {
        if (phase == time.phase) return &time;
    }
    return nullptr;
}

TEST(TravelTimes, AnswersAreSortedFiniteAndOfTheAskedFamilies) {
    Calculator calculator;
    for (const char* model : {"iasp91", "ak135", "prem"}) {
        for (const double depth : {0.0, 0.001, 35.0, 410.0, 799.9}) {
            for (const double z : {-10.0, 0.0, 12.0}) {
                for (double distance = 0.0; distance <= 180.0; distance += 7.5) {
                    SCOPED_TRACE(testing::Message()
                                 << model << " " << depth << " " << z << " " << distance);
                    const auto all = calculator.arrivals(model, depth, z, distance);
                    ASSERT_FALSE(all.empty());
                    double latest = 0.0;
                    for (const TTTime& time : all) {
                        EXPECT_GE(time.value, latest);
                        EXPECT_TRUE(std::isfinite(time.deriv[0]) && std::isfinite(time.deriv[1]));
                        EXPECT_EQ(time.deriv[2], 0.0);
                        latest = time.value;
                    }
                    EXPECT_TRUE(std::isfinite(latest));
                    const auto only_s = calculator.arrivals(model, depth, z, distance, "S");
                    EXPECT_EQ(family(only_s, 'S').size(), only_s.size());
                    EXPECT_EQ(family(all, 'S').size(), only_s.size());
                }
            }
        }
    }
}

// Names by turning depth; a ray that leaves upward is named after a crustal source's layer.
TEST(TravelTimes, PhasesAreNamedByWhereTheyTurn) {
    struct Case {
        double depth, distance;
        std::vector<std::string> present, absent;
    };
    const Case cases[] = {
        {0.0, 0.5, {"Pg", "Sg", "PKiKP", "SKiKS"}, {"p", "Pn", "P", "Pdiff"}},
        {10.0, 0.05, {"Pg", "Sg"}, {"p", "s"}},
        {30.0, 0.2, {"Pb", "Sb"}, {"Pg", "p"}},
        {0.0, 3.0, {"Pg", "Pb", "Pn", "Sn"}, {"P"}},
        {100.0, 0.5, {"p", "s"}, {"Pn", "Pg"}},
        {0.0, 60.0, {"P", "S", "PKiKP"}, {"Pn", "Pdiff", "PKPdf"}},
        {0.0, 110.0, {"Pdiff", "PKiKP", "Sdiff", "SKS", "SKiKS"}, {"P", "S", "PKPbc"}},
        {0.0, 150.0, {"PKPdf", "PKPbc", "PKPab", "PKiKP", "SKIKS"}, {"P", "S"}},
        {0.0, 175.0, {"PKPdf", "PKPab", "SKIKS", "Pdiff"}, {"PKPbc", "PKiKP"}},
    };
    Calculator calculator;
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << test.depth << " km " << test.distance << " deg");
        const auto all = calculator.arrivals("iasp91", test.depth, 0.0, test.distance);
        for (const std::string& name : test.present) EXPECT_TRUE(find(all, name)) << name;
        for (const std::string& name : test.absent) EXPECT_FALSE(find(all, name)) << name;
    }
}

// Two triplications (410 and 660 km): the direct P branches overlap.
TEST(TravelTimes, TriplicationsGiveAllTheirArrivals) {
    Calculator calculator;
    int most = 0;
    for (double distance = 15.0; distance < 24.0; distance += 0.05) {
        int direct = 0;
        for (const TTTime& time : calculator.arrivals("iasp91", 0.0, 0.0, distance, "P")) {
            const std::string name = time.phase;
            direct += name == "P" || name == "Pn";
        }
        most = std::max(most, direct);
    }
    EXPECT_GE(most, 5);
}

TEST(TravelTimes, SlownessAndDepthDerivativeAreThoseOfTheTimes) {
    Calculator calculator;
    for (const auto& [at_depth, at_distance] :
         {std::pair{8.0, 40.0}, {300.0, 2.0}, {300.0, 75.0}, {50.0, 150.0}}) {
        const double depth = at_depth, distance = at_distance, step = 0.005;
        const auto at = calculator.arrivals("ak135", depth, 0.0, distance);
        const auto difference = [&](char letter, double deeper, double farther) {
            const auto plus = calculator.arrivals("ak135", depth + deeper, 0.0, distance + farther);
            const auto minus =
                calculator.arrivals("ak135", depth - deeper, 0.0, distance - farther);
            return (family(plus, letter).at(0).value - family(minus, letter).at(0).value) /
                   (2.0 * step);
        };
        for (const char letter : {'P', 'S'}) {
            const TTTime first = family(at, letter).at(0);
            EXPECT_NEAR(difference(letter, 0.0, step), first.deriv[0], 1e-3) << first.phase;
            EXPECT_NEAR(difference(letter, step, 0.0), first.deriv[1], 1e-3) << first.phase;
        }
    }
}

TEST(TravelTimes, ExchangedEndsGiveTheSameTimes) {
    Calculator calculator;
    for (const auto& [a, b] : {std::pair{12.0, 3.0}, {300.0, 40.0}, {20.0, -2.0}, {-1.0, -3.0}}) {
        for (const double distance : {0.0, 0.2, 5.0, 60.0, 170.0}) {
            const auto one = calculator.arrivals("iasp91", a, b, distance);
            const auto other = calculator.arrivals("iasp91", b, a, distance);
            ASSERT_EQ(one.size(), other.size());
            for (size_t i = 0; i < one.size(); ++i) EXPECT_EQ(one[i].value, other[i].value);
        }
    }
}

TEST(TravelTimes, SourceAtTheReceiverArrivesAtOnce) {
    Calculator calculator;
    const std::string data = VELORIX_TEST_DATA "/traveltimes";
    // 130 km in lvz_test lies where a horizontal ray leaves downward and never comes back.
    for (const auto& [model, z] : {std::pair{std::string("iasp91"), 0.0},
                                   {std::string("prem"), 12.0},
                                   {std::string("ak135"), -2.0},
                                   {data + "/lvz_test.tvel", 130.0}}) {
        const auto all = calculator.arrivals(model, z, z, 0.0);
        ASSERT_FALSE(family(all, 'P').empty()) << model;
        EXPECT_NEAR(family(all, 'P')[0].value, 0.0, 1e-9) << model;
        EXPECT_NEAR(family(all, 'S').at(0).value, 0.0, 1e-9) << model;
    }
}

// First arrivals from 1 m above, at and 1 m below every discontinuity, and within rounding noise.
TEST(TravelTimes, DepthsBesideADiscontinuityAgree) {
    Calculator calculator;
    for (const double depth : {20.0, 35.0, 210.0, 410.0, 660.0}) {
        for (const double distance : {0.5, 3.0, 11.0, 18.0, 45.0, 160.0}) {
            const auto at = calculator.arrivals("iasp91", depth, 0.0, distance);
            for (const double offset : {-1e-3, -1e-9, 1e-13, 1e-9, 1e-3}) {
                const auto beside = calculator.arrivals("iasp91", depth + offset, 0.0, distance);
                for (const char letter : {'P', 'S'}) {
                    EXPECT_NEAR(family(at, letter).at(0).value, family(beside, letter).at(0).value,
                                1e-3)
                        << depth << offset << " " << distance << letter;
                }
            }
        }
    }
}

// The lid above a low-velocity zone: between the last ray through the lid and the first from below
// there is no wave that travels along its base.
TEST(TravelTimes, ShadowsHoldOnlyLateCorePhases) {
    const ScopedEnvironment path("VELORIX_MODELPATH", VELORIX_TEST_DATA "/traveltimes");
    Calculator calculator;
    const auto shadow = calculator.arrivals("lvz_test", 0.0, 0.0, 0.575, "P");
    ASSERT_FALSE(shadow.empty());
    EXPECT_STREQ(shadow[0].phase, "PKiKP");
    EXPECT_GT(shadow[0].value, 900.0);
}

TEST(TravelTimes, RepeatedAndSingleAnswersAreIdentical) {
    Calculator busy;
    for (int i = 0; i < 50; ++i) busy.arrivals("iasp91", 77.7, 0.0, 1.0 + i);
    for (const double z : {0.0, -1.7}) {
        for (const double distance : {0.0, 0.3, 19.3, 66.6, 144.4, 180.0}) {
            Calculator fresh;
            const auto one = fresh.arrivals("iasp91", 77.7, z, distance);
            const auto other = busy.arrivals("iasp91", 77.7, z, distance);
            ASSERT_EQ(one.size(), other.size()) << distance;
            for (size_t i = 0; i < one.size(); ++i) {
                EXPECT_EQ(one[i].value, other[i].value);
                EXPECT_STREQ(one[i].phase, other[i].phase);
            }
        }
    }
}

TEST(TravelTimes, DistanceFollowsTheSphereAcrossPoleAndDateLine) {
    Calculator calculator;
    const auto expected = calculator.arrivals("prem", 33.0, 0.0, 20.0);
    TTGeometry cases[3] = {};
    cases[0].source.lat = 80.0, cases[0].receiver = {80.0, 180.0, 0, 0, ""};
    cases[1].source.lon = 170.0, cases[1].receiver = {0.0, -170.0, 0, 0, ""};
    cases[2].source.lon = -100.0, cases[2].receiver = {0.0, 240.0, 0, 0, ""};
    for (TTGeometry& geometry : cases) {
        geometry.source.z = 33.0;
        Tbl* times = nullptr;
        ASSERT_EQ(ttcalc("tttaup", "prem", "P,S", 0, &geometry, &times, &calculator.hook),
                  static_cast<int>(expected.size()));
        const auto* first = static_cast<const TTTime*>(gettbl(times, 0));
        EXPECT_NEAR(first->value, expected[0].value, 1e-9);
    }
}

TEST(Slownesses, AreHorizontalComponentsInTheDirectionOfPropagation) {
    Calculator calculator;
    struct Case {
        TTPoint source, receiver;
        double east, north;
    };
    const Case cases[] = {{{0, 0, 10, 0, ""}, {0, 30, 0, 0, ""}, 1, 0},
                          {{0, 30, 10, 0, ""}, {0, 0, 0, 0, ""}, -1, 0},
                          {{0, 5, 10, 0, ""}, {30, 5, 0, 0, ""}, 0, 1},
                          {{0, 5, 10, 0, ""}, {-30, 5, 0, 0, ""}, 0, -1}};
    const auto expected = calculator.arrivals("iasp91", 10.0, 0.0, 30.0);
    for (const Case& test : cases) {
        const TTGeometry geometry{test.source, test.receiver};
        Tbl* slows = nullptr;
        const int n = ucalc("tttaup", "iasp91", "P,S", 0, &geometry, &slows, &calculator.hook);
        ASSERT_EQ(n, static_cast<int>(expected.size()));
        for (int i = 0; i < n; ++i) {
            const auto* slow = static_cast<const TTSlow*>(gettbl(slows, i));
            const TTTime& time = expected[static_cast<size_t>(i)];
            const double u = time.deriv[0] / kDegree / 6371.0;
            EXPECT_STREQ(slow->phase, time.phase);
            EXPECT_NEAR(slow->ux, u * test.east, 1e-12);
            EXPECT_NEAR(slow->uy, u * test.north, 1e-12);
        }
    }
}

TEST(Calculator, WarmCallsDoNotAllocate) {
    Calculator calculator;
    TTGeometry geometry{};
    Tbl* times = nullptr;
    geometry.source.z = 33.0;
    const auto sweep = [&] {
        for (int i = 0; i < 3000; ++i) {
            geometry.receiver.lon = 0.06 * i;
            geometry.receiver.z = -0.1 * (i % 20);
            ttcalc("tttaup", "iasp91", "P,S", 0, &geometry, &times, &calculator.hook);
        }
    };
    sweep();
    const long before = allocation_count();
    sweep();
    EXPECT_EQ(allocation_count(), before);
}

TEST(Calculator, MemoryFailuresAreReported) {
    bool succeeded = false;
    for (long n = 1; n < 100000 && !succeeded; n += n < 40 ? 1 : n / 8) {
        Calculator calculator;
        TTGeometry geometry{};
        const LastLine log;
        int result = 0;
        {
            const FailingAllocations failing(n);
            result = calculator.call("prem", geometry);
        }
        succeeded = result > 0;
        if (succeeded) break;
        EXPECT_EQ(result, -1);
        EXPECT_STREQ(log.text, "ttcalc: malloc() error.\n");
    }
    EXPECT_TRUE(succeeded);
}

TEST(Calculator, FailuresSayWhatIsWrong) {
    struct Case {
        const char *method, *model, *phases;
        double depth, z, lat;
        const char* message;
    };
    const Case cases[] = {
        {"taup", "iasp91", "P,S", 0, 0, 0, "unknown method 'taup'"},
        {"tttaup", "iasp92", "P,S", 0, 0, 0, "unknown model 'iasp92'"},
        {"tttaup", "", "P,S", 0, 0, 0, "unknown model ''"},
        {"tttaup", "iasp91", "PcP", 0, 0, 0, "unknown phase list 'PcP'"},
        {"tttaup", "iasp91", "P,S", 2890, 0, 0, "source at 2890 km is below the mantle"},
        {"tttaup", "iasp91", "P,S", kNan, 0, 0, "source's depth is not a number"},
        {"tttaup", "iasp91", "P,S", 0, -10.1, 0, "receiver is 10.1 km above the surface"},
        {"tttaup", "iasp91", "P,S", 0, kNan, 0, "receiver's depth is not a number"},
        {"tttaup", "iasp91", "P,S", 0, 0, kNan, "coordinate is not a number"},
        {"tttaup", "iasp91", "P,S", 0, 0, HUGE_VAL, "coordinate is not a number"},
    };
    for (const Case& test : cases) {
        Calculator calculator;
        TTGeometry geometry{};
        geometry.source.z = test.depth;
        geometry.receiver.z = test.z;
        geometry.receiver.lat = test.lat;
        Tbl* list = nullptr;
        for (const char* caller : {"ttcalc: ", "ucalc: "}) {
            const LogCapture log;
            const auto call = caller[0] == 't' ? ttcalc : ucalc;
            EXPECT_EQ(
                call(test.method, test.model, test.phases, 0, &geometry, &list, &calculator.hook),
                -1);
            EXPECT_THAT(log.text(), HasSubstr(test.message));
            EXPECT_THAT(log.text(), testing::StartsWith(caller));
            EXPECT_EQ(list, nullptr);
        }
    }
}

TEST(Calculator, ModelNamesMayFillTheirFieldWithoutTerminator) {
    const TempFolder folder;
    const std::string stem = folder.path(std::string(63 - folder.path("").size(), 'm'));
    folder.write(stem.substr(folder.path("").size()) + "x", "0 6 3.5 2.7\n");
    char field[65];
    ASSERT_EQ(stem.size() + 1, 64u);
    memcpy(field, (stem + "x!").c_str(), sizeof field);
    Calculator calculator;
    TTGeometry geometry{};
    geometry.receiver.lon = 1.0;
    Tbl* times = nullptr;
    EXPECT_GT(ttcalc("tttaup", field, "P,S", 0, &geometry, &times, &calculator.hook), 0);
}

}  // namespace
