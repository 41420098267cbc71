#ifndef VELORIX_ASSOC_TIMES_H
#define VELORIX_ASSOC_TIMES_H
// Times as text.
#include <optional>
#include <string>
#include <string_view>

namespace velorix::assoc {

/// A number of seconds between the years 1 and 9999, which is what catalogues can hold;
/// milliseconds are not.
std::optional<double> epoch_seconds(std::string_view text);
/// Whether epoch seconds are a time that catalogues can hold.
bool in_calendar(double seconds);
/// Midnight, UTC, of a date of the Gregorian calendar; days beyond the month's last are counted on.
double midnight(long long year, long long month, long long day);
/// ISO 8601 (UTC when without an offset) or epoch seconds.
std::optional<double> epoch(std::string_view text);
/// "2016-10-14T00:00:09.05Z" with 0 to 6 decimals, rounded.
std::string iso_time(double epoch, int decimals);

}  // namespace velorix::assoc
#endif
