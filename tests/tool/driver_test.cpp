// What only shows in the bytes of the tool's output or needs inputs made by a program.
#include <gmock/gmock.h>

#include <cstring>

#include "program.h"
#include "support/temp_file.h"
#include "synthetic_grids.h"
#include "velorix.h"

namespace velorix_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr const char* kStations =
    "#Network | Station | Latitude | Longitude | Elevation | SiteName | StartTime | EndTime\n"
    "IU|ANMO|34.9459|-106.4572|1820.0|Albuquerque|2002-11-19T00:00:00|\n"
    "IU|COR|44.5855|-123.3046|110.0|Corvallis|1989-11-01T00:00:00|2010-01-01T00:00:00\n"
    "US|RSSD|44.1212|-104.0359|2090.0|Black Hills|1983-01-01T00:00:00|\n";

std::string file_grid(const std::string& name) {
    return "[grids." + name +
           "]\nmode = \"file\"\ncoords_file = \"points.txt\"\nmethod = \"tttaup\"\n"
           "model = \"iasp91\"\ncompute_P = true\ncompute_distances = true\n";
}

class Driver : public testing::Test {
  protected:
    Driver() {
        folder_.write("net.txt", kStations);
        folder_.write("points.txt", "40 -110 10\n-41.5 170 600\n1 2 33\n");
    }

    Finished make(const std::string& toml, const std::vector<std::string>& arguments) {
        folder_.write("velorix.toml", toml);
        Command command{{"velorix"}, folder_.path(), {}, ""};
        command.words.insert(command.words.end(), arguments.begin(), arguments.end());
        return run(command);
    }

    TempFolder folder_;
};

Velorix record_of(const std::string& heap) {
    Velorix record{};
    EXPECT_GE(heap.size(), sizeof record);
    if (heap.size() >= sizeof record) std::memcpy(&record, heap.data(), sizeof record);
    return record;
}

TEST_F(Driver, OutputIsTheHeapsOfTheGridsBackToBack) {
    const std::string first = make(file_grid("a"), {"net.txt"}).out;
    const std::string second = make(file_grid("bb"), {"net.txt"}).out;
    const std::string both = make(file_grid("bb") + file_grid("a"), {"net.txt"}).out;

    ASSERT_EQ(both.size(), first.size() + second.size());
    ASSERT_EQ(static_cast<size_t>(record_of(both).size), first.size());
    EXPECT_EQ(both, first + second);
}

// Addresses of the process differ from run to run.
TEST_F(Driver, EqualInputGivesEqualFiles) {
    const std::string toml = file_grid("a") +
                             "[grids.b]\nmode='edp'\nlatr=40\nlonr=-110\nnx=3\nny=3\nxmin=-1\n"
                             "xmax=1\nymin=-1\nymax=1\ndepths=[5]\nmethod='tttaup'\n"
                             "model='iasp91'\ncompute_S=true\ntype='1d'\nndist=50\n";
    const Finished first = make(toml, {"net.txt"});
    ASSERT_EQ(first.status, 0) << first.err;
    for (int i = 0; i < 3; ++i) {
        const Finished again = make(toml, {"net.txt"});
        EXPECT_EQ(std::hash<std::string>()(again.out), std::hash<std::string>()(first.out));
        EXPECT_TRUE(again.out == first.out);
    }
    const Velorix header = record_of(first.out);
    EXPECT_EQ(header.depths, nullptr);
    EXPECT_EQ(header.sources, nullptr);
    EXPECT_EQ(header.stations, nullptr);
    EXPECT_EQ(header.sta_arr, nullptr);
    const Velorix table = record_of(first.out.substr(static_cast<size_t>(header.size)));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(table.S_times), 1u) << "markers of tables stay";
    EXPECT_EQ(reinterpret_cast<uintptr_t>(table.distances), 1u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(table.ttoffsets), 1u);
    EXPECT_EQ(table.P_times, nullptr);
}

TEST_F(Driver, TimeOptionChoosesTheStations) {
    const std::string toml = file_grid("a") + "time = \"2016-08-24\"\n";
    const std::vector<std::pair<std::string, int>> rows = {
        {"1985-01-01", 1}, {"1990-01-01", 2}, {"2005-01-01", 3}, {"all", 3}};
    for (const auto& [time, stations] : rows) {
        const Finished finished = make(toml, {"-time", "1970-01-01", "-time", time, "net.txt"});
        EXPECT_EQ(record_of(finished.out).ns, stations) << time << '\n' << finished.err;
    }
}

TEST_F(Driver, GlobalGridOfMoreStationsThanItsTableHoldsIsRefused) {
    std::string stations(kStations, std::strchr(kStations, '\n') + 1);
    for (int i = 0; i < 3142; ++i) {
        stations += "XX|S" + std::to_string(i) + "|10.0|20.0|0.0|Station|1989-01-01T00:00:00|\n";
    }
    folder_.write("many.txt", stations);
    const Finished finished = make(
        "[grids.g]\nmode = \"utele\"\nmethod = \"tttaup\"\nmodel = \"iasp91\"\ncompute_P = true\n",
        {"many.txt"});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(finished.err, HasSubstr("2147858632"));  // 170899 * 3142 * 4
    EXPECT_THAT(finished.err, EndsWith("velorix: velorix_setup_fromsourcearray_grid() error.\n"));
}

TEST(Info, TruncatedFileIsRefusedAtEveryLength) {
    const TempFolder folder;
    const std::string whole = synthetic_grids("plain");
    const auto first = static_cast<size_t>(record_of(whole).size);
    for (size_t length = 1; length < whole.size(); length += 13) {
        if (length == first) continue;
        folder.write("g.vxg", std::string_view(whole).substr(0, length));
        const Finished finished = run({{"velorix-info", "g.vxg"}, folder.path(), {}, ""});
        EXPECT_EQ(finished.status, 1) << length;
        EXPECT_EQ(finished.out, "") << length;
        EXPECT_THAT(finished.err, HasSubstr("g.vxg: byte ")) << length;
    }
}

}  // namespace
}  // namespace velorix_test
