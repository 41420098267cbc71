#ifndef VELORIX_INFO_OPTIONS_H
#define VELORIX_INFO_OPTIONS_H
// Command line of velorix-info.
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "nodes.h"

namespace velorix::info {

enum class Listing { none, stations, nodes, times };

/// A node by number, or the node nearest to a point.
using NodeChoice = std::variant<int64_t, Point>;

struct Options {
    bool help = false;
    bool version = false;
    bool json = false;
    bool brief = false;
    Listing listing = Listing::none;
    NodeChoice node;
    std::vector<std::string> files;
};

/// Nothing after a complaint.
std::optional<Options> read_options(int argc, char* const* argv);

/// What --help prints.
extern const char* const kHelp;
/// The line that follows a complaint about the command line.
extern const char* const kUsage;

}  // namespace velorix::info
#endif
