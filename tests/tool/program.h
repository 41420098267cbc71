#ifndef VELORIX_TESTS_TOOL_PROGRAM_H
#define VELORIX_TESTS_TOOL_PROGRAM_H
// Runs a built program as a user would and collects what it writes.
#include <filesystem>
#include <string>
#include <vector>

namespace velorix_test {

/// Where a program's standard output goes.
enum class Output { collected, full_device, pipe_without_reader, closed };

struct Command {
    std::vector<std::string> words;  // program name in the build's bin folder, then its arguments
    std::filesystem::path folder;    // current folder
    std::vector<std::string> environment;  // NAME=VALUE, beyond the test's own
    std::string input;                     // standard input
    Output output = Output::collected;
};

struct Finished {
    int status = -1;  // exit status; 1000 + number of the signal that ended the program
    std::string out;
    std::string err;
};

/// Throws when the program cannot be started.
Finished run(const Command& command);

}  // namespace velorix_test
#endif
