#ifndef VELORIX_ASSOC_PICK_COLUMNS_H
#define VELORIX_ASSOC_PICK_COLUMNS_H
// Picks whose values have names: columns of CSV files, members of JSON objects.
#include <array>
#include <span>
#include <string>

#include "../velorixassoc.h"

namespace velorix::assoc {

enum Column {
    kSeed,
    kNetwork,
    kStation,
    kLocation,
    kChannel,
    kPhase,
    kTime,
    kQuality,
    kId,
    kBegin,  // when the waveforms began
    kColumns
};

struct ColumnName {
    Column column;
    const char* text;
};

/// The names that machine pickers and common tools write, the preferred one of a column first.
std::span<const ColumnName> column_names();

/// Values of one pick, empty where there are none.
using PickValues = std::array<std::string, kColumns>;

/**
 * Makes a pick of its values.
 * @param[in]  decimal_comma numbers and seconds may be written with a comma
 * @param[out] wrong         the column at fault when the result is false
 * @param[out] why           what is wrong there
 */
bool pick_of(PickValues& values, bool decimal_comma, Pick& pick, Column& wrong, std::string& why);

}  // namespace velorix::assoc
#endif
