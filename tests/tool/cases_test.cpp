// Runs the command-line cases of the folder cases: what a user types, and all that comes back.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "case_file.h"
#include "support/temp_file.h"
#include "velorix.h"

namespace velorix_test {

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

namespace {

/// Names of the grids that a program wrote; fails the test when they cannot be read back.
std::vector<std::string> grid_names(const std::string& heaps) {
    if (heaps.empty()) return {};
    const TempFile file(heaps);
    Tbl* grids = nullptr;
    EXPECT_GE(velorix_read_file(file.c_str(), &grids), 0);
    std::vector<std::string> names;
    for (int i = 0; i < maxtbl(grids); ++i) {
        const char* name = static_cast<const Velorix*>(gettbl(grids, i))->name;
        names.emplace_back(name, strnlen(name, VELORIX_NAME_SIZE));
    }
    freetbl(grids, velorix_release);
    return names;
}

void prepare(const Case& c, const TempFolder& folder) {
    for (const auto& [name, content] : c.files) folder.write(name, content);
    for (const std::string& name : c.folders) std::filesystem::create_directory(folder.path(name));
}

class CommandLineCase : public testing::TestWithParam<Case> {};

TEST_P(CommandLineCase, BehavesAsWritten) {
    const Case& c = GetParam();
    const TempFolder folder;
    prepare(c, folder);
    Command command = c.command;
    command.folder = folder.path();
    if (!c.input_file.empty()) command.input = read_file(folder.path(c.input_file));

    const Finished finished = run(command);

    EXPECT_EQ(finished.err, c.err);
    EXPECT_EQ(finished.status, c.status);
    if (c.grids) {
        EXPECT_EQ(grid_names(finished.out), *c.grids);
    } else {
        EXPECT_EQ(finished.out, c.out);
    }
}

TEST(ErrorPage, HoldsEveryMessageOfTheCases) {
    const std::string page = read_file(VELORIX_SOURCE_DIR "/docs/errors.md");
    for (const Case& c : read_cases(VELORIX_CASES)) {
        std::istringstream lines(c.err);
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("velorix: ")) continue;
            EXPECT_NE(page.find('`' + line + '`'), std::string::npos) << c.name << ": " << line;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tool, CommandLineCase, testing::ValuesIn(read_cases(VELORIX_CASES)),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace velorix_test
