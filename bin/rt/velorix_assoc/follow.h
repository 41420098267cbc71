#ifndef VELORIX_ASSOC_FOLLOW_H
#define VELORIX_ASSOC_FOLLOW_H
// Events told of as they form, from a stream of picks.
#include "options.h"

namespace velorix::assoc {

/// Reads one source until it ends or a signal comes, and writes an event document a line. The exit
/// status.
int run_follow(const Options& options, GridSet& grids, const StreamRules& rules);

}  // namespace velorix::assoc
#endif
