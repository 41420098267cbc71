#ifndef VELORIX_PYTHON_RULES_H
#define VELORIX_PYTHON_RULES_H
// Grids with the rules of a parameter text.
#include <string>
#include <vector>

#include "grids.h"
#include "log.h"
#include "velorixassoc.h"

namespace velorix::python {

/// What an associator or a scan works by; it keeps the grids.
struct Rules {
    std::vector<GridPtr> held{};
    assoc::Parameters parameters{};
    assoc::StreamRules stream{};
    assoc::GridSet grids{};
    std::string digest{};

    /// Throws Failure with the log's lines.
    void load(std::vector<GridPtr> given, const std::string& toml, const std::string& label,
              int threads, const LogScope& log);
};

}  // namespace velorix::python
#endif
