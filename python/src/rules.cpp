#include "rules.h"

namespace velorix::python {

void Rules::load(std::vector<GridPtr> given, const std::string& toml, const std::string& label,
                 int threads, const LogScope& log) {
    held = std::move(given);
    if (held.empty()) throw Failure("no grids");
    if (!toml.empty() && !parameters.parse(toml, label)) throw log.failure("no rules");
    if (!assoc::read_stream_rules(parameters, stream)) throw log.failure("no rules");
    for (const GridPtr& grid : held) {
        if (!grids.add(grid->get(), parameters, threads)) throw log.failure("no grid");
    }
    grids.complain_unknown(parameters);
    digest = assoc::rules_digest(grids, stream);
}

}  // namespace velorix::python
