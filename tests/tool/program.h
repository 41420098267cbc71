#ifndef VELORIX_TESTS_TOOL_PROGRAM_H
#define VELORIX_TESTS_TOOL_PROGRAM_H
// Runs a built program as a user would and collects what it writes.
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/temp_file.h"

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

/// A program whose standard error is read as it comes. One that cannot be started ends with 126.
class Running {
  public:
    explicit Running(Command command);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    /// Reads until `wanted` has come, or to the end; gives all that has come so far.
    const std::string& read_until(const std::string& wanted);
    void signal(int number) const;
    /// Waits for the end, once.
    Finished finish();

  private:
    bool read_more();

    TempFolder files_;
    pid_t process_ = 0;
    int err_ = -1;
    std::string text_;
};

inline Finished run(const Command& command) { return Running(command).finish(); }

}  // namespace velorix_test
#endif
