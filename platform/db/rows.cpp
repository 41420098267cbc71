// Lines, numbers and the checks that every row passes, whatever file it came from.
#include <charconv>
#include <cmath>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

// Codes land in 16-byte fields and are never cut.
constexpr size_t kLongestCode = 15;
// km; the deepest trench and more than the highest summit. An elevation beyond is one in metres.
constexpr double kLowestElevation = -12.0;
constexpr double kHighestElevation = 10.0;

bool is_day(long day) {
    const long of_year = day % 1000;
    return day == -1 || (day >= 1001 && day <= 9999366 && of_year >= 1 && of_year <= 366);
}

bool check_code(const std::string& code, const char* what, const RowPlace& at) {
    if (code.empty()) return malformed(at, std::string("no ") + what + " code");
    if (code.size() > kLongestCode) {
        return malformed(at, std::string(what) + " code '" + code + "' is longer than " +
                                 std::to_string(kLongestCode) + " characters");
    }
    for (const char c : code) {
        if (static_cast<unsigned char>(c) <= ' ' || c == 0x7f) {
            return malformed(
                at, std::string(what) + " code '" + code + "' has a blank or a control character");
        }
    }
    return true;
}

bool check_range(double value, double low, double high, const char* name, const RowPlace& at) {
    if (value >= low && value <= high) return true;
    char text[128];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return malformed(at, std::string(name) + " " + std::string(text, end) + " is not between " +
                             std::to_string(static_cast<int>(low)) + " and " +
                             std::to_string(static_cast<int>(high)));
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<double> to_double(std::string_view text) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    double value = 0.0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
    if (!std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<long> to_long(std::string_view text) {
    long value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

bool Lines::next(std::string_view& line) {
    while (!rest_.empty()) {
        const size_t end = std::min(rest_.find('\n'), rest_.size());
        line = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        ++number_;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (!trimmed(line).empty()) return true;
    }
    return false;
}

bool malformed(const RowPlace& at, const std::string& what) {
    elog_log(0, "dblookup: %s:%zu: %s\n", at.file.c_str(), at.line, what.c_str());
    return false;
}

bool is_text(std::string_view line, const RowPlace& at) {
    if (line.find('\0') != std::string_view::npos) {
        return malformed(at, "binary data in a text table");
    }
    if (line.find('\r') != std::string_view::npos) {
        return malformed(at, "a carriage return within a row, lines must end in LF or CR LF");
    }
    return true;
}

bool check(const Site& row, const RowPlace& at) {
    if (!check_code(row.sta, "station", at)) return false;
    if (!is_day(row.ondate)) {
        return malformed(at, "ondate " + std::to_string(row.ondate) + " is not a day (YYYYDDD)");
    }
    if (!is_day(row.offdate)) {
        return malformed(at, "offdate " + std::to_string(row.offdate) + " is not a day (YYYYDDD)");
    }
    return check_range(row.lat, -90.0, 90.0, "latitude", at) &&
           check_range(row.lon, -360.0, 360.0, "longitude", at) &&
           check_range(row.elev, kLowestElevation, kHighestElevation, "elevation (km)", at);
}

bool check(const Affiliation& row, const RowPlace& at) {
    return check_code(row.net, "network", at) && check_code(row.sta, "station", at);
}

}  // namespace velorix::db
