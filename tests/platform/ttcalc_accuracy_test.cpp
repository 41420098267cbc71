#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <random>
#include <sstream>

#include "platform/ttcalc/model_files.h"
#include "support/environment.h"
#include "support/temp_file.h"
#include "tests/platform/ttcalc_exact.h"
#include "tests/platform/ttcalc_helpers.h"
#include "tools/accuracy/reference.h"

namespace {

using namespace velorix_test;
namespace tt = velorix::tt;

const std::string kData = VELORIX_TEST_DATA "/traveltimes";
constexpr double kRadius = 6371.0;

class ReferenceTable : public testing::TestWithParam<const char*> {};

TEST_P(ReferenceTable, FirstArrivalsAgree) {
    // Far inside what grids need (0.01 s); the tables themselves are good to 1e-5 s.
    constexpr double kTime = 3e-5, kSlowness = 1e-3, kClearNext = 0.02;
    const ScopedEnvironment path("VELORIX_MODELPATH", kData.c_str());
    std::vector<velorix::accuracy::Row> rows;
    std::string error;
    ASSERT_TRUE(velorix::accuracy::read_table(kData + "/" + GetParam(), rows, error)) << error;
    ASSERT_GT(rows.size(), 100u);
    Calculator calculator;
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(GetParam()) + ":" + std::to_string(row.line));
        velorix::accuracy::FirstArrivals first{};
        ASSERT_TRUE(velorix::accuracy::compute_first(row, first, &calculator.hook));
        EXPECT_NEAR(first.s_time, row.first.s_time, kTime);
        const auto clear = [&](double next) { return next < 0.0 || next > kClearNext; };
        if (clear(row.next_s)) {
            EXPECT_NEAR(first.s_slowness, row.first.s_slowness, kSlowness);
        }
        if (row.edge) continue;
        EXPECT_NEAR(first.p_time, row.first.p_time, kTime);
        if (clear(row.next_p)) {
            EXPECT_NEAR(first.p_slowness, row.first.p_slowness, kSlowness);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Thinned, ReferenceTable,
                         testing::Values("first_arrivals_iasp91.tsv", "first_arrivals_ak135.tsv",
                                         "first_arrivals_lvz_test.tsv", "edge_cases.tsv"));

TEST(TravelTimeAccuracy, ConstantVelocityGivesChords) {
    const TempFile model("0 6.0 3.5 2.7\n", "sphere.tvel");
    Calculator calculator;
    for (const double depth : {0.0, 0.001, 7.5, 33.0, 600.0}) {
        for (const double z : {0.0, 3.0, 12.0, -0.4, -8.8}) {
            for (const double distance : {0.0, 0.01, 0.3, 2.0, 17.0, 60.0, 120.0, 179.0, 180.0}) {
                SCOPED_TRACE(testing::Message() << depth << " " << z << " " << distance);
                const auto all = calculator.arrivals(model.path(), depth, z, distance);
                const double a = kRadius - depth, b = kRadius - z, x = distance * kDegree;
                const double chord =
                    std::sqrt((a - b) * (a - b) + 4.0 * a * b * std::pow(std::sin(x / 2.0), 2));
                const auto p = family(all, 'P'), s = family(all, 'S');
                ASSERT_FALSE(p.empty());
                ASSERT_FALSE(s.empty());
                EXPECT_NEAR(p[0].value, chord / 6.0, 1e-6);
                EXPECT_NEAR(s[0].value, chord / 3.5, 1e-6);
                EXPECT_NEAR(p.back().value, chord / 6.0, 1e-6);
            }
        }
    }
}

// Rays through a crust of constant velocity that turn in a mantle of constant velocity, from the
// surface to a station at height h: straight pieces with a closed form in the ray parameter.
TEST(TravelTimeAccuracy, TwoLayersMatchTheirClosedForm) {
    constexpr double kCrust = 6.0, kMantle = 8.0, kMoho = kRadius - 30.0;
    const TempFile model("0 6 3.4 2.7\n30 6 3.4 2.7\n30 8 4.5 3.3\n", "two.tvel");
    Calculator calculator;
    const double grazing = kMoho / kMantle;
    for (const double height : {0.0, 2.0}) {
        for (const double share : {0.999999, 0.9999, 0.99, 0.9, 0.5, 0.1, 0.0}) {
            const double p = share * grazing;
            const auto s = [p](double eta) { return std::sqrt(eta * eta - p * p); };
            const auto angle = [p](double eta) { return std::acos(p / eta); };
            const double top = kRadius / kCrust, base = kMoho / kCrust;
            const double station = (kRadius + height) / kCrust;
            const double x = angle(top) + angle(station) - 2.0 * angle(base) + 2.0 * angle(grazing);
            const double t = s(top) + s(station) - 2.0 * s(base) + 2.0 * s(grazing);
            double nearest = 1e9;
            for (const TTTime& time :
                 calculator.arrivals(model.path(), 0.0, -height, x / kDegree)) {
                if (std::fabs(time.value - t) < nearest) nearest = std::fabs(time.value - t);
            }
            EXPECT_LT(nearest, 1e-6) << "height " << height << ", p " << p << ", " << x / kDegree;
        }
    }
}

// The table lists the times of a ray-theory program with its own sampling to 1e-4 s.
TEST(TravelTimeAccuracy, RegionalModelAgreesWithItsPublishedTable) {
    std::ifstream table(kData + "/italy2016_check.csv");
    std::string line;
    std::getline(table, line);
    Calculator calculator;
    std::vector<double> p_errors, s_errors;
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        double distance = 0, depth = 0, p_time = 0, s_time = 0;
        char comma = 0;
        ASSERT_TRUE(fields >> distance >> comma >> depth >> comma >> p_time >> comma >> s_time);
        const auto all = calculator.arrivals(kData + "/italy2016.tvel", depth, 0.0, distance);
        ASSERT_FALSE(all.empty());
        p_errors.push_back(std::fabs(family(all, 'P').at(0).value - p_time));
        s_errors.push_back(std::fabs(family(all, 'S').at(0).value - s_time));
    }
    ASSERT_EQ(p_errors.size(), 588u);
    std::sort(p_errors.begin(), p_errors.end());
    std::sort(s_errors.begin(), s_errors.end());
    EXPECT_LT(p_errors.back(), 3e-4);
    EXPECT_LT(p_errors[294], 1e-4);
    EXPECT_LT(s_errors.back(), 2.5e-3);
    EXPECT_LT(s_errors[294], 6e-4);
}

struct ExactCase {
    const char* model;
    double depth_low, depth_high, z_low, z_high;
};

class AgainstShotRays : public testing::TestWithParam<ExactCase> {};

// Every arrival of rays shot one by one is in the answer, and nothing else.
TEST_P(AgainstShotRays, AllArrivalsAreFound) {
    constexpr unsigned kSeed = 20160824;
    constexpr double kTime = 5e-5, kSlowness = 1e-3;
    const ExactCase& test = GetParam();
    const ScopedEnvironment path("VELORIX_MODELPATH", kData.c_str());
    tt::EarthModel model;
    std::string error;
    ASSERT_TRUE(tt::load_model(test.model, model, error)) << error;
    const tt::RayTable tables[2] = {{model, tt::Family::kP}, {model, tt::Family::kS}};
    std::mt19937_64 generator(kSeed);
    const auto random = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator);
    };
    Calculator calculator;
    for (int pair = 0; pair < 6; ++pair) {
        const double depth = random(test.depth_low, test.depth_high);
        const double z = random(test.z_low, test.z_high);
        const double low = kRadius - std::max(depth, z), high = kRadius - std::min(depth, z);
        const RayShooter shooters[2] = {{tables[0], model, low, high},
                                        {tables[1], model, low, high}};
        // The first answers are single searches, the later ones come from prepared curves.
        for (int i = 0; i < 16; ++i) {
            const double distance = i % 2 == 0 ? random(0.0, 180.0) : random(0.0, 30.0);
            SCOPED_TRACE(testing::Message() << test.model << " depth " << depth << " z " << z
                                            << " distance " << distance << ", seed " << kSeed);
            const auto answer = calculator.arrivals(test.model, depth, z, distance);
            for (int f = 0; f < 2; ++f) {
                std::vector<TTTime> left = family(answer, f == 0 ? 'P' : 'S');
                for (const ExactArrival& exact : shooters[f].arrivals(distance * kDegree)) {
                    const auto match = std::find_if(left.begin(), left.end(), [&](const TTTime& t) {
                        return std::fabs(t.value - exact.t) < kTime &&
                               std::fabs(std::fabs(t.deriv[0]) - exact.p * kDegree) < kSlowness;
                    });
                    if (match != left.end()) {
                        left.erase(match);
                    } else {
                        EXPECT_TRUE(exact.near_caustic) << "missing: " << exact.t;
                    }
                }
                EXPECT_TRUE(left.empty()) << "not a ray: " << left[0].phase << " " << left[0].value;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Random, AgainstShotRays,
                         testing::Values(ExactCase{"iasp91", 0.0, 800.0, 0.0, 0.0},
                                         ExactCase{"iasp91", 0.0, 40.0, -10.0, 0.0},
                                         ExactCase{"ak135", 0.0, 700.0, -3.0, 12.0},
                                         ExactCase{"ak135", 800.0, 2891.0, 0.0, 0.0},
                                         ExactCase{"prem", 14.99, 15.01, 0.0, 0.0},
                                         ExactCase{"prem", 0.0, 30.0, 0.0, 30.0},
                                         ExactCase{"lvz_test", 5.0, 25.0, 0.0, 25.0},
                                         ExactCase{"lvz_test", 100.0, 250.0, -1.0, 1.0},
                                         ExactCase{"iasp91", -10.0, 0.0, -10.0, 0.0}));

}  // namespace
