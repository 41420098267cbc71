// The travel-time pass: from stations and nodes to finished tables.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <sstream>
#include <vector>

#include "support/parameters.h"
#include "support/temp_file.h"
#include "tools/accuracy/reference.h"

namespace {

struct Call {
    int genmode;
    double lat, lon, depth, percent;

    bool operator==(const Call&) const = default;
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
        : stations(station_file, "s.txt"),
          pf(velorix_test::parameters(toml)),
          grid(velorix_test::new_grid()) {
        calls.clear();
        status = velorix_setup_stations(grid.get(), stations.c_str(), pf.get());
        if (status == 0) status = build(grid.get(), "g", pf.get());
        if (status == 0) heap.pack(grid.get());
        if (status == 0) status = velorix_compute_travel_times(grid.get(), callback);
    }
    velorix_test::TempFile stations;
    velorix_test::PfPtr pf;
    velorix_test::GridPtr grid;
    velorix_test::Heap heap;
    int status;
};

const std::string kBoth = "time='all'\nmethod='tttaup'\ncompute_P=true\ncompute_S=true\n";

std::string file_grid(const std::string& points, const std::string& model) {
    return "coords_file='" + points + "'\nmodel='" + model + "'\ncompute_distances=true\n" + kBoth;
}

TEST(Pass, GivesTheReferenceTimesThroughWholeGrids) {
    constexpr double tolerance = 0.01;
    for (const char* model : {"iasp91", "ak135"}) {
        const std::string table =
            std::string(VELORIX_TEST_DATA "/traveltimes/first_arrivals_") + model + ".tsv";
        std::vector<velorix::accuracy::Row> rows;
        std::string error;
        ASSERT_TRUE(velorix::accuracy::read_table(table, rows, error)) << error;
        ASSERT_GT(rows.size(), 100u) << model;
        std::set<double> depth_set, distance_set;
        for (const auto& row : rows) {
            depth_set.insert(row.source_depth);
            distance_set.insert(row.distance);
        }
        const std::vector<double> distances(distance_set.begin(), distance_set.end());
        std::string points;
        for (const double depth : depth_set) points += "0 0 " + std::to_string(depth) + "\n";
        const velorix_test::TempFile file(points);
        const Computed made(station_text(distances), file_grid(file.path(), model),
                            velorix_setup_readfromfile_grid);
        ASSERT_EQ(made.status, 0);
        for (const auto& row : rows) {
            if (row.edge) continue;
            const auto node = std::distance(depth_set.begin(), depth_set.find(row.source_depth));
            const auto is = std::distance(distance_set.begin(), distance_set.find(row.distance));
            const auto entry = node * made.grid->ns + is;
            SCOPED_TRACE(table + ":" + std::to_string(row.line));
            EXPECT_NEAR(made.grid->P_times[entry], row.first.p_time, tolerance);
            EXPECT_NEAR(made.grid->S_times[entry], row.first.s_time, tolerance);
        }
    }
}

TEST(Pass, ReportsProgressOfAGeneralMesh) {
    const velorix_test::TempFile points("0 10 33\n0 20 5\n0 30 5\n");
    const Computed made(station_text({0.0, 1.0}), file_grid(points.path(), "iasp91"),
                        velorix_setup_readfromfile_grid, record_call);
    ASSERT_EQ(made.status, 0);
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0], (Call{1, 0.0, 10.0, 33.0, 2 * 100.0 * (1.0 / 5)}));
    EXPECT_EQ(calls[2].percent, 6 * 100.0 * (1.0 / 5));
    EXPECT_FLOAT_EQ(made.grid->distances[2 * 2 + 1], 29.0F);
}

const std::string kMesh =
    "latr=0\nlonr=5\nnx=3\nny=2\nxmin=-1\nxmax=1\nymin=0\nymax=1\ndepths=[0,100]\n"
    "model='iasp91'\n" +
    kBoth;

TEST(Pass, ReportsProgressOfARegularMeshLayerByLayer) {
    const Computed made(station_text({0.0, 10.0}), kMesh, velorix_setup_edp_grid, record_call);
    ASSERT_EQ(made.status, 0);
    ASSERT_EQ(calls.size(), 12u);
    EXPECT_EQ(calls[5].genmode, 0);
    EXPECT_EQ(calls[5].percent, 12 * 100.0 * (1.0 / 11));
    EXPECT_EQ(calls[6].percent, 2 * 100.0 * (1.0 / 11));
    EXPECT_EQ(calls[6].depth, 100.0);
}

TEST(Pass, TabulatesDistancesDepthByDepth) {
    const Computed made(station_text({0.0, 10.0}), kMesh + "type='1d'\nndist=3\n",
                        velorix_setup_edp_grid, record_call);
    ASSERT_EQ(made.status, 0);
    const float* distances = made.grid->distances;
    EXPECT_NEAR(distances[0], 4.0, 1e-6);
    EXPECT_EQ(made.grid->ttoffsets[0], 0);  // column 0, station 0: 4 degrees
    EXPECT_EQ(made.grid->ttoffsets[1], 2);  // and 6 to station 1
    EXPECT_EQ(made.grid->ttoffsets[2], 1);
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(calls[0].percent, 0.0);
    EXPECT_EQ(calls[4].percent, 50.0);
    EXPECT_NEAR(calls[4].lon, 0.5 * distances[0] + 0.5 * distances[2], 1e-6);
    const Computed single(station_text({0.0, 10.0}), kMesh + "type='1d'\nndist=1\n",
                          velorix_setup_edp_grid, record_call);
    EXPECT_NEAR(single.grid->distances[0], 4.0, 1e-6);
    EXPECT_EQ(single.grid->ttoffsets[1], 0);
    EXPECT_EQ(calls[0].percent, 100.0);  // one sample is all of it
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
