// velorix-report: catalogues and grids in, one page for a browser out.
#include <cstdio>
#include <exception>
#include <new>

#include "inputs.h"
#include "mapped_files.h"
#include "no_memory.h"
#include "options.h"
#include "platform/elog/elog.h"
#include "standard_streams.h"
#include "support/say.h"

namespace velorix::report {
namespace {

std::string file_name(const std::string& path) { return path.substr(path.rfind('/') + 1); }

assoc::PageRun run_of(const Options& options) {
    assoc::PageRun run;
    for (const std::string& file : options.files) {
        run.sources.push_back(file == "-" ? "standard input" : file_name(file));
    }
    run.title = options.title;
    for (const std::string& source : run.sources) {
        if (options.title.empty()) run.title += (run.title.empty() ? "" : ", ") + source;
    }
    return run;
}

int run(const Options& options) {
    Inputs inputs;
    for (const std::string& file : options.files) {
        if (!inputs.read(file, options.skip_bad)) return 1;
    }
    if (inputs.bad() > 0) {
        assoc::complain(std::to_string(inputs.bad()) + " unreadable events passed over");
    }
    assoc::PageWriter page(inputs.digest());
    page.set_run(run_of(options));
    assoc::CatalogueFiles files;
    if (!files.open(options.out, page.suffixes(), options.files)) return 1;
    const auto sinks = files.sinks();
    const bool written = page.begin(sinks) && inputs.give(page, sinks) && page.end(sinks);
    return written && files.commit() ? 0 : 1;
}

int start(int argc, char** argv) {
    Options options;
    switch (parse_options(argc, argv, options)) {
        case Parsed::done:
            if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
            assoc::fail_with_errno("cannot write standard output");
            return 1;
        case Parsed::wrong:
            return 1;
        case Parsed::run:
            break;
    }
    return run(options);
}

}  // namespace
}  // namespace velorix::report

int main(int argc, char** argv) {
    velorix::tool::occupy_standard_streams();
    velorix::tool::end_when_mapped_file_is_lost();
    velorix::tool::end_when_memory_fails();
    elog_init(argc, argv);
    try {
        return velorix::report::start(argc, argv);
    } catch (const std::bad_alloc&) {
        elog_log(0, "out of memory\n");
    } catch (const std::exception& error) {
        elog_log(0, "%s\n", error.what());
    }
    return 1;
}
