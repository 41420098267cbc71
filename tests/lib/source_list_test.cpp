// Grids from a list of positions, and the coordinates files they come from.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "setupgrid/coords_file.h"
#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/temp_file.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velorix_test::GridPtr;
using velorix_test::LogCapture;
using velorix_test::parameters;
using velorix_test::TempFile;

std::vector<std::array<double, 3>> points(const std::string& text, int* size = nullptr) {
    const TempFile file(text);
    Coords* coords = nullptr;
    std::vector<std::array<double, 3>> list;
    if (read_coords(file.c_str(), &coords, -5.0) < 0) return {{-999.0, 0.0, 0.0}};
    for (int i = 0; i < coords->npoints; ++i)
        list.push_back({coords->lat[i], coords->lon[i], coords->depth[i]});
    if (size) *size = coords->size;
    coords_free(coords);
    return list;
}

using Points = std::vector<std::array<double, 3>>;

TEST(CoordsFile, ReadsNumbersAsWrittenAndSkipsOtherLines) {
    EXPECT_EQ(points("lat lon depth\n# note\n10 20 30 rest\n\t+1.5\t-2e1\r\n7\n0x10 .5 1e-400\n"),
              (Points{{10, 20, 30}, {1.5, -20, -5}, {16, 0.5, 0}}));
    EXPECT_EQ(points("1e 2e+ 3\n1,2 3\n4 1,5\n-0x1p3 inf infi\n1e1e 2\n0x"),
              (Points{{1, 2, 3}, {4, 1, -5}, {-8, HUGE_VAL, -5}}));
    EXPECT_EQ(points(""), Points{});
    EXPECT_EQ(points("1 2 3"), (Points{{1, 2, 3}}));
    // A line longer than 127 characters is read in pieces, each a line of its own.
    EXPECT_EQ(points("1 2 3" + std::string(122, 'x') + "4 5 6\n"), (Points{{1, 2, 3}, {4, 5, 6}}));
    int size = 0;
    std::string many;
    for (int i = 0; i < 1501; ++i)
        many += std::to_string(i % 90) + " 0 " + std::to_string(i) + "\n";
    const Points read = points(many, &size);
    EXPECT_EQ(size, 2250);
    ASSERT_EQ(read.size(), 1501u);
    EXPECT_EQ(read[1500][2], 1500.0);
}

TEST(CoordsFile, FailsOnBlankLinesAndMissingFiles) {
    const LogCapture log;
    EXPECT_EQ(points("1 2 3\n \t\n4 5 6\n")[0][0], -999.0);
    Coords* coords = nullptr;
    EXPECT_EQ(read_coords("/no/such", &coords, 0.0), -1);
    EXPECT_EQ(coords, nullptr);
    EXPECT_EQ(read_coords("/", &coords, 0.0), -1);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(velorix_test::LogLine{ELOG_LOG, 1, "read_coords: scanf( \t\n) error.\n"},
                    velorix_test::LogLine{ELOG_LOG, 1, "read_coords: fopen(/no/such) error.\n"},
                    velorix_test::LogLine{ELOG_LOG, 1, "read_coords: fgets(/) error.\n"}));
}

const std::string kCalculator = "method='tttaup'\nmodel='iasp91'\n";

TEST(SourceList, LaysOutPointsOfAFile) {
    const TempFile file("10 20 30\n-10 -20\n");
    const auto pf = parameters("coords_file='" + file.path() + "'\n" + kCalculator +
                               "compute_P=true\ncompute_distances=1");
    const GridPtr grid = velorix_test::new_grid();
    grid->ns = 7;
    const std::string name(70, 'n');
    ASSERT_EQ(velorix_setup_readfromfile_grid(grid.get(), name.c_str(), pf.get()), 0);
    EXPECT_EQ(grid->mode, 1);
    EXPECT_EQ(grid->type, 1);
    EXPECT_EQ(grid->nn, 2);
    EXPECT_EQ(grid->nh, 2);
    EXPECT_EQ(grid->nd, 1);
    EXPECT_EQ(grid->ttsize, 2 * 7 * 4);
    EXPECT_EQ(grid->dssize, grid->ttsize);
    EXPECT_EQ(grid->srsize, 48);
    EXPECT_EQ(grid->latr, 0.0);
    EXPECT_EQ(grid->strike, -999.0);
    EXPECT_TRUE(grid->P_times && !grid->S_times && grid->distances && !grid->ttoffsets);
    EXPECT_EQ(std::string(grid->name, 64), name.substr(0, 64));
    EXPECT_STREQ(grid->model, "iasp91");
    EXPECT_EQ(grid->sources[1].lon, -20.0);
    EXPECT_EQ(grid->sources[1].depth, 0.0);
    EXPECT_EQ(grid->depths[0], 0.0);
}

TEST(SourceList, SaysWhatFailed) {
    const TempFile good("10 20 30\n");
    const TempFile far("10 20 30\n91 0\n");
    const TempFile nan("nan 0 1\n");
    const std::string who = "velorix_setup_readfromfile_grid: ";
    const std::pair<std::string, std::string> cases[] = {
        {kCalculator, who + "parse_param(coords_file) error.\n"},
        {"coords_file='/no/such'", who + "read_coords(/no/such) error.\n"},
        {"coords_file='" + good.path() + "'", who + "parse_param() error.\n"},
        {"coords_file='" + good.path() + "'\n" + kCalculator, who + "Must compute P or S times.\n"},
        {"coords_file='" + good.path() + "'\ncompute_P=2\n" + kCalculator,
         who + "parse_param() error.\n"},
        {"coords_file='" + far.path() + "'\n",
         who + far.path() + ": point 2 (91 0 0) is not a position.\n"},
        {"coords_file='" + nan.path() + "'\n",
         who + nan.path() + ": point 1 (nan 0 1) is not a position.\n"},
    };
    for (const auto& [toml, message] : cases) {
        const auto pf = parameters(toml);
        const GridPtr grid = velorix_test::new_grid();
        const LogCapture log;
        EXPECT_EQ(velorix_setup_readfromfile_grid(grid.get(), "g", pf.get()), -1) << toml;
        EXPECT_EQ(log.messages().back(), message);
    }
}

TEST(SourceList, CopiesAnArrayAndRefusesWhatDoesNotFit) {
    const auto pf = parameters(kCalculator + "compute_S=true\ncomptue_P=true");
    const Source sources[] = {{1, 2, 3}, {4, 5, 6}};
    const GridPtr grid = velorix_test::new_grid();
    grid->ns = 1;
    LogCapture log;
    ASSERT_EQ(velorix_setup_fromsourcearray_grid(grid.get(), "g", 2, sources, pf.get()), 0);
    EXPECT_EQ(grid->sources[1].depth, 6.0);
    EXPECT_THAT(log.text(),
                HasSubstr("unknown key 'comptue_P' in grid g, did you mean 'compute_P'"));
    log.clear();
    const GridPtr large = velorix_test::new_grid();
    large->ns = 1 << 30;
    EXPECT_EQ(velorix_setup_fromsourcearray_grid(large.get(), "g", 2, sources, pf.get()), -1);
    EXPECT_EQ(log.messages().back(),
              "velorix_setup_fromsourcearray_grid: a travel-time table of 8589934592 bytes exceeds "
              "the limit of 2147483647 bytes.\n");
    EXPECT_EQ(large->sources, nullptr);
}

}  // namespace
