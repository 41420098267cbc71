// The travel-time pass: from stations and nodes to finished tables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <set>
#include <sstream>

#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/temp_file.h"

namespace {

using velorix_test::GridPtr;
using velorix_test::Heap;
using velorix_test::LogCapture;
using velorix_test::parameters;

struct Call {
    int genmode;
    double lat, lon, depth, percent;
};
std::vector<Call> calls;

void record_call(const char* name, int genmode, double lat, double lon, double depth,
                 double percent) {
    EXPECT_STREQ(name, "g");
    calls.push_back({genmode, lat, lon, depth, percent});
}

// Stations on the equator at the given longitudes, elevation in metres.
std::string station_text(const std::vector<double>& longitudes, double elevation = 0.0) {
    std::ostringstream text;
    text.precision(17);
    for (size_t i = 0; i < longitudes.size(); ++i)
        text << "XX|S" << i << "|0|" << longitudes[i] << "|" << elevation << "|x||\n";
    return text.str();
}

// Stations, nodes and tables in one go; the heap keeps the tables.
struct Computed {
    Computed(const std::string& station_file, const std::string& toml,
             int (*build)(Velorix*, const char*, Pf*), velorix_progress callback = nullptr)
        : stations(station_file, "s.txt"), pf(parameters(toml)), grid(velorix_test::new_grid()) {
        calls.clear();
        status = velorix_setup_stations(grid.get(), stations.c_str(), pf.get());
        if (status == 0) status = build(grid.get(), "g", pf.get());
        if (status == 0) heap.pack(grid.get());
        if (status == 0) status = velorix_compute_travel_times(grid.get(), callback);
    }
    velorix_test::TempFile stations;
    velorix_test::PfPtr pf;
    GridPtr grid;
    Heap heap;
    int status;
};

const std::string kBoth = "time='all'\nmethod='tttaup'\ncompute_P=true\ncompute_S=true\n";

std::string file_grid(const std::string& points, const std::string& model) {
    return "coords_file='" + points + "'\nmodel='" + model + "'\ncompute_distances=true\n" + kBoth;
}

struct Row {
    double depth, distance, P, S;
    bool edge;
};

// Rows of a reference table; its header says how it was made.
std::vector<Row> reference(const std::string& model) {
    std::ifstream in(std::string(VELORIX_TEST_DATA) + "/traveltimes/first_arrivals_" + model +
                     ".tsv");
    std::vector<Row> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with('#')) continue;
        std::istringstream fields(line);
        std::string skipped, phase, dt;
        Row row{};
        fields >> skipped >> row.depth >> row.distance >> phase >> row.P >> phase >> row.S >>
            skipped >> skipped >> dt >> dt >> row.edge;
        rows.push_back(row);
    }
    return rows;
}

TEST(Pass, GivesTheReferenceTimesThroughWholeGrids) {
    constexpr double tolerance = 0.01;
    for (const char* model : {"iasp91", "ak135"}) {
        const std::vector<Row> rows = reference(model);
        ASSERT_GT(rows.size(), 100u) << model;
        std::set<double> depth_set, distance_set;
        for (const Row& row : rows) {
            depth_set.insert(row.depth);
            distance_set.insert(row.distance);
        }
        const std::vector<double> depths(depth_set.begin(), depth_set.end());
        const std::vector<double> distances(distance_set.begin(), distance_set.end());
        std::string points;
        for (const double depth : depths) points += "0 0 " + std::to_string(depth) + "\n";
        const velorix_test::TempFile file(points);
        const Computed made(station_text(distances), file_grid(file.path(), model),
                            velorix_setup_readfromfile_grid);
        ASSERT_EQ(made.status, 0);
        for (const Row& row : rows) {
            if (row.edge) continue;
            const auto node = std::distance(depth_set.begin(), depth_set.find(row.depth));
            const auto is = std::distance(distance_set.begin(), distance_set.find(row.distance));
            double P = 0.0;
            double S = 0.0;
            velorix_get_ttimes(made.grid.get(), static_cast<int32_t>(is),
                               static_cast<int32_t>(node), 0, 0, &P, &S);
            EXPECT_NEAR(P, row.P, tolerance) << model << " " << row.depth << " " << row.distance;
            EXPECT_NEAR(S, row.S, tolerance) << model << " " << row.depth << " " << row.distance;
        }
    }
}

TEST(Pass, ReportsProgressOfAGeneralMesh) {
    const velorix_test::TempFile points("0 10 33\n0 20 5\n0 30 5\n");
    const Computed made(station_text({0.0, 1.0}), file_grid(points.path(), "iasp91"),
                        velorix_setup_readfromfile_grid, record_call);
    ASSERT_EQ(made.status, 0);
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].genmode, 1);
    EXPECT_EQ(calls[0].lon, 10.0);
    EXPECT_EQ(calls[0].depth, 33.0);
    EXPECT_EQ(calls[0].percent, 2 * 100.0 * (1.0 / 5));
    EXPECT_EQ(calls[2].percent, 6 * 100.0 * (1.0 / 5));
    EXPECT_FLOAT_EQ(made.grid->distances[2 * 2 + 1], 29.0F);
    const velorix_test::TempFile single("0 10 33\n");
    const Computed one(station_text({0.0}), file_grid(single.path(), "iasp91"),
                       velorix_setup_readfromfile_grid, record_call);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].percent, 100.0);  // one pair is all of it
}

const std::string kMesh =
    "latr=0\nlonr=5\nnx=3\nny=2\nxmin=-1\nxmax=1\nymin=0\nymax=1\ndepths=[0,100]\n"
    "model='iasp91'\n" +
    kBoth;

TEST(Pass, FillsARegularMeshLayerByLayer) {
    const Computed made(station_text({0.0, 10.0}), kMesh, velorix_setup_edp_grid, record_call);
    ASSERT_EQ(made.status, 0);
    ASSERT_EQ(calls.size(), 12u);
    EXPECT_EQ(calls[5].genmode, 0);
    EXPECT_EQ(calls[5].percent, 12 * 100.0 * (1.0 / 11));
    EXPECT_EQ(calls[6].percent, 2 * 100.0 * (1.0 / 11));
    EXPECT_EQ(calls[6].depth, 100.0);
    double near = 0.0;
    double far = 0.0;
    double s = 0.0;
    velorix_get_ttimes(made.grid.get(), 0, 0, 0, 1, &near, &s);
    velorix_get_ttimes(made.grid.get(), 1, 2, 0, 1, &far, &s);
    EXPECT_NEAR(near, far, 1e-3);  // 4 degrees either way
    EXPECT_NEAR(near, 61.0, 2.0);
    EXPECT_GT(s, near * 1.6);
}

TEST(Pass, TabulatesDistancesAndOffsets) {
    const Computed made(station_text({0.0, 10.0}), kMesh + "type='1d'\nndist=3\n",
                        velorix_setup_edp_grid, record_call);
    ASSERT_EQ(made.status, 0);
    const Velorix& grid = *made.grid;
    // The corner at (-1, 1) lies sqrt(2) degrees north-west of (0, 5), station 1 five degrees east.
    const double corner = std::sqrt(2.0) * M_PI / 180;
    const double east = 5.0 * M_PI / 180;
    const double largest = std::acos(std::cos(corner) * std::cos(east) -
                                     std::sin(corner) * std::sin(east) * M_SQRT1_2) *
                           180 / M_PI;
    EXPECT_NEAR(grid.distances[0], 4.0, 1e-6);
    EXPECT_NEAR(grid.distances[2], largest, 1e-5);
    EXPECT_EQ(grid.ttoffsets[0], 0);  // column 0, station 0: 4 degrees
    EXPECT_EQ(grid.ttoffsets[1], 2);  // and 6 to station 1
    EXPECT_EQ(grid.ttoffsets[2], 1);
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(calls[0].percent, 0.0);
    EXPECT_EQ(calls[4].percent, 50.0);
    EXPECT_NEAR(calls[4].lon, (4.0 + largest) / 2, 1e-9);
    const Computed single(station_text({0.0, 10.0}), kMesh + "type='1d'\nndist=1\n",
                          velorix_setup_edp_grid, record_call);
    EXPECT_NEAR(single.grid->distances[0], 4.0, 1e-6);
    EXPECT_EQ(single.grid->ttoffsets[1], 0);
    EXPECT_EQ(calls[0].percent, 100.0);
}

TEST(Pass, StopsAtWhatTheCalculatorCannotDo) {
    const velorix_test::TempFile deep("0 10 33\n0 10 7000\n");
    const velorix_test::TempFile shallow("0 10 33\n");
    for (const auto& [toml, part] :
         {std::pair{file_grid(deep.path(), "iasp91"), "7000"},
          std::pair{file_grid(shallow.path(), "no-such-model"), "no-such-model"}}) {
        const LogCapture log;
        const Computed made(station_text({0.0}), toml, velorix_setup_readfromfile_grid);
        EXPECT_EQ(made.status, -1);
        EXPECT_EQ(log.messages().back(), "velorix_compute_travel_times: ttcalc() error.\n");
        EXPECT_THAT(log.text(), testing::HasSubstr(part));
    }
    const GridPtr fresh = velorix_test::new_grid();
    const LogCapture log;
    EXPECT_EQ(velorix_compute_travel_times(fresh.get(), nullptr), -1);
    EXPECT_EQ(log.text(), "velorix_compute_travel_times: error.\n");
}

TEST(Pass, CountsTheHeightOfAStation) {
    const velorix_test::TempFile points("0 0.5 10\n");
    const std::string toml = file_grid(points.path(), "iasp91");
    const Computed low(station_text({0.0}), toml, velorix_setup_readfromfile_grid);
    const Computed high(station_text({0.0}, 2000.0), toml, velorix_setup_readfromfile_grid);
    ASSERT_EQ(high.status, 0);
    EXPECT_GT(high.grid->P_times[0], low.grid->P_times[0] + 0.01F);
    EXPECT_LT(high.grid->P_times[0], low.grid->P_times[0] + 2.0F / 5.8F);
}

}  // namespace
