#include "options.h"

#include <charconv>
#include <cmath>
#include <span>
#include <string_view>

#include "platform/elog/elog.h"

namespace velorix::info {

const char* const kUsage =
    "usage: velorix-info [--brief | --stations | --nodes | --times NODE] [--json] FILE...\n";

const char* const kHelp =
    "Shows what travel-time grid files hold. FILE may be - for standard input.\n"
    "\n"
    "  --brief       one line for each grid\n"
    "  --stations    the stations of each grid, as CSV\n"
    "  --nodes       the nodes of each grid, as CSV\n"
    "  --times NODE  distance, P and S time from one node to each station, as CSV; NODE is a\n"
    "                node number from 0, or LAT,LON,DEPTH (degrees, km) for the nearest node\n"
    "  --json        everything as one JSON array with an object for each grid\n"
    "  --help        this text\n"
    "  --version     the version\n"
    "\n"
    "Exit status: 0, or 1 when a file could not be read or a node does not exist.\n";

namespace {

template <class Number>
std::optional<Number> whole_number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<Point> point(std::string_view text) {
    double value[3];
    for (double& coordinate : value) {
        const size_t comma = text.find(',');
        const bool last = &coordinate == &value[2];
        if (last != (comma == std::string_view::npos)) return std::nullopt;
        const auto number = whole_number<double>(text.substr(0, comma));
        if (!number || !std::isfinite(*number)) return std::nullopt;
        coordinate = *number;
        text.remove_prefix(last ? text.size() : comma + 1);
    }
    if (std::abs(value[0]) > 90 || std::abs(value[1]) > 360) return std::nullopt;
    return Point{value[0], value[1], value[2]};
}

std::optional<NodeChoice> node_choice(std::string_view text) {
    if (const auto number = whole_number<int64_t>(text)) return *number;
    if (const auto at = point(text)) return *at;
    return std::nullopt;
}

bool choose_listing(Options& options, Listing listing) {
    if (options.listing != Listing::none && options.listing != listing) {
        elog_complain(0, "Choose one of --stations, --nodes and --times.\n");
        return false;
    }
    options.listing = listing;
    return true;
}

bool read_times(Options& options, const char* word) {
    if (!word) {
        elog_complain(0, "Need argument for --times.\n");
        return false;
    }
    const auto choice = node_choice(word);
    if (!choice) {
        elog_complain(0, "'%s' is neither a node number nor LAT,LON,DEPTH.\n", word);
        return false;
    }
    options.node = *choice;
    return choose_listing(options, Listing::times);
}

/// An option without a value.
bool read_flag(Options& options, std::string_view word) {
    if (word == "--stations") return choose_listing(options, Listing::stations);
    if (word == "--nodes") return choose_listing(options, Listing::nodes);
    if (word == "--json") return options.json = true;
    if (word == "--brief") return options.brief = true;
    if (word == "--help" || word == "-h") return options.help = true;
    if (word == "--version") return options.version = true;
    elog_complain(0, "Unrecognized argument '%s'.\n", std::string(word).c_str());
    return false;
}

bool read_words(Options& options, std::span<char* const> words) {
    bool only_files = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string_view word = words[i];
        if (only_files || word.size() < 2 || word[0] != '-') {
            options.files.emplace_back(word);
        } else if (word == "--") {
            only_files = true;
        } else if (word == "--times") {
            const char* value = i + 1 < words.size() ? words[i + 1] : nullptr;
            if (!read_times(options, value)) return false;
            ++i;
        } else if (!read_flag(options, word)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::optional<Options> read_options(int argc, char* const* argv) {
    Options options;
    if (argc > 0 && !read_words(options, {argv + 1, argv + argc})) return std::nullopt;
    if (options.files.empty() && !options.help && !options.version) {
        elog_complain(0, "Need FILE argument.\n");
        return std::nullopt;
    }
    return options;
}

}  // namespace velorix::info
