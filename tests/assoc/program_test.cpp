// velorix-assoc as a user runs it: odd pick files, outputs that cannot be written, signals.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>
#include <sstream>
#include <thread>

#include "support/temp_file.h"
#include "tool/program.h"

namespace velorix_test {
namespace {

using testing::HasSubstr;

const std::string kExample = std::string(VELORIX_SOURCE_DIR) + "/examples/assoc/";
constexpr const char* kGrid =
    "[grids.coarse]\nmode='edp'\ntime='2016-10-14'\nlatr=42.75\nlonr=13.2\nnx=15\nny=17\nxmin=-0."
    "6\n"
    "xmax=0.6\nymin=-0.69\nymax=0.69\ndepths=[0, 6, 12]\nmethod='tttaup'\nmodel='velmodel.tvel'\n"
    "compute_P=true\ncompute_S=true\n";

using Lines = std::vector<std::string>;

/// Real picks of five minutes on a coarse mesh; the grid is computed once.
class Program : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder_.emplace();
        for (const char* name : {"stations.txt", "velmodel.tvel"})
            folder_->write(name, read_file(kExample + name));
        folder_->write("velorix.toml", kGrid);
        const Finished grid =
            velorix_test::run({{"velorix", "stations.txt"}, folder_->path(), {}, ""});
        ASSERT_EQ(grid.status, 0) << grid.err;
        folder_->write("grid.vxg", grid.out);
        std::istringstream all(read_file(kExample + "picks.csv"));
        for (std::string line; picks_.size() < 600 && std::getline(all, line);)
            picks_.push_back(line);
        folder_->write("picks.csv", text(picks_));
        catalogue_ = run({}).out;
        ASSERT_THAT(catalogue_, HasSubstr(" events"));
    }
    static void TearDownTestSuite() { folder_.reset(); }

    static std::string text(const Lines& lines) {
        std::string out;
        for (const std::string& line : lines) out += line + "\n";
        return out;
    }
    static Command command(const Lines& more, const char* picks,
                           Output output = Output::collected) {
        Lines words{"velorix-assoc", "--grids", "grid.vxg", "--picks", picks};
        words.insert(words.end(), more.begin(), more.end());
        return {words, folder_->path(), {}, "", output};
    }
    static Finished run(const Lines& more, const char* picks = "picks.csv",
                        Output output = Output::collected) {
        return velorix_test::run(command(more, picks, output));
    }
    static size_t files() {
        const std::filesystem::directory_iterator all(folder_->path());
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }

    static inline std::optional<TempFolder> folder_;
    static inline Lines picks_;
    static inline std::string catalogue_;
};

TEST_F(Program, FindsTheSameEventsHoweverThePicksAreGiven) {
    Lines unsorted(picks_.rbegin(), picks_.rend() - 1);
    unsorted.insert(unsorted.begin(), picks_[0]);
    Lines twice = picks_;
    twice.insert(twice.end(), picks_.begin() + 1, picks_.end());
    Lines foreign = picks_;
    foreign.push_back("XX,NOPE,HHZ,P,2016-10-14T00:01:00Z,1476403260,0.5");
    foreign.push_back(foreign.back());
    const struct {
        const char* name;
        const Lines& picks;
        const char* message;
    } cases[] = {{"unsorted", unsorted, "the file is held whole and sorted"},
                 {"duplicates", twice, ", 599 duplicates dropped\n"},
                 {"foreign", foreign, "1 stations with picks are in no grid: XX.NOPE (2)\n"}};
    for (const auto& c : cases) {
        folder_->write("odd.csv", text(c.picks));
        const Finished finished = run({}, "odd.csv");
        EXPECT_EQ(finished.status, 0) << c.name;
        EXPECT_EQ(finished.out, catalogue_) << c.name;
        EXPECT_THAT(finished.err, HasSubstr(c.message)) << c.name;
    }
    ASSERT_EQ(mkfifo(folder_->path("pipe").c_str(), 0600), 0);
    std::thread writer([] { folder_->write("pipe", text(picks_)); });
    EXPECT_EQ(run({}, "pipe").out, catalogue_);
    writer.join();
}

TEST_F(Program, RefusesSenselessParametersAndTimes) {
    struct Case {
        const char* toml;
        Lines words;
        const char* message;
    } cases[] = {
        {"[events.coarse]\nwindow=1e9",
         {},
         "events.coarse.window: must be above 0, at most 86400 s"},
        {"[events.coarse]\nmin_coverage=2.0", {}, "events.coarse.min_coverage: must be at most 1"},
        {"[grids.coarse]\ns_max_resid=-1.0", {}, "grids.coarse.s_max_resid: must not be negative"},
        {"[grids.coarse]\nphase_sifter='('", {}, "grids.coarse.phase_sifter is no pattern"},
        {"[grids.coarse]\nstation_weights=['( 1 1 1 1']",
         {},
         "grids.coarse.station_weights: a pattern is none"},
        {"", {"--from", ""}, "--from: '' is not a time"},
        {"", {"--from", "2016-10-15", "--to", "2016-10-14"}, "--from is after --to."}};
    for (Case c : cases) {
        folder_->write("odd.toml", c.toml);
        c.words.insert(c.words.end(), {"-pf", "odd.toml"});
        const Finished finished = run(c.words);
        EXPECT_EQ(finished.status, 1) << c.message;
        EXPECT_EQ(finished.out, "") << c.message;
        EXPECT_THAT(finished.err, HasSubstr(std::string("velorix-assoc: ") + c.message)) << c.toml;
    }
}

TEST_F(Program, EndsWellOnPicksThatMakeNoCatalogue) {
    Lines instant{picks_[0]};
    for (size_t i = 1; i < picks_.size(); ++i) {
        const size_t phase_end = picks_[i].find(",2016");
        instant.push_back(picks_[i].substr(0, phase_end) + ",2016-10-14T00:00:10Z,1476403210,1");
    }
    folder_->write("ignore.toml", "phase_labels = 'ignore'\n");
    const struct {
        const char* name;
        std::string picks;
        Lines words;
        int status;
        const char* message;
    } cases[] = {
        {"one instant", text(instant), {}, 0, ", 501 duplicates dropped"},
        {"empty", "", {}, 0, "0 picks (empty file)"},
        {"header alone", picks_[0] + "\n", {}, 0, "0 picks (CSV)"},
        {"five picks",
         text({picks_.begin(), picks_.begin() + 6}),
         {"-pf", "ignore.toml", "--explain", "2016-10-14T00:00:09"},
         0,
         " (grid coarse); too few picks: 4 of 8 in the window\n"},
        {"truncated",
         text(picks_) + "IV,ARRO",
         {},
         1,
         "velorix-assoc: odd.csv:601: 2 of 7 fields, the file ends in the middle of the line\n"},
        {"truncated, passed over",
         text(picks_) + "IV,ARRO",
         {"--skip-bad"},
         0,
         "1 unreadable lines passed over\n"}};
    for (const auto& c : cases) {
        folder_->write("odd.csv", c.picks);
        const Finished finished = run(c.words, "odd.csv");
        EXPECT_EQ(finished.status, c.status) << c.name;
        EXPECT_THAT(finished.err, HasSubstr(c.message)) << c.name;
        EXPECT_EQ(finished.out.empty(), c.status != 0) << c.name;
    }
}

TEST_F(Program, SaysWhyAnOutputCannotBeWrittenAndLeavesNothing) {
    std::filesystem::create_directory(folder_->path("taken"));
    std::filesystem::create_directory(folder_->path("css.origerr"));
    // Not the device itself: a program at fault would replace it.
    std::filesystem::create_symlink("/dev/full", folder_->path("full"));
    const std::string named = "velorix-assoc: cannot write '";
    const std::string standard = "velorix-assoc: cannot write standard output\nvelorix-assoc: ";
    const struct {
        Lines words;
        Output output;
        std::string message;
    } cases[] = {
        {{"--out", "taken"}, Output::collected, named + "taken'\nvelorix-assoc: Is a directory\n"},
        {{"--out", "no/such"}, Output::collected, named + "no/such'\nvelorix-assoc: No such file"},
        {{"--out", "full"}, Output::collected, named + "full'\nvelorix-assoc: No space left"},
        {{"--out", "css", "--format", "css"}, Output::collected, named + "css.origerr'\n"},
        {{}, Output::full_device, standard + "No space left"},
    };
    const size_t before = files();
    for (const auto& c : cases) {
        const Finished finished = run(c.words, "picks.csv", c.output);
        EXPECT_EQ(finished.status, 1) << c.message;
        EXPECT_THAT(finished.err, HasSubstr(c.message));
        EXPECT_EQ(files(), before) << c.message;
    }
    EXPECT_TRUE(std::filesystem::is_symlink(folder_->path("full")));
}

TEST_F(Program, WritesThroughALink) {
    using std::filesystem::perms;
    std::filesystem::create_symlink("target", folder_->path("link"));
    for (const perms kept : {perms::owner_read | perms::owner_write, perms::owner_all}) {
        EXPECT_EQ(run({"--out", "link"}).status, 0) << "before the target is there, and after";
        EXPECT_TRUE(std::filesystem::is_symlink(folder_->path("link")));
        EXPECT_EQ(read_file(folder_->path("target")), catalogue_);
        std::filesystem::permissions(folder_->path("target"), kept);
        EXPECT_EQ(run({"--out", "target"}).status, 0);
        EXPECT_EQ(std::filesystem::status(folder_->path("target")).permissions(), kept);
    }
}

TEST_F(Program, ASignalEndsTheRunWithTheEventsFoundSoFar) {
    folder_->write("all.csv", read_file(kExample + "picks.csv"));
    const std::string whole = run({"--format", "json"}, "all.csv").out;
    for (const int number : {SIGINT, SIGTERM}) {
        Running program(command({"--format", "json", "--out", "cut.json", "-v"}, "all.csv"));
        EXPECT_THAT(program.read_until(" score "), HasSubstr(" score ")) << "no event yet";
        program.signal(number);
        const Finished finished = program.finish();
        EXPECT_THAT(finished.err,
                    HasSubstr("velorix-assoc: interrupted: the catalogue ends with the events "
                              "found so far\n"));
        EXPECT_EQ(finished.status, 128 + number);
        const std::string text = read_file(folder_->path("cut.json"));
        EXPECT_LT(text.size(), whole.size());
        std::istringstream cut(text);
        size_t events = 0;
        for (std::string line; std::getline(cut, line); ++events) {
            EXPECT_EQ(line.back(), '}');
            EXPECT_THAT(line, HasSubstr("\"id\":"));
        }
        EXPECT_GE(events, 1u);
    }
}

}  // namespace
}  // namespace velorix_test
