#include "options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string_view>

#include "platform/elog/elog.h"

namespace velorix::info {
namespace {

constexpr const char* kUsage =
    "usage: velorix-info [--brief | --stations | --nodes | --times NODE | --verify | --html] "
    "[--json] "
    "FILE...\n";

constexpr const char* kAbout =
    "Shows what travel-time grid files hold. FILE may be - for standard input.\n";

constexpr const char* kStatus =
    "Exit status: 0, or 1 when a file could not be read, a node does not exist, or --verify has\n"
    "found damage or has not been able to look for it.\n";

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

/// What is looked at more closely before it is an option.
struct Raw {
    bool stations = false, nodes = false, version = false;
    std::string node;
    const CLI::Option* times = nullptr;
};

void declare(CLI::App& app, Options& options, Raw& raw) {
    app.add_flag("--brief", options.brief, "one line for each grid");
    app.add_flag("--stations", raw.stations, "the stations of each grid, as CSV");
    app.add_flag("--nodes", raw.nodes, "the nodes of each grid, as CSV");
    raw.times = app.add_option("--times", raw.node,
                               "distance, P and S time from one node to each station, as CSV; NODE "
                               "is a\nnode number from 0, or LAT,LON,DEPTH (degrees, km) for the "
                               "nearest node")
                    ->type_name("NODE")
                    ->take_last();
    app.add_flag("--verify", options.verify,
                 "compute every time again and tell of those that were damaged");
    app.add_flag("--json", options.json,
                 "everything as one JSON array with an object for each grid");
    app.add_flag("--html", options.html,
                 "one page for a browser: nodes, stations and times on maps");
    app.set_help_flag("-h,--help", "this text");
    app.add_flag("--version", raw.version, "the version");
    app.add_option("FILE", options.files)->group("");
    app.allow_extras();
}

Parsed refuse(const char* format, const char* word = "") {
    elog_complain(0, format, word);
    std::fputs(kUsage, stderr);
    return Parsed::wrong;
}

void show_help(const CLI::App& app) {
    CLI::Formatter formatter;
    formatter.column_width(16);
    const std::string list = formatter.make_groups(&app, CLI::AppFormatMode::Normal);
    std::printf("%s%s%s%s", kUsage, kAbout, list.c_str(), kStatus);
}

// A node may begin with a minus: what stands behind --times belongs to it, whatever it looks like.
std::vector<std::string> words_of(int argc, const char* const* argv) {
    std::vector<std::string> words;
    bool only_files = false;
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        only_files = only_files || word == "--";
        if (!only_files && word == "--times" && i + 1 < argc) word += std::string("=") + argv[++i];
        words.push_back(std::move(word));
    }
    return {words.rbegin(), words.rend()};  // the order in which the parser takes them
}

Parsed check(const CLI::App& app, const Raw& raw, Options& options) {
    const bool times = raw.times->count() > 0;
    const auto extras = app.remaining();
    if (!extras.empty()) return refuse("Unrecognized argument '%s'.\n", extras.front().c_str());
    if (times) {
        const auto choice = node_choice(raw.node);
        if (!choice)
            return refuse("'%s' is neither a node number nor LAT,LON,DEPTH.\n", raw.node.c_str());
        options.node = *choice;
    }
    if (raw.stations + raw.nodes + times + options.verify + options.html > 1)
        return refuse("Choose one of --stations, --nodes, --times, --verify and --html.\n");
    if (options.html && (options.json || options.brief))
        return refuse("A page holds everything: neither --json nor --brief goes with --html.\n");
    if (options.verify && (options.json || options.brief))
        return refuse("What --verify finds has one form: neither --json nor --brief.\n");
    options.listing = raw.stations ? Listing::stations
                      : raw.nodes  ? Listing::nodes
                      : times      ? Listing::times
                                   : Listing::none;
    if (options.files.empty()) return refuse("Need FILE argument.\n");
    return Parsed::run;
}

}  // namespace

Parsed read_options(int argc, const char* const* argv, Options& options) {
    CLI::App app;
    Raw raw;
    declare(app, options, raw);
    try {
        app.parse(words_of(argc, argv));
    } catch (const CLI::CallForHelp&) {
        show_help(app);
        return Parsed::done;
    } catch (const CLI::ArgumentMismatch&) {
        return refuse("Need argument for %s.\n", "--times");  // no other option takes one
    } catch (const CLI::ParseError& error) {
        return refuse("%s\n", error.what());
    }
    if (raw.version) {
        std::printf("velorix-info %s\n", VELORIX_VERSION);
        return Parsed::done;
    }
    return check(app, raw, options);
}

}  // namespace velorix::info
