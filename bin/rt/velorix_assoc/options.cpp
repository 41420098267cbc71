#include "options.h"
#include "platform/pmtcomp/pmtcomp.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "platform/elog/closest.h"
#include "support/say.h"
#include "support/times.h"
#include "velorix_pvt.h"

namespace velorix::assoc {
namespace {

constexpr const char* kUsage =
    "usage: velorix-assoc [-pf FILE] --grids FILE... --picks FILE... [--from T] [--to T]\n"
    "                     [--threads N] [--format text|csv|json|quakeml|css|html] [--out PATH]\n"
    "                     [--skip-bad] [--sampling-rate HZ] [--start T] [--follow]\n"
    "                     [--show-parameters] [--explain T] [-v] [-q]\n";

constexpr double kHighestRate = 1e6;  // Hz

struct Raw {
    std::vector<std::string> picks;
    std::string from, to, start, explain, format = "text";
    const CLI::Option *from_given = nullptr, *to_given = nullptr, *explain_given = nullptr,
                      *format_given = nullptr, *start_given = nullptr, *rate_given = nullptr,
                      *threads_given = nullptr;
    bool version = false;
};

void declare(CLI::App& app, Options& o, Raw& raw) {
    app.add_option("--pf", o.parameter_file, "parameter file (TOML)")->type_name("FILE");
    app.add_option("--grids", o.grids, "grid files")->type_name("FILE");
    app.add_option("--picks", raw.picks, "pick files; - is standard input")->type_name("FILE");
    raw.from_given = app.add_option("--from", raw.from, "first pick time")->type_name("TIME");
    raw.to_given = app.add_option("--to", raw.to, "last pick time")->type_name("TIME");
    raw.threads_given = app.add_option("--threads", o.threads, "threads of a scan")->type_name("N");
    raw.format_given =
        app.add_option("--format", raw.format, "text, csv, json, quakeml, css or html")
            ->type_name("FORMAT");
    app.add_option("--out", o.out, "output file; css: database name")->type_name("PATH");
    raw.explain_given =
        app.add_option("--explain", raw.explain, "say what was found or missing around a time")
            ->type_name("TIME");
    app.add_flag("--skip-bad", o.stream.skip_bad, "count unreadable lines and go on");
    raw.rate_given = app.add_option("--sampling-rate", o.stream.files.sampling_rate,
                                    "of sample numbers in pick files, Hz")
                         ->type_name("HZ");
    raw.start_given = app.add_option("--start", raw.start,
                                     "time of sample or second 0 where a pick file says none")
                          ->type_name("TIME");
    app.add_flag("--follow", o.follow, "tell of events as they form, as JSON documents");
    app.add_flag("--show-parameters", o.show_parameters, "print the parameters in force and end");
    app.add_flag("-v,--verbose", o.verbose, "one line an event");
    app.add_flag("-q,--quiet", o.quiet, "errors only");
    app.add_flag("--version", raw.version, "print the version");
}

Parsed refuse(const std::string& message) {
    complain(message);
    std::fputs(kUsage, stderr);
    return Parsed::wrong;
}

/// "--output" was meant to be "--out".
std::string unrecognized(const CLI::App& app, const std::string& word) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    std::vector<const char*> known;
    for (const std::string& name : names) known.push_back(name.c_str());
    const char* meant = word.starts_with("-") ? closest(word, known) : nullptr;
    return "Unrecognized argument '" + word + "'" +
           (meant ? std::string(", did you mean '") + meant + "'?" : ".");
}

bool time_of(const CLI::Option* given, const std::string& text, double& out, std::string& error) {
    if (given->count() == 0) return true;
    const auto value = epoch(text);
    if (value) out = *value;
    if (!value) error = given->get_name() + ": '" + text + "' is not a time";
    return value.has_value();
}

Parsed check(Options& o, const Raw& raw) {
    std::string error;
    double explain = 0.0, start = 0.0;
    if (o.grids.empty()) return refuse("Need --grids.");
    if (raw.picks.empty() && !o.show_parameters) return refuse("Need --picks.");
    if (std::count(raw.picks.begin(), raw.picks.end(), "-") > 1) {
        return refuse("Standard input can be read once only.");
    }
    if (o.follow && (raw.picks.size() != 1 || !o.out.empty() || raw.explain_given->count() > 0 ||
                     raw.format_given->count() > 0)) {
        return refuse(
            "--follow reads one source and writes documents to standard output: it goes "
            "with one --picks, without --out, --format and --explain.");
    }
    const auto format = format_of(raw.format);
    if (!format) return refuse("Unrecognized format '" + raw.format + "'.");
    if (*format == Format::css && o.out.empty() && !o.show_parameters) {
        return refuse("Format css needs --out.");
    }
    if (raw.threads_given->count() == 0 && (o.threads = pmtcomp_threads()) < 1)
        return Parsed::wrong;
    if (o.threads < 1 || o.threads > VELORIX_MOST_THREADS) {
        return refuse("--threads must be between 1 and " + std::to_string(VELORIX_MOST_THREADS) +
                      ".");
    }
    if (!time_of(raw.from_given, raw.from, o.stream.from, error) ||
        !time_of(raw.to_given, raw.to, o.stream.to, error) ||
        !time_of(raw.start_given, raw.start, start, error) ||
        !time_of(raw.explain_given, raw.explain, explain, error)) {
        return refuse(error);
    }
    const double rate = o.stream.files.sampling_rate;
    if (raw.rate_given->count() > 0 && !(rate > 0.0 && rate <= kHighestRate)) {
        return refuse("--sampling-rate must be above 0 and at most a million Hz.");
    }
    if (raw.start_given->count() > 0) o.stream.files.start = start;
    if (o.stream.from > o.stream.to) return refuse("--from is after --to.");
    if (raw.explain_given->count() > 0) o.explain = explain;
    o.format = *format;
    o.stream.paths = raw.picks;
    return Parsed::run;
}

}  // namespace

Parsed parse_options(int argc, const char* const* argv, Options& options) {
    CLI::App app;
    Raw raw;
    declare(app, options, raw);
    app.set_help_flag("-h,--help", "this text");
    app.allow_extras();
    // -pf is the tools' common spelling; the parser knows long names with two dashes only.
    std::vector<std::string> words;
    for (int i = argc - 1; i > 0; --i) {
        words.push_back(std::string(argv[i]) == "-pf" ? "--pf" : argv[i]);
    }
    try {
        app.parse(std::move(words));
    } catch (const CLI::CallForHelp&) {
        std::string list = CLI::Formatter().make_groups(&app, CLI::AppFormatMode::Normal);
        if (const size_t at = list.find("--pf"); at != list.npos) list.replace(at, 4, "-pf ");
        std::printf("%s%s", kUsage, list.c_str());
        return Parsed::done;
    } catch (const CLI::ParseError& error) {
        return refuse(error.what());
    }
    const auto extras = app.remaining();
    if (!extras.empty()) return refuse(unrecognized(app, extras.front()));
    if (raw.version) {
        std::printf("velorix-assoc %s\n", VELORIX_VERSION);
        return Parsed::done;
    }
    return check(options, raw);
}

}  // namespace velorix::assoc
