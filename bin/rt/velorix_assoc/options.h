#ifndef VELORIX_ASSOC_OPTIONS_H
#define VELORIX_ASSOC_OPTIONS_H
// The command line.
#include <optional>
#include <string>
#include <vector>

#include "velorixassoc.h"

namespace velorix::assoc {

struct Options {
    std::string parameter_file;
    std::vector<std::string> grids;
    PickStreamOptions stream;
    int threads = 1;
    Format format = Format::text;
    std::string out;  ///< empty: standard output
    bool follow = false;
    bool show_parameters = false;
    bool verbose = false;
    bool quiet = false;
    std::optional<double> explain;
};

/// What the command line asks for.
enum class Parsed { run, done, wrong };

/// Reads it; `done` after --help or --version, `wrong` after a message and the usage.
Parsed parse_options(int argc, const char* const* argv, Options& options);

}  // namespace velorix::assoc
#endif
