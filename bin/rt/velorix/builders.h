#ifndef VELORIX_TOOL_BUILDERS_H
#define VELORIX_TOOL_BUILDERS_H
// The modes of a grid's parameters and who lays such a grid out: for the tool, and for whoever
// makes the same grids.
#include "velorix.h"

namespace velorix::tool {

/// A way to lay out a grid.
struct Builder {
    const char* mode;
    /// As the builders of velorix.h: 0, or -1 after a logged line.
    int (*setup)(Velorix* grid, const char* name, Pf* pf);
    const char* label;
    const char* failure;  ///< the line behind that of a builder that failed
};

/// The builder of a mode; null when there is none.
const Builder* find_builder(const char* mode);

/// Zeroes the addresses of a packed heap's header that no reader looks at: they are those of this
/// process, and would make equal input give unequal files.
void clear_addresses(char* heap);

}  // namespace velorix::tool
#endif
