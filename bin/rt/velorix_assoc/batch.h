#ifndef VELORIX_ASSOC_BATCH_H
#define VELORIX_ASSOC_BATCH_H
// A catalogue of whole files of picks.
#include "options.h"

namespace velorix::assoc {

/// Reads, associates and writes. The exit status.
int run_batch(const Options& options, GridSet& grids, const StreamRules& rules);

}  // namespace velorix::assoc
#endif
