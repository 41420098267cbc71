// Every call of a run that touches a file fails once, one run each. What comes of it is the same
// output as ever, or status 1 with a message and what was there before untouched: nothing in
// between.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include <cstdio>
#include <map>
#include <optional>
#include <sstream>

#include "event_files.h"
#include "program.h"
#include "support/temp_file.h"

namespace velorix_test {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

/// A run of a program with all that it reads and writes.
struct Sweep {
    const char* name;
    Words words;
    const char* input = nullptr;         // a file for its standard input
    std::vector<const char*> outputs{};  // files that it replaces, beside standard output
    // What standard output may hold after a failure: whole heaps, or anything.
    bool heaps = false;
};

void PrintTo(const Sweep& sweep, std::ostream* out) { *out << sweep.name; }

const std::vector<Sweep> kSweeps = {
    {"velorix_fdsn", {"velorix", "net.txt"}, nullptr, {}, true},
    {"velorix_css", {"velorix", "flat"}, nullptr, {}, true},
    {"velorix_folder", {"velorix", "folder"}, nullptr, {}, true},
    {"velorix_sqlite", {"velorix", "net.db"}, nullptr, {}, true},
    {"info_summary", {"velorix-info", "grid.vxg", "grid.vxg"}},
    {"info_listing", {"velorix-info", "--times", "0", "grid.vxg"}},
    {"info_json_of_a_pipe", {"velorix-info", "--json", "--nodes", "-"}, "grid.vxg"},
    {"info_verify", {"velorix-info", "--verify", "grid.vxg"}},
    {"assoc_csv_files",
     {"velorix-assoc", "-pf", "rules.toml", "--grids", "event.vxg", "--picks", "picks.csv",
      "--format", "csv", "--out", "cat.csv"},
     nullptr,
     {"cat.csv", "cat_picks.csv"}},
    {"assoc_standard_streams",
     {"velorix-assoc", "--grids", "event.vxg", "--picks", "-", "--format", "quakeml"},
     "picks.csv"},
    {"assoc_unsorted_to_css",
     {"velorix-assoc", "--grids", "event.vxg", "--picks", "unsorted.csv", "picks.xml", "--format",
      "css", "--out", "cat"},
     nullptr,
     {"cat.event", "cat.origin", "cat.origerr", "cat.assoc", "cat.arrival"}},
    {"assoc_follow",
     {"velorix-assoc", "--grids", "event.vxg", "--picks", "-", "--follow"},
     "picks.csv"},
};

constexpr const char* kSite =
    "AAA     2000001       -1   40.1000 -110.0000    0.0000\n"
    "BBB     2000001       -1   39.8000 -110.3000    0.5000\n";
constexpr const char* kFdsn =
    "#Network | Station | Latitude | Longitude | Elevation | SiteName | StartTime | EndTime\n"
    "XX|AAA|40.1|-110.0|0.0|A|2000-01-01T00:00:00|\n"
    "XX|BBB|39.8|-110.3|500.0|B|2000-01-01T00:00:00|\n";
constexpr const char* kGrids =
    "[grids.first]\nmode='file'\ncoords_file='points.txt'\nmethod='tttaup'\nmodel='earth.tvel'\n"
    "compute_P=true\n"
    "[grids.second]\nmode='edp'\nlatr=40\nlonr=-110\nnx=2\nny=2\nxmin=-0.5\nxmax=0.5\nymin=-0.5\n"
    "ymax=0.5\ndepths=[5]\nmethod='tttaup'\nmodel='earth.tvel'\ncompute_S=true\n";

void write_sqlite(const std::string& path) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database,
                           "CREATE TABLE site (sta, ondate, offdate, lat, lon, elev);"
                           "INSERT INTO site VALUES ('AAA', 2000001, -1, 40.1, -110.0, 0.0),"
                           "('BBB', 2000001, -1, 39.8, -110.3, 0.5)",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(database);
}

/// What a run left: status, standard output, and the files it replaces.
struct Outcome {
    Finished finished;
    std::map<std::string, std::string> files;
    long calls = 0;
    std::string failed;  // the call
};

class IoFaults : public testing::TestWithParam<Sweep> {
  protected:
    static constexpr const char* kEarlier = "earlier\n";

    static void SetUpTestSuite() {
        folder_.emplace();
        folder_->write("net.txt", kFdsn);
        folder_->write("flat.site", kSite);
        folder_->write("folder/flat.site", kSite);
        write_sqlite(folder_->path("net.db"));
        folder_->write("points.txt", "40 -110 10\n41 -111 5\n");
        folder_->write("earth.tvel",
                       read_file(VELORIX_SOURCE_DIR "/platform/ttcalc/models/iasp91.tvel"));
        folder_->write("velorix.toml", kGrids);
        const Finished made = velorix_test::run({{"velorix", "net.txt"}, folder_->path(), {}, ""});
        ASSERT_EQ(made.status, 0) << made.err;
        first_ = static_cast<size_t>(*reinterpret_cast<const int32_t*>(made.out.data() + 4));
        folder_->write("grid.vxg", made.out);
        write_event();
    }
    static void write_event() {
        folder_->write("six.txt", kSixStations);
        folder_->write("event.toml", kTwoGrids);
        const Finished made = velorix_test::run(
            {{"velorix", "-pf", "event.toml", "six.txt"}, folder_->path(), {}, ""});
        ASSERT_EQ(made.status, 0) << made.err;
        folder_->write("event.vxg", made.out);
        const std::string picks = picks_of_an_event(made.out);
        folder_->write("picks.csv", picks);
        const size_t rows = picks.find('\n') + 1;
        folder_->write("unsorted.csv", picks + "AAA,HHZ,P,1476400000\n" + picks.substr(rows, 40));
        folder_->write("rules.toml", "lateness = 30\n");
        folder_->write(
            "picks.xml",
            "<q:quakeml xmlns:q='q'><eventParameters><pick><time><value>2016-10-14T00:00:"
            "30Z</value></time><waveformID stationCode='AAA'/></pick></eventParameters>"
            "</q:quakeml>");
    }
    static void TearDownTestSuite() { folder_.reset(); }

    static Outcome outcome_of(const Sweep& sweep, long n) {
        for (const char* file : sweep.outputs) folder_->write(file, kEarlier);
        const std::string input = sweep.input ? read_file(folder_->path(sweep.input)) : "";
        Outcome outcome;
        outcome.finished = velorix_test::run(
            {sweep.words,
             folder_->path(),
             {"VELORIX_FAULT=io " + std::to_string(n),
              "VELORIX_FAULT_COUNT=" + folder_->path("count"), "LD_PRELOAD=" VELORIX_FAULTS},
             input});
        for (const char* file : sweep.outputs) outcome.files[file] = read_file(folder_->path(file));
        std::istringstream counts(read_file(folder_->path("count")));
        long allocations = 0;
        counts >> allocations >> outcome.calls >> outcome.failed;
        return outcome;
    }

    static void expect_nothing_in_between(const Sweep& sweep, const Outcome& whole,
                                          const Outcome& got) {
        if (got.finished.status == 0) {
            EXPECT_EQ(got.finished.out, whole.finished.out);
            EXPECT_EQ(got.files, whole.files);
            return;
        }
        EXPECT_EQ(got.finished.status, 1) << got.finished.err;
        EXPECT_THAT(got.finished.err, HasSubstr(sweep.words[0] + ": "));
        for (const auto& [file, text] : got.files) EXPECT_EQ(text, kEarlier) << file;
        if (!sweep.heaps) return;
        const size_t size = got.finished.out.size();
        EXPECT_TRUE(size == 0 || size == first_ || size == whole.finished.out.size()) << size;
        EXPECT_EQ(got.finished.out, whole.finished.out.substr(0, size));
    }

    static inline std::optional<TempFolder> folder_;
    static inline size_t first_ = 0;  // bytes of the first heap
};

TEST_P(IoFaults, EndInTheSameOutputOrInAMessage) {
    const Sweep& sweep = GetParam();
    const Outcome whole = outcome_of(sweep, 0);
    ASSERT_EQ(whole.finished.status, 0) << whole.finished.err;
    ASSERT_GT(whole.calls, 3);
    int same = 0, refused = 0;
    for (long n = 1; n <= whole.calls; ++n) {
        const Outcome got = outcome_of(sweep, n);
        SCOPED_TRACE("call " + std::to_string(n) + " of " + std::to_string(whole.calls) + ", " +
                     got.failed + "\n" + got.finished.err);
        EXPECT_NE(got.failed, "-");
        expect_nothing_in_between(sweep, whole, got);
        ++(got.finished.status == 0 ? same : refused);
    }
    EXPECT_GT(refused, 0);
    std::printf("%s: %ld calls, %d runs with a message, %d with the same output\n", sweep.name,
                whole.calls, refused, same);
}

INSTANTIATE_TEST_SUITE_P(Of, IoFaults, testing::ValuesIn(kSweeps),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace velorix_test
