#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

#include "platform/ttcalc/calculator.h"
#include "platform/ttcalc/earth_model.h"
#include "platform/ttcalc/model_files.h"
#include "support/environment.h"
#include "support/temp_file.h"
#include "tests/platform/ttcalc_helpers.h"

namespace {

using namespace velorix_test;
using namespace velorix::tt;
using testing::HasSubstr;

constexpr ModelFormat kTvel = ModelFormat::kTvel;
constexpr ModelFormat kNd = ModelFormat::kNamedDiscontinuities;

TEST(ModelFile, FaultsNameFileAndLine) {
    struct Case {
        const char* text;
        const char* message;
        ModelFormat format = kTvel;
    };
    const Case cases[] = {
        {"", "m: no velocity rows"},
        {"\n\n\n", "m: no velocity rows"},
        {"one\ntwo\n", "m: no velocity rows"},
        {"a\nb\n0 6 3 2\n20 6 3 2\n10 7 4 3\n", "m:5: depth decreases"},
        {"a\nb\n10 6 3 2\n", "m:3: the first row must be at the surface"},
        {"0 6 3 2\n10 -6 3 2\n", "m:2: the P velocity must be greater than zero"},
        {"0 0 0 2\n", "m:1: the P velocity must be greater than zero"},
        {"0 6 -3 2\n", "m:1: the S velocity must not be negative"},
        {"0 3 6 2\n", "m:1: the S velocity must be below the P velocity"},
        {"a\nb\n0 6 3 2\n10 6\n",
         "m:4: a row needs depth, vp, vs and density, this one has 2 columns"},
        {"0\n", "has 1 column"},
        {"0 6 x 2\n", "m:1: 'x' is not a number"},
        {"0 6 3 2\nend\n", "m:2"},
        {"a\nb\n0 6 3 2\nend\n", "m:4: 'end' is not a depth"},
        {"0 6 nan 2\n", "m:1: 'nan' is not a number"},
        {"0 6 1e999 2\n", "m:1: '1e999' is not a number"},
        {"0 6 3 2\n5 6 3 2\n5 7 4 2\n5 8 4 2\n", "m:4: a depth may be given at most twice"},
        {"0 6 3 2\n6400 6 3 2\n", "m:2: depth beyond the centre"},
        {"mantle\n0 6 3 2\n", "m:1: 'mantle' stands before the first row", kNd},
        {"0 6 3 2\ncrust\n", "m:2: 'crust' is neither a number nor mantle", kNd},
        {"0 6 3 2\r\n10 6,5 3 2\r\n", "m:2: '6,5' is not a number"},
    };
    for (const Case& test : cases) {
        EarthModel model;
        std::string error;
        EXPECT_FALSE(parse_model(test.text, test.format, "m", model, error)) << test.text;
        EXPECT_THAT(error, HasSubstr(test.message));
        EXPECT_TRUE(model.points.empty());
    }
}

TEST(ModelFile, BoundariesAreFoundInEveryBuiltInModel) {
    struct Case {
        const char* name;
        double conrad, moho, transition, cmb, icb;
    };
    const Case cases[] = {{"iasp91", 20, 35, 410, 2889, 5153.9},
                          {"ak135", 20, 35, 410, 2891.5, 5153.5},
                          {"prem", 15, 24.4, 400, 2891, 5149.5}};
    for (const Case& test : cases) {
        EarthModel model;
        std::string error;
        ASSERT_TRUE(load_model(test.name, model, error)) << error;
        EXPECT_EQ(model.conrad, test.conrad) << test.name;
        EXPECT_EQ(model.moho, test.moho) << test.name;
        EXPECT_EQ(model.transition, test.transition) << test.name;
        EXPECT_NEAR(model.cmb, test.cmb, 1e-9) << test.name;
        EXPECT_NEAR(model.icb, test.icb, 1e-9) << test.name;
    }
}

// The same rows as .tvel and, with Q columns and named discontinuities, as .nd.
TEST(ModelFile, NamedDiscontinuitiesReadLikeATvelTable) {
    const TempFolder folder;
    std::ifstream prem(VELORIX_SOURCE_DIR "/platform/ttcalc/models/prem.tvel");
    std::string nd, line, last_depth;
    while (std::getline(prem, line)) {
        if (line.starts_with("#")) continue;
        const std::string depth = line.substr(0, line.find_first_of(" \t"));
        if (depth == last_depth && depth == "24.40") nd += "mantle\n";
        if (depth == last_depth && depth == "2891.00") nd += "outer-core\n";
        if (depth == last_depth && depth == "5149.50") nd += "inner-core\n";
        nd += line + " 1456.0 600.0\n";
        last_depth = depth;
    }
    folder.write("named.nd", nd);
    const std::string path = folder.path().string();
    const ScopedEnvironment models("VELORIX_MODELPATH", ("/nonexistent:" + path).c_str());
    Calculator calculator;
    for (const double distance : {1.0, 30.0, 120.0, 150.0}) {
        const auto expected = calculator.arrivals("prem", 10.0, 0.0, distance);
        for (const char* name : {"named.nd", "named"}) {
            const auto found = calculator.arrivals(name, 10.0, 0.0, distance);
            ASSERT_EQ(found.size(), expected.size());
            for (size_t i = 0; i < found.size(); ++i) {
                EXPECT_EQ(found[i].value, expected[i].value);
                EXPECT_STREQ(found[i].phase, expected[i].phase);
            }
        }
    }
}

TEST(ModelFile, PathsThatAreNoModelFileFail) {
    const TempFolder folder;
    EarthModel model;
    std::string error;
    EXPECT_FALSE(load_model(folder.path().string(), model, error));
    EXPECT_THAT(error, HasSubstr("unknown model"));
    EXPECT_FALSE(load_model("/dev/zero", model, error));
    EXPECT_THAT(error, HasSubstr("/dev/zero: not a regular file"));
    const std::string large = folder.write("large.tvel", std::string(5 << 20, '#'));
    EXPECT_FALSE(load_model(large, model, error));
    EXPECT_THAT(error, HasSubstr("too large"));
}

// A model of the crust only: its deepest velocity goes on to the centre, no core phases.
TEST(RegionalModel, ContinuesItsDeepestVelocity) {
    const TempFile file(
        "crust\nonly\n0 5.5 3.2 2.6\n20 6.2 3.6 2.7\n20 6.8 3.9 2.9\n40 8.0 4.5 3.3\n",
        "crust.tvel");
    Calculator calculator;
    for (const double distance : {0.5, 20.0, 100.0, 180.0}) {
        const auto all = calculator.arrivals(file.path(), 5.0, 0.0, distance);
        ASSERT_FALSE(all.empty());
        for (const TTTime& time : all) {
            EXPECT_EQ(std::string(time.phase).find('K'), std::string::npos) << time.phase;
            EXPECT_EQ(std::string(time.phase).find("diff"), std::string::npos) << time.phase;
        }
    }
    const auto through = calculator.arrivals(file.path(), 0.0, 0.0, 180.0, "P");
    const double crust = 20.0 * std::log(6.2 / 5.5) / 0.7 + 20.0 * std::log(8.0 / 6.8) / 1.2;
    EXPECT_NEAR(through.at(0).value, 2.0 * (crust + 6331.0 / 8.0), 1e-5);
}

// An ocean carries no S: none to a receiver in or above it, S to one on its floor.
TEST(RegionalModel, FluidTopCarriesNoS) {
    const TempFile file("0 1.5 0 1.0\n4 1.5 0 1.0\n4 6 3.5 2.7\n30 8 4.5 3.3\n", "ocean.tvel");
    Calculator calculator;
    for (const double z : {-1.0, 0.0, 2.0}) {
        const auto all = calculator.arrivals(file.path(), 10.0, z, 1.0);
        EXPECT_FALSE(family(all, 'P').empty());
        EXPECT_TRUE(family(all, 'S').empty());
    }
    EXPECT_FALSE(family(calculator.arrivals(file.path(), 10.0, 4.0, 1.0), 'S').empty());
}

// Any table that the reader accepts can be asked anything.
TEST(RegionalModel, WildModelsGiveSaneTimes) {
    constexpr unsigned kSeed = 1999;
    std::mt19937_64 generator(kSeed);
    const auto random = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator);
    };
    for (int n = 0; n < (VELORIX_SANITIZED ? 2 : 6); ++n) {
        std::string text;
        double depth = 0.0;
        for (int row = 0; row < 12 && depth < 6371.0; ++row) {
            const double vp = std::exp(random(-1.0, 3.0));
            std::ostringstream line;
            line << depth << " " << vp << " " << (random(0, 1) < 0.2 ? 0.0 : vp * random(0.1, 0.9))
                 << " 3\n";
            text += line.str();
            if (row > 0 && random(0, 1) < 0.7) depth += std::exp(random(-6.0, 7.0));
            if (row == 0) depth += 1e-5;
        }
        EarthModel model;
        std::string error;
        if (!parse_model(text, kTvel, "wild", model, error)) continue;
        OpenModel open(model);
        std::vector<Arrival> found;
        for (int i = 0; i < 300; ++i) {
            const double a = kEarthRadius - random(-10.0, open.deepest());
            const double b =
                i % 3 ? kEarthRadius + random(0.0, 3.0) * (i % 2) : kEarthRadius - random(0, 12);
            if (std::min(a, b) < kEarthRadius - open.deepest()) continue;
            open.arrivals(std::min(a, b), std::max(a, b), random(0.0, 3.14159), true, true, found);
            for (const Arrival& arrival : found) {
                ASSERT_TRUE(arrival.t >= 0.0 && arrival.t < 1e5) << arrival.t << "\n" << text;
                ASSERT_TRUE(std::isfinite(arrival.p));
            }
        }
    }
}

}  // namespace
