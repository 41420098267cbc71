#ifndef VELORIX_PYTHON_PICKS_H
#define VELORIX_PYTHON_PICKS_H
// Picks on their way from Python's tables to the library.
#include <vector>

#include "velorixassoc.h"

namespace velorix::python {

/// Picks by time; the tag of each is the row that it came from.
class PickTable {
  public:
    explicit PickTable(std::vector<assoc::Pick> picks);
    std::vector<assoc::Pick> picks;
};

}  // namespace velorix::python
#endif
