// velorix-assoc: picks and grid files in, a catalogue of events out.
#include <cstdio>
#include <exception>
#include <new>

#include "batch.h"
#include "follow.h"
#include "mapped_files.h"
#include "no_memory.h"
#include "options.h"
#include "platform/elog/elog.h"
#include "signals.h"
#include "standard_streams.h"

using namespace velorix::assoc;

namespace {

bool flush_output() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
    elog_log(1, "cannot write standard output\n");
    return false;
}

int show(const StreamRules& rules, const GridSet& grids) {
    std::fputs(show_stream_rules(rules).c_str(), stdout);
    std::fputs(grids.show().c_str(), stdout);
    return flush_output() ? 0 : 1;
}

int run(const Options& options) {
    Parameters parameters;
    StreamRules rules;
    GridSet grids;
    if (!options.parameter_file.empty() && !parameters.read(options.parameter_file)) return 1;
    if (!read_stream_rules(parameters, rules)) return 1;
    if (!grids.load(options.grids, parameters, options.threads)) return 1;
    grids.complain_unknown(parameters);
    if (options.show_parameters) return show(rules, grids);
    catch_signals();
    return options.follow ? run_follow(options, grids, rules) : run_batch(options, grids, rules);
}

}  // namespace

int main(int argc, char** argv) {
    velorix::tool::occupy_standard_streams();
    velorix::tool::end_when_mapped_file_is_lost();
    velorix::tool::end_when_memory_fails();
    elog_init(argc, argv);
    Options options;
    try {
        switch (parse_options(argc, argv, options)) {
            case Parsed::done:
                return flush_output() ? 0 : 1;
            case Parsed::wrong:
                return 1;
            case Parsed::run:
                break;
        }
        return run(options);
    } catch (const std::bad_alloc&) {
        elog_log(0, "out of memory\n");
    } catch (const std::exception& error) {
        elog_log(0, "%s\n", error.what());
    }
    return 1;
}
