// velorix-assoc as a user runs it: odd pick files, outputs that cannot be written, signals.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <sstream>

#include "support/temp_file.h"
#include "tool/program.h"

namespace velorix_test {
namespace {

using testing::HasSubstr;

const std::string kExample = std::string(VELORIX_SOURCE_DIR) + "/examples/assoc/";
constexpr const char* kGrid = R"([grids.coarse]
mode = "edp"
time = "2016-10-14"
latr = 42.75
lonr = 13.2
nx = 15
ny = 17
xmin = -0.6
xmax = 0.6
ymin = -0.69
ymax = 0.69
depths = [0, 6, 12]
method = "tttaup"
model = "velmodel.tvel"
compute_P = true
compute_S = true
)";

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
    static Lines words(const Lines& more, const char* picks = "picks.csv") {
        Lines all{"velorix-assoc", "--grids", "grid.vxg", "--picks", picks};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    static Finished run(const Lines& more, const char* picks = "picks.csv",
                        Output output = Output::collected) {
        return velorix_test::run({words(more, picks), folder_->path(), {}, "", output});
    }
    static size_t files() {
        const std::filesystem::directory_iterator all(folder_->path());
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }

    static std::optional<TempFolder> folder_;
    static Lines picks_;
    static std::string catalogue_;
};
std::optional<TempFolder> Program::folder_;
Lines Program::picks_;
std::string Program::catalogue_;

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
    } cases[] = {{"unsorted", unsorted, "599 picks"},
                 {"duplicates", twice, "599 duplicate picks dropped\n"},
                 {"foreign", foreign, "1 stations with picks are in no grid: XX.NOPE (2)\n"}};
    for (const auto& c : cases) {
        folder_->write("odd.csv", text(c.picks));
        const Finished finished = run({}, "odd.csv");
        EXPECT_EQ(finished.status, 0) << c.name;
        EXPECT_EQ(finished.out, catalogue_) << c.name;
        EXPECT_THAT(finished.err, HasSubstr(c.message)) << c.name;
    }
}

TEST_F(Program, EndsWellOnPicksThatMakeNoCatalogue) {
    Lines instant{picks_[0]};
    for (size_t i = 1; i < picks_.size(); ++i) {
        const size_t phase_end = picks_[i].find(",2016");
        instant.push_back(picks_[i].substr(0, phase_end) + ",2016-10-14T00:00:10Z,1476403210,1");
    }
    const struct {
        const char* name;
        std::string picks;
        Lines words;
        int status;
        const char* message;
    } cases[] = {
        {"one instant", text(instant), {}, 0, "duplicate picks dropped"},
        {"empty", "", {}, 0, "0 picks (empty file)"},
        {"header alone", picks_[0] + "\n", {}, 0, "0 picks (CSV)"},
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
        {{"--show-parameters"}, Output::full_device, standard + "No space left"},
        {{"--help"}, Output::full_device, standard + "No space left"},
        {{}, Output::pipe_without_reader, standard + "Broken pipe"},
        {{}, Output::closed, standard + "Bad file descriptor"},
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
    folder_->write("target", "old");
    std::filesystem::create_symlink("target", folder_->path("link"));
    EXPECT_EQ(run({"--out", "link"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder_->path("link")));
    EXPECT_EQ(read_file(folder_->path("target")), catalogue_);
}

/// A program whose standard error is read as it comes.
class Running {
  public:
    Running(const std::filesystem::path& folder, Lines words) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        err_ = ends[0];
        // So small a pipe makes the program wait until its lines are read.
        fcntl(ends[1], F_SETPIPE_SZ, 4096);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
        posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
        std::vector<char*> list;
        for (std::string& word : words) list.push_back(word.data());
        list.push_back(nullptr);
        const std::string program = VELORIX_BIN_DIR "/" + words[0];
        EXPECT_EQ(posix_spawn(&process_, program.c_str(), &actions, nullptr, list.data(), environ),
                  0);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
    }
    ~Running() { close(err_); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    /// Reads until `wanted` has come, or to the end.
    std::string read_until(const std::string& wanted) {
        char buffer[256];
        while (text_.find(wanted) == text_.npos) {
            const ssize_t n = read(err_, buffer, sizeof buffer);
            if (n <= 0) break;
            text_.append(buffer, static_cast<size_t>(n));
        }
        return text_;
    }
    void signal(int number) const { kill(process_, number); }
    int status() const {
        int status = 0;
        waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

  private:
    pid_t process_ = 0;
    int err_ = -1;
    std::string text_;
};

TEST_F(Program, ASignalEndsTheRunWithTheEventsFoundSoFar) {
    folder_->write("all.csv", read_file(kExample + "picks.csv"));
    const std::string whole = run({"--format", "json"}, "all.csv").out;
    for (const int number : {SIGINT, SIGTERM}) {
        Running program(folder_->path(),
                        words({"--format", "json", "--out", "cut.json", "-v"}, "all.csv"));
        EXPECT_THAT(program.read_until(" score "), HasSubstr(" score ")) << "no event yet";
        program.signal(number);
        EXPECT_THAT(program.read_until("no such text"),
                    HasSubstr("velorix-assoc: interrupted: the catalogue ends with the events "
                              "found so far\n"));
        EXPECT_EQ(program.status(), 128 + number);
        std::istringstream cut(read_file(folder_->path("cut.json")));
        size_t events = 0;
        for (std::string line; std::getline(cut, line); ++events) {
            EXPECT_EQ(line.back(), '}');
            EXPECT_THAT(line, HasSubstr("\"id\":"));
        }
        EXPECT_GE(events, 1u);
        EXPECT_LT(read_file(folder_->path("cut.json")).size(), whole.size());
    }
}

}  // namespace
}  // namespace velorix_test
