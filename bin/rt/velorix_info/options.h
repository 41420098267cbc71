#ifndef VELORIX_INFO_OPTIONS_H
#define VELORIX_INFO_OPTIONS_H
// Command line of velorix-info.
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "nodes.h"

namespace velorix::info {

enum class Listing { none, stations, nodes, times };

/// A node by number, or the node nearest to a point.
using NodeChoice = std::variant<int64_t, Point>;

struct Options {
    bool json = false;
    bool brief = false;
    bool verify = false;
    bool html = false;
    Listing listing = Listing::none;
    NodeChoice node;
    std::vector<std::string> files;
};

/// What the command line asks for: a run, nothing more (help, version), or it is wrong (told).
enum class Parsed { run, done, wrong };

Parsed read_options(int argc, const char* const* argv, Options& options);

}  // namespace velorix::info
#endif
