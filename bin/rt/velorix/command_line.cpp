#include "command_line.h"

#include <cstdio>
#include <cstring>

#include "platform/elog/elog.h"

namespace velorix::tool {

void usage() { std::fputs("usage: velorix [-pf pfname] [-time {timestr|all}] dbname\n", stderr); }

std::optional<CommandLine> parse_command_line(int argc, char* const* argv) {
    CommandLine line;
    if (argc < 2) {
        usage();
        return std::nullopt;
    }
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; i += 2) {
        const bool pf = std::strcmp(argv[i], "-pf") == 0;
        if (!pf && std::strcmp(argv[i], "-time") != 0) {
            elog_complain(0, "Unrecognized argument '%s'.\n", argv[i]);
            usage();
            return std::nullopt;
        }
        if (i + 1 == argc) {
            elog_complain(0, "Need argument for %s.\n", argv[i]);
            usage();
            return std::nullopt;
        }
        (pf ? line.pfname : line.time) = argv[i + 1];
    }
    if (i == argc) {
        elog_complain(0, "Need dbname argument.\n");
        usage();
        return std::nullopt;
    }
    line.dbname = argv[i];
    return line;
}

}  // namespace velorix::tool
