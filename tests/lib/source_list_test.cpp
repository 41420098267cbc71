// Grids from a list of positions, and the coordinates files they come from.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <array>
#include <cmath>
#include <fstream>
#include <thread>
#include <tuple>
#include <vector>

#include "laid_out_grid.h"
#include "setupgrid/coords_file.h"
#include "support/temp_file.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velorix_test::GridPtr;
using velorix_test::LogCapture;
using velorix_test::parameters;
using velorix_test::TempFile;

using Points = std::vector<std::array<double, 3>>;
const Points kFailed = {{-999.0, 0.0, 0.0}};

Points points(const std::string& text) {
    const TempFile file(text);
    Coords* coords = nullptr;
    Points list;
    if (read_coords(file.c_str(), &coords, -5.0) < 0) return kFailed;
    for (int i = 0; i < coords->npoints; ++i)
        list.push_back({coords->lat[i], coords->lon[i], coords->depth[i]});
    coords_free(coords);
    return list;
}

TEST(CoordsFile, ReadsNumbersAsWrittenAndSkipsOtherLinesButNotBlankOnes) {
    EXPECT_EQ(points("lat lon depth\n# note\n10 20 30 rest\n\t+1.5\t-2e1\r\n7\n0x10 .5 1e-400\n"),
              (Points{{10, 20, 30}, {1.5, -20, -5}, {16, 0.5, 0}}));
    EXPECT_EQ(points("1e 2e+ 3\n1,2 3\n4 1,5\n-0x1p3 inf infi\n1e1e 2\n0x"),
              (Points{{1, 2, 3}, {4, 1, -5}, {-8, HUGE_VAL, -5}}));
    EXPECT_EQ(points(""), Points{});
    EXPECT_EQ(points("1 2 3"), (Points{{1, 2, 3}}));
    // A line longer than 127 characters is read in pieces, each a line of its own.
    EXPECT_EQ(points("1 2 3" + std::string(122, 'x') + "4 5 6\n"), (Points{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(points("1 2 3\n \t\n4 5 6\n"), kFailed);
    std::string many;
    for (int i = 0; i < 1501; ++i)
        many += std::to_string(i % 90) + " 0 " + std::to_string(i) + "\n";
    const Points read = points(many);
    ASSERT_EQ(read.size(), 1501u);
    EXPECT_EQ(read[1500][2], 1500.0);
}

// Of a device that never ends.
TEST(CoordsFile, ReadsOnlySoMuchOfWhatIsNoRegularFile) {
    const velorix_test::TempFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    signal(SIGPIPE, SIG_IGN);
    for (const auto& [piece, lines, message] :
         {std::tuple("1 2 3\n", 5L, ""),
          {"a line without numbers is no point\n", 11'000'000L, "has more than 10000000 lines."}}) {
        std::thread writer([&pipe, piece = std::string(piece), lines = lines] {
            std::ofstream out(pipe);
            for (long i = 0; i < lines && out; ++i) out << piece;
        });
        const LogCapture log;
        Coords* coords = nullptr;
        EXPECT_EQ(read_coords(pipe.c_str(), &coords, 0.0), *message ? -1 : 0);
        EXPECT_EQ(coords ? coords->npoints : 0, *message ? 0 : 5);
        EXPECT_THAT(log.text(), HasSubstr(message));
        writer.join();
        coords_free(coords);
    }
}

TEST(CoordsFile, ReadsARegularFileHoweverManyLinesItHas) {
    std::string lines;
    for (int i = 0; i < 10'000'001; ++i) lines += "x\n";
    EXPECT_EQ(points(lines + "1 2 3\n"), (Points{{1, 2, 3}}));
}

const std::string kCalculator = "method='tttaup'\nmodel='iasp91'\n";

// What a file or its keys may lack is refused in the cases of the tool.
TEST(SourceList, LaysOutPointsOfAFile) {
    const TempFile file("10 20 30\n-10 -20\n");
    const auto pf = parameters("coords_file='" + file.path() + "'\n" + kCalculator +
                               "compute_P=true\ncompute_distances=1");
    const GridPtr grid = velorix_test::grid_with_stations({{"A", 1.0, 2.0}, {"B", 3.0, 4.0}});
    ASSERT_EQ(velorix_setup_readfromfile_grid(grid.get(), "g", pf.get()), 0);
    EXPECT_EQ(grid->mode, VELORIX_MODE_GENERAL);
    EXPECT_EQ(grid->latr, 0.0);
    EXPECT_EQ(grid->strike, -999.0);
    EXPECT_TRUE(grid->P_times && !grid->S_times && grid->distances && !grid->ttoffsets);
    EXPECT_EQ(grid->sources[1].lon, -20.0);
    EXPECT_EQ(grid->sources[1].depth, 0.0);
    EXPECT_EQ(grid->depths[0], 0.0);
    velorix_test::Heap heap;
    velorix_test::compute(*grid, heap);
    velorix_test::expect_readable(heap);
}

TEST(SourceList, RefusesAnArrayWhoseTableIsTooLarge) {
    const auto pf = parameters(kCalculator + "compute_S=true\ncomptue_P=true");
    const Source sources[] = {{1, 2, 3}, {4, 5, 6}};
    const GridPtr large = velorix_test::new_grid();
    large->ns = 1 << 30;
    const LogCapture log;
    EXPECT_EQ(velorix_setup_fromsourcearray_grid(large.get(), "g", 2, sources, pf.get()), -1);
    EXPECT_THAT(log.messages(),
                ElementsAre(HasSubstr("unknown key 'comptue_P' in grid g, did you mean"),
                            "velorix_setup_fromsourcearray_grid: a travel-time table of 8589934592 "
                            "bytes exceeds the limit of 2147483647 bytes.\n"));
    EXPECT_EQ(large->sources, nullptr);
    for (const auto& [count, list] : {std::pair(-1, sources), {2, nullptr}}) {
        const GridPtr grid = velorix_test::grid_with_stations({{"A", 1.0, 2.0}});
        EXPECT_EQ(velorix_setup_fromsourcearray_grid(grid.get(), "g", count, list, pf.get()), -1);
    }
}

}  // namespace
