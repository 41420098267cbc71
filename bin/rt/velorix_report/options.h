#ifndef VELORIX_REPORT_OPTIONS_H
#define VELORIX_REPORT_OPTIONS_H
// The command line.
#include <string>
#include <vector>

namespace velorix::report {

struct Options {
    std::vector<std::string> files;
    std::string out;    ///< empty: standard output
    std::string title;  ///< empty: names of the files
    bool skip_bad = false;
};

/// What the command line asks for.
enum class Parsed { run, done, wrong };

/// Reads it; `done` after --help or --version, `wrong` after a message and the usage.
Parsed parse_options(int argc, const char* const* argv, Options& options);

}  // namespace velorix::report
#endif
