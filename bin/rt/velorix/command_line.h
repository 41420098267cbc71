#ifndef VELORIX_TOOL_COMMAND_LINE_H
#define VELORIX_TOOL_COMMAND_LINE_H
#include <optional>

namespace velorix::tool {

/// What the words of the command line say.
struct CommandLine {
    const char* pfname = "velorix";
    const char* time = nullptr;  // of -time; null when not given
    const char* dbname = nullptr;
};

/// Writes the usage line to standard error.
void usage();

/// Nothing after a complaint and the usage line.
std::optional<CommandLine> parse_command_line(int argc, char* const* argv);

}  // namespace velorix::tool

#endif
