#ifndef VELORIX_ASSOC_TEXT_H
#define VELORIX_ASSOC_TEXT_H
// Text of pick files and reports, independent of the locale.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velorix::assoc {

std::string_view trim(std::string_view text);
std::string lower(std::string_view text);
/// Whole text as a finite number.
std::optional<double> number(std::string_view text);
std::optional<long long> whole_number(std::string_view text);
/// A number of seconds between the years 1 and 9999, which is what catalogues can hold;
/// milliseconds are not.
std::optional<double> epoch_seconds(std::string_view text);
/// ISO 8601 or epoch seconds.
std::optional<double> epoch(std::string_view text);
/// Fields of a CSV line (RFC 4180: quoted fields, doubled quotes); nothing when a quote stays open.
std::optional<std::vector<std::string>> split_csv(std::string_view line, char separator);
/// A CSV field, quoted when it must be.
std::string csv_field(const std::string& text);
/// printf into a string.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
/// "2016-10-14T00:00:09.05Z" with 0 to 6 decimals, rounded.
std::string iso_time(double epoch, int decimals);
/// A message with its newline to standard error through the error log; false always.
bool fail(const std::string& message);
void complain(const std::string& message);

}  // namespace velorix::assoc
#endif
