// What the programs do when memory, disk, files or patience run out: a message, a status other than
// 0, and nothing that could be taken for a whole result.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <optional>

#include "event_files.h"
#include "program.h"
#include "support/log_capture.h"
#include "support/temp_file.h"

namespace velorix_test {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

/// A folder with everything that a run of each program needs; the grids are computed once.
class Faults : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder_.emplace();
        folder_->write("net.txt", kSixStations);
        folder_->write("points.txt", "40 -110 10\n41 -111 5\n");
        folder_->write("velorix.toml", kTwoGrids);
        const Finished made = velorix_test::run({kVelorix, folder_->path(), {}, ""});
        ASSERT_EQ(made.status, 0) << made.err;
        heaps_ = made.out;
        folder_->write("grid.vxg", heaps_);
        folder_->write("picks.csv", picks_of_an_event(heaps_));
        folder_->write("count", "");  // there before any run, so that files() only tells leftovers
    }
    static void TearDownTestSuite() { folder_.reset(); }

    static Finished run(const Words& words, const std::string& fault,
                        Output output = Output::collected, const std::string& input = "") {
        Words environment{"VELORIX_FAULT_COUNT=" + folder_->path("count"),
                          "LD_PRELOAD=" VELORIX_FAULTS};
        if (!fault.empty()) environment.push_back("VELORIX_FAULT=" + fault);
        return velorix_test::run({words, folder_->path(), environment, input, output});
    }

    static long allocations(const Words& words) {
        const Finished whole = run(words, "");
        EXPECT_EQ(whole.status, 0) << whole.err;
        return std::stol(read_file(folder_->path("count")));
    }

    // Fails the first, second, ... allocation (every one at first, then some of them).
    static void sweep(
        const Words& words, const std::function<void(const Finished&)>& check,
        const std::function<void()>& prepare = [] {}) {
        const long total = allocations(words);
        ASSERT_GT(total, 30);
        for (const char* kind : {"memory ", "once "}) {
            for (long n = 1; n <= total; n += 1 + n / 10) {
                SCOPED_TRACE(kind + std::to_string(n) + " of " + std::to_string(total));
                prepare();
                const Finished finished = run(words, kind + std::to_string(n));
                ASSERT_THAT(finished.status, testing::AnyOf(0, 1)) << finished.err;
                if (finished.status == 1) {
                    ASSERT_THAT(finished.err, HasSubstr(words[0] + ": "));
                }
                check(finished);
            }
        }
    }

    // Grids written so far: none, the first, or both.
    static void expect_whole_grids(const Finished& finished) {
        std::string bytes = finished.out;
        if (bytes.empty()) return;
        const LogCapture log;
        Tbl* grids = nullptr;
        EXPECT_GT(velorix_read_buffer(bytes.data(), bytes.size(), "output", &grids), 0);
        freetbl(grids, velorix_release);
        const int32_t first = reinterpret_cast<const Velorix*>(heaps_.data())->size;
        if (finished.status == 0 || bytes.size() != static_cast<size_t>(first)) {
            EXPECT_EQ(bytes.size(), heaps_.size());
        }
    }
    static size_t files() {
        const std::filesystem::directory_iterator all(folder_->path());
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }

    static inline const Words kVelorix{"velorix", "net.txt"};
    static inline const Words kAssociate{"velorix-assoc", "--grids", "grid.vxg", "--picks",
                                         "picks.csv"};
    static Words associate_to(const std::string& out) {
        Words words = kAssociate;
        words.insert(words.end(), {"--format", "csv", "--out", out});
        return words;
    }

    static inline std::optional<TempFolder> folder_;
    static inline std::string heaps_;
};

TEST_F(Faults, VelorixWithoutMemoryWritesWholeGridsOrNone) { sweep(kVelorix, expect_whole_grids); }

TEST_F(Faults, InfoWithoutMemorySaysSo) {
    const Words words{"velorix-info", "--json", "grid.vxg"};
    const std::string whole = run(words, "").out;
    sweep(words, [&](const Finished& finished) {
        if (finished.status == 0) {
            EXPECT_EQ(finished.out, whole);
        }
    });
}

TEST_F(Faults, AssocWithoutMemoryLeavesTheEarlierCatalogue) {
    ASSERT_EQ(run(associate_to("whole.csv"), "").status, 0);
    const std::string whole = read_file(folder_->path("whole.csv"));
    ASSERT_THAT(whole, HasSubstr("2016-10-14"));
    const size_t after = files() + 2;
    sweep(
        associate_to("events.csv"),
        [&](const Finished& finished) {
            EXPECT_EQ(read_file(folder_->path("events.csv")),
                      finished.status == 0 ? whole : "earlier\n");
            EXPECT_LE(files(), after);
        },
        [] { folder_->write("events.csv", "earlier\n"); });
}

TEST_F(Faults, AssocThatCannotFinishItsFileLeavesTheEarlierOne) {
    folder_->write("old.csv", "earlier\n");
    const size_t before = files();
    for (const char* fault : {"write 1", "write 2", "fsync 1", "rename 1"}) {
        const Finished finished = run(associate_to("old.csv"), fault);
        EXPECT_EQ(finished.status, 1) << fault;
        EXPECT_THAT(finished.err, HasSubstr("velorix-assoc: cannot write '")) << fault;
        EXPECT_EQ(files(), before) << fault;
        EXPECT_EQ(read_file(folder_->path("old.csv")), "earlier\n") << fault;
    }
}

TEST_F(Faults, GridFileThatShrinksWhileMappedEndsTheProgramWithItsName) {
    std::string large;
    while (large.size() < 20000) large += heaps_;
    const Words list{"velorix-info", "--times", "0", "grid.vxg"};
    const struct {
        const Words& words;
        const std::string& grids;
        const char* fault;
    } cases[] = {
        {list, large, "shrink 0"}, {list, large, "shrink 4096"}, {kAssociate, heaps_, "shrink 0"}};
    for (const auto& c : cases) {
        folder_->write("grid.vxg", c.grids);
        const Finished finished = run(c.words, c.fault);
        EXPECT_EQ(finished.status, 1) << c.words[0];
        EXPECT_EQ(
            finished.err,
            c.words[0] + ": a grid file was shortened or cannot be read any more while in use\n");
    }
    folder_->write("grid.vxg", heaps_);
}

TEST_F(Faults, SignalEndsVelorixBetweenGrids) {
    const long total = allocations(kVelorix);
    for (long n = 1; n < total; n += 1 + total / 12) {
        const Finished finished = run(kVelorix, "signal " + std::to_string(n));
        EXPECT_EQ(finished.status, 1000 + SIGTERM) << n;
        expect_whole_grids(finished);
    }
}

TEST_F(Faults, ShortAndInterruptedReadsChangeNothing) {
    const Words words{"velorix-info", "--times", "1", "-"};
    const Finished whole = run(words, "", Output::collected, heaps_);
    ASSERT_EQ(whole.status, 0) << whole.err;
    const Finished finished = run(words, "read 100", Output::collected, heaps_);
    EXPECT_EQ(finished.status, 0) << finished.err;
    EXPECT_EQ(finished.out, whole.out);
}

TEST_F(Faults, OutputThatCannotBeWrittenIsAFailureOfEveryProgram) {
    Words many{"velorix-info", "--json"};
    many.insert(many.end(), 100, "grid.vxg");  // more than a buffer
    const Words parameters{"velorix-assoc", "--grids", "grid.vxg", "--show-parameters"};
    const Words info_help{"velorix-info", "--help"}, assoc_help{"velorix-assoc", "--help"};
    for (const Words& words : {kVelorix, many, info_help, kAssociate, assoc_help, parameters}) {
        SCOPED_TRACE(testing::PrintToString(words));
        const Finished full = run(words, "", Output::full_device);
        EXPECT_EQ(full.status, 1);
        EXPECT_THAT(full.err, HasSubstr("No space left"));
        const Finished closed = run(words, "", Output::closed);
        EXPECT_EQ(closed.status, 1);
        EXPECT_THAT(closed.err, HasSubstr("Bad file descriptor"));
        // A program of text behind which nobody reads ends as such programs do, by the signal.
        EXPECT_EQ(run(words, "", Output::pipe_without_reader).status,
                  words[0] == "velorix" ? 1 : 1000 + SIGPIPE);
    }
}

}  // namespace
}  // namespace velorix_test
