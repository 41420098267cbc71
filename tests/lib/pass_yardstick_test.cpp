// The travel-time pass against the literal one: every byte, at any number of threads.
#include "support/pass_yardstick.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <random>

#include "support/environment.h"
#include "support/log_capture.h"
#include "support/temp_file.h"

namespace {

using velorix_test::PassGrid;

class Random {
  public:
    explicit Random(unsigned seed) : generator_(seed) {}
    double between(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator_);
    }
    bool chance(double share) { return between(0.0, 1.0) < share; }
    size_t below(size_t n) { return static_cast<size_t>(between(0.0, static_cast<double>(n))); }

  private:
    std::mt19937_64 generator_;
};

// A model with a random part of its rows left out.
std::string thinned(const std::string& path, Random& random) {
    std::ifstream file(path);
    std::string text, line;
    for (int row = 0; std::getline(file, line); ++row) {
        if (row < 3 || random.chance(0.75)) text += line + "\n";
    }
    return text;
}

/// Models by name, some of them files that live as long as this.
class Models {
  public:
    explicit Models(Random& random) {
        names_ = {"iasp91", "ak135", "prem",
                  std::string(VELORIX_TEST_DATA) + "/traveltimes/lvz_test.tvel",
                  std::string(VELORIX_TEST_DATA) + "/traveltimes/italy2016.tvel"};
        for (const char* base : {"iasp91", "prem"}) {
            files_.push_back(std::make_unique<velorix_test::TempFile>(
                thinned(VELORIX_SOURCE_DIR "/platform/ttcalc/models/" + std::string(base) + ".tvel",
                        random),
                std::string(base) + ".tvel"));
            names_.push_back(files_.back()->path());
        }
        // Velocity falls with depth: beyond some distance nothing but S of the core's shadow, or
        // nothing at all, arrives.
        files_.push_back(std::make_unique<velorix_test::TempFile>(
            "a\nb\n0 6.0 3.5 2.7\n40 5.0 2.9 2.7\n300 5.1 3.0 2.7\n", "slow.tvel"));
        names_.push_back(files_.back()->path());
    }
    const std::string& any(Random& random) const { return names_[random.below(names_.size())]; }

  private:
    std::vector<std::string> names_;
    std::vector<std::unique_ptr<velorix_test::TempFile>> files_;
};

double any_elevation(int kind, Random& random) {
    if (kind == 0) return 0.0;
    if (kind == 1) return 0.1 * std::floor(random.between(-3.0, 30.0));
    if (kind == 2) return random.between(0.0, 9.9);
    return random.between(0.0, 2.0);
}

void lay_out(PassGrid& grid, Random& random, size_t pairs) {
    const size_t ns = 1 + random.below(60), nodes = std::max<size_t>(1, pairs / ns);
    const double span = random.chance(0.5) ? 180.0 : random.between(0.3, 30.0);
    const int elevations = static_cast<int>(random.below(4));
    const auto lat = [&] { return random.between(-0.5, 0.5) * span; };
    const auto lon = [&] { return random.between(-1.0, 1.0) * span; };
    for (size_t i = 0; i < ns; ++i) {
        Station station{};
        station.lat = lat();
        station.lon = lon();
        station.elev = any_elevation(elevations, random);
        grid.stations.push_back(station);
    }
    const double choice[] = {0.0, 0.0005, 3.0, 10.0, 33.0, 35.0, 120.0, 410.0, 655.0, -1.5};
    std::vector<double> depths;
    for (size_t i = 0; i < 1 + random.below(2); ++i) depths.push_back(choice[random.below(10)]);
    const bool regular = random.chance(0.5);
    if (regular) grid.depths = depths;
    for (size_t n = 0; n < std::max<size_t>(1, regular ? nodes / depths.size() : nodes); ++n) {
        const double depth =
            random.chance(0.02) ? random.between(0.0, 700.0) : depths[random.below(depths.size())];
        grid.sources.push_back({lat(), lon(), depth});
        // Coincident, antipodal, and where diffraction ends.
        if (random.chance(0.05)) grid.sources.back().lat = grid.stations[0].lat;
        if (random.chance(0.05)) grid.sources.back().lon = grid.stations[0].lon;
        if (random.chance(0.02))
            grid.sources.back() = {-grid.stations[0].lat, grid.stations[0].lon + 180.0, depth};
        if (random.chance(0.02)) grid.sources.back() = {0.0, grid.stations[0].lon + 102.0, depth};
    }
}

// One entry that ttcalc refuses.
void spoil(PassGrid& grid, Random& random) {
    Source& source = grid.sources[random.below(grid.sources.size())];
    switch (random.below(3)) {
        case 0:
            source.lat = std::nan("");
            break;
        case 1:
            grid.stations[random.below(grid.stations.size())].elev = 10.5;
            break;
        default:
            (grid.depths.empty() ? source.depth : grid.depths.back()) = 4000.0;
    }
}

bool same_bytes(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() &&
           (a.empty() || !memcmp(a.data(), b.data(), a.size() * sizeof(float)));
}

int64_t reports = 0;
void count_reports(const char*, int, double, double, double, double) { ++reports; }

TEST(PassYardstick, SameBytesAsTheLiteralPass) {
    Random random(20260715);
    const Models models(random);
    Hook* hook = nullptr;
    int failed = 0, threaded = 0;
    for (int g = 0; g < 500; ++g) {
        SCOPED_TRACE("grid " + std::to_string(g));
        // The larger ones are split among threads.
        const bool large = g % 50 == 0;
        PassGrid grid;
        lay_out(grid, random, large ? 52000 : 1500);
        if (random.chance(0.25)) spoil(grid, random);
        const std::string& model = models.any(random);
        const int families = static_cast<int>(random.below(3));
        const bool distances = random.chance(0.5);
        grid.finish(model, families != 1, families != 0, distances, -7.0F);
        const velorix_test::LogCapture log;
        const int64_t filled = velorix_test::literal_pass(grid.record, &hook);
        const std::vector<float> p = grid.p, s = grid.s, d = grid.distances;
        const int64_t entries = int64_t{grid.record.ns} * grid.record.nn;
        const size_t lines = log.count();
        const std::string threads = std::to_string(1 + random.below(8));
        const velorix_test::ScopedEnvironment environment("VELORIX_THREADS", threads.c_str());
        grid.finish(model, families != 1, families != 0, distances, -7.0F);
        reports = 0;
        const int status = velorix_compute_travel_times(&grid.record, count_reports);
        EXPECT_EQ(status, filled == entries ? 0 : -1);
        EXPECT_EQ(reports, filled / grid.record.ns);
        EXPECT_TRUE(same_bytes(grid.p, p)) << model << ", " << threads << " threads";
        EXPECT_TRUE(same_bytes(grid.s, s)) << model << ", " << threads << " threads";
        EXPECT_TRUE(same_bytes(grid.distances, d)) << model << ", " << threads << " threads";
        // The calculator's line, if it has one, is said once; the pass says one of its own.
        EXPECT_EQ(log.count() - lines, status == 0 ? 0 : lines + 1);
        if (lines > 0) {
            EXPECT_EQ(log.messages()[lines], log.messages()[0]);
        }
        failed += status != 0;
        threaded += large && threads != "1";
        if (HasFailure()) break;
    }
    freehook(&hook);
    EXPECT_GT(failed, 50);
    EXPECT_LT(failed, 400);
    EXPECT_GT(threaded, 5);
}

TEST(PassYardstick, RefusesAnOddNumberOfThreads) {
    PassGrid grid;
    Random random(1);
    lay_out(grid, random, 100);
    grid.finish("iasp91", true, false, false, 0.0F);
    for (const char* text : {"0", "-1", "4097", "two", "2 ", "1e1", "99999999999"}) {
        const velorix_test::ScopedEnvironment environment("VELORIX_THREADS", text);
        const velorix_test::LogCapture log;
        EXPECT_EQ(velorix_compute_travel_times(&grid.record, nullptr), -1) << text;
        EXPECT_EQ(log.text(), "pmtcomp_threads: VELORIX_THREADS is '" + std::string(text) +
                                  "', expected 1 to 4096.\n");
    }
    const velorix_test::ScopedEnvironment environment("VELORIX_THREADS", "");
    EXPECT_EQ(velorix_compute_travel_times(&grid.record, nullptr), 0) << "as if it were not set";
}

TEST(FirstOfMany, GivesDerivativesAndNanWhereNothingArrives) {
    const double distances[] = {0.5, 20.0, 95.0, 150.0, 210.0, std::nan("")};
    const double elevations[] = {0.0, 1.0, 0.0, 2.5, 2.5, 0.0};
    TTReceivers* receivers = ttreceivers_new(6, distances, nullptr, elevations);
    ASSERT_NE(receivers, nullptr);
    Hook* hook = nullptr;
    double t[6], by_distance[6], by_depth[6];
    TTFirst p{t, by_distance, by_depth};
    const TTPoint source{0.0, 0.0, 100.0, 0.0, ""};
    for (int k = 0; k < 2000; ++k)  // beyond the time when a table is made
        ASSERT_EQ(ttfirst("tttaup", "iasp91", &source, receivers, &p, nullptr, nullptr, &hook), 0);
    for (size_t i = 0; i < 4; ++i) {
        const TTGeometry geometry{source, {0.0, distances[i], -elevations[i], 0.0, ""}};
        Tbl* list = nullptr;
        ASSERT_GT(ttcalc("tttaup", "iasp91", "P,S", 0, &geometry, &list, &hook), 0);
        const TTTime* first = nullptr;
        for (int k = 0; !first; ++k) {
            const auto* arrival = static_cast<const TTTime*>(gettbl(list, k));
            if (velorix::qualifies_as_P(arrival->phase, distances[i])) first = arrival;
        }
        EXPECT_NEAR(t[i], first->value, TTFIRST_TIME_ERROR) << distances[i];
        EXPECT_NEAR(by_distance[i], first->deriv[0], 1e-9) << distances[i];
        EXPECT_NEAR(by_depth[i], first->deriv[1], 1e-9) << distances[i];
    }
    EXPECT_NEAR(t[4], t[3], TTFIRST_TIME_ERROR) << "210 degrees are 150 the other way round";
    EXPECT_TRUE(std::isnan(t[5]));
    ttreceivers_free(receivers);
    freehook(&hook);
}

}  // namespace
