#ifndef VELORIX_SETUPGRID_OWNED_GRID_H
#define VELORIX_SETUPGRID_OWNED_GRID_H
// What stands behind a Velorix pointer of this library.
#include <memory>

#include "velorix.h"

namespace velorix {

/// The bytes that a record read back points into; shared by the grids of one file.
class Backing {
  public:
    virtual ~Backing() = default;
};

/// A record and what it keeps alive. Without a backing it owns its stations, depths and sources.
struct OwnedGrid : Velorix {
    std::shared_ptr<Backing> backing;
};

/// A record with the defaults of velorix_new, or null when memory fails; nothing is logged.
OwnedGrid* new_owned_grid();

}  // namespace velorix

#endif
