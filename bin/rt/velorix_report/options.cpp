#include "options.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "support/say.h"

namespace velorix::report {
namespace {

constexpr const char* kUsage =
    "usage: velorix-report [--out PATH] [--title TEXT] [--skip-bad] FILE...\n";

constexpr const char* kAbout =
    "Writes events and grids as one page for a browser. FILE: event documents, QuakeML, or a grid "
    "file;\n- is standard input.\n";

Parsed refuse(const std::string& message) {
    assoc::complain(message);
    std::fputs(kUsage, stderr);
    return Parsed::wrong;
}

}  // namespace

Parsed parse_options(int argc, const char* const* argv, Options& options) {
    CLI::App app;
    bool version = false;
    app.add_option("--out", options.out, "output file instead of standard output")
        ->type_name("PATH");
    app.add_option("--title", options.title, "title of the page")->type_name("TEXT");
    app.add_flag("--skip-bad", options.skip_bad, "pass over what cannot be read as an event");
    app.add_flag("--version", version, "print the version");
    app.add_option("FILE", options.files)->group("");
    app.set_help_flag("-h,--help", "this text");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const std::string list = CLI::Formatter().make_groups(&app, CLI::AppFormatMode::Normal);
        std::printf("%s%s%s", kUsage, kAbout, list.c_str());
        return Parsed::done;
    } catch (const CLI::ParseError& error) {
        return refuse(error.what());
    }
    if (version) {
        std::printf("velorix-report %s\n", VELORIX_VERSION);
        return Parsed::done;
    }
    return options.files.empty() ? refuse("Need FILE argument.") : Parsed::run;
}

}  // namespace velorix::report
