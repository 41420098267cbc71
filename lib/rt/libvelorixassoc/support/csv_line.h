#ifndef VELORIX_ASSOC_CSV_LINE_H
#define VELORIX_ASSOC_CSV_LINE_H
// Lines of separated values (RFC 4180).
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velorix::assoc {

/// Trimmed fields of a line, with quoted fields and doubled quotes; nothing when a quote stays
/// open.
std::optional<std::vector<std::string>> split_csv(std::string_view line, char separator);

}  // namespace velorix::assoc
#endif
