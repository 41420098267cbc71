#include "times.h"

#include <cmath>

#include "platform/timeconv/timeconv.h"
#include "text_values.h"

namespace velorix::assoc {

// A day within, so that an event may precede its picks.
bool in_calendar(double seconds) {
    constexpr double kFirst = -62135510400.0;  // 0001-01-02
    constexpr double kLast = 253402214400.0;   // 9999-12-31
    return seconds >= kFirst && seconds <= kLast;
}

std::optional<double> epoch_seconds(std::string_view text) {
    const auto seconds = number(text);
    return seconds && in_calendar(*seconds) ? seconds : std::nullopt;
}

// Seconds that a time of day is ahead of UTC by its offset (+02, +02:00, -0330), which is cut off;
// 0 without one.
static double take_offset(std::string_view& time) {
    const size_t clock = time.find(':');
    const size_t sign = clock == time.npos ? time.npos : time.find_first_of("+-", clock);
    if (sign == time.npos) return 0.0;
    std::string digits(time.substr(sign + 1));
    if (digits.size() == 5 && digits[2] == ':') digits.erase(2, 1);
    const bool whole = (digits.size() == 2 || digits.size() == 4) &&
                       digits.find_first_not_of("0123456789") == digits.npos;
    if (!whole) return 0.0;
    const int hours = std::stoi(digits.substr(0, 2));
    const int minutes = digits.size() == 4 ? std::stoi(digits.substr(2)) : 0;
    if (hours > 14 || minutes > 59) return 0.0;
    const double seconds = 3600.0 * hours + 60.0 * minutes;
    const double ahead = time[sign] == '-' ? -seconds : seconds;
    time.remove_suffix(time.size() - sign);
    return ahead;
}

std::optional<double> epoch(std::string_view text) {
    // A plain number is epoch seconds; eight digits alone would be a date, which no picker writes.
    if (number(text)) return epoch_seconds(text);
    std::string_view iso = trim(text);
    const double ahead = take_offset(iso);
    double value = 0.0;
    if (zstr2epoch(std::string(iso).c_str(), &value) != 0) return std::nullopt;
    value -= ahead;
    return in_calendar(value) ? std::optional(value) : std::nullopt;
}

// Day number since 1970 and back: Howard Hinnant, "chrono-compatible low-level date algorithms"
// (2013).
double midnight(long long year, long long month, long long day) {
    const long long y = month <= 2 ? year - 1 : year;
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const long long yoe = y - era * 400;
    const long long doy = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return static_cast<double>(era * 146097 + doe - 719468) * 86400.0;
}

std::string iso_time(double seconds, int decimals) {
    const double scale = std::pow(10.0, decimals);
    const double ticks = std::round(seconds * scale);
    const double whole = std::floor(ticks / scale);
    const long long total = static_cast<long long>(whole);
    const long long days = (total >= 0 ? total : total - 86399) / 86400;
    const long long in_day = total - days * 86400;
    const long long z = days + 719468;
    const long long era = (z >= 0 ? z : z - 146096) / 146097;
    const long long doe = z - era * 146097;
    const long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const long long mp = (5 * doy + 2) / 153;
    const long long month = mp < 10 ? mp + 3 : mp - 9;
    const long long year = yoe + era * 400 + (month <= 2 ? 1 : 0);
    std::string out =
        format("%04lld-%02lld-%02lldT%02lld:%02lld:%02lld", year, month,
               doy - (153 * mp + 2) / 5 + 1, in_day / 3600, in_day / 60 % 60, in_day % 60);
    if (decimals > 0) {
        out += format(".%0*lld", decimals, static_cast<long long>(ticks - whole * scale));
    }
    return out + "Z";
}

}  // namespace velorix::assoc
