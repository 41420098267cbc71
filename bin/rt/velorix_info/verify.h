#ifndef VELORIX_INFO_VERIFY_H
#define VELORIX_INFO_VERIFY_H
// Whether the tables of a grid are those that its method and model give.
#include <cstdint>
#include <string>
#include <vector>

#include "velorix.h"

namespace velorix::info {

/// What a grid's tables hold beside what is computed again. Entries that differ by one unit in the
/// last place are rounding: the mathematics library has variants for processors. Others are damage.
struct Verification {
    enum class Outcome {
        compared,
        no_model,        // the grid's model is not at hand
        not_computable,  // the travel-time pass refuses the grid's positions
    };
    Outcome outcome = Outcome::compared;
    int64_t entries = 0;
    int64_t rounding = 0;
    int64_t damaged = 0;
    std::vector<std::string> first;  // damaged entries in words

    bool good() const { return outcome == Outcome::compared && damaged == 0; }
};

/// Computes a grid again, with tables of its own as large as the grid's, and compares entry by
/// entry. Logs why a grid cannot be computed, and whether its values are impossible by themselves.
/// Throws std::bad_alloc.
Verification verify(const Velorix& grid);

/// A line that says what came of it, and one for each of the first damaged entries.
std::string verification_text(const std::string& file, const Velorix& grid,
                              const Verification& found);

}  // namespace velorix::info
#endif
