// Lines, numbers and what rows are checked for, whatever file they came from.
#include <charconv>
#include <cmath>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"
#include "platform/timeconv/timeconv.h"

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

std::string fault_of_code(const std::string& code, const char* what) {
    if (code.empty()) return std::string("no ") + what + " code";
    if (code.size() > kLongestCode) {
        return std::string(what) + " code '" + code + "' is longer than " +
               std::to_string(kLongestCode) + " characters";
    }
    for (const char c : code) {
        if (static_cast<unsigned char>(c) <= ' ' || c == 0x7f)
            return std::string(what) + " code '" + code + "' has a blank or a control character";
    }
    return {};
}

std::string fault_of_day(const char* name, long day) {
    if (is_day(day)) return {};
    return std::string(name) + " " + std::to_string(day) + " is not a day (YYYYDDD)";
}

std::string fault_of_days(const Site& row) {
    const std::string fault = fault_of_day("ondate", row.ondate);
    return fault.empty() ? fault_of_day("offdate", row.offdate) : fault;
}

// No height or depth of a station in km comes near it; most heights in metres exceed it.
constexpr double kSurelyMetres = 20.0;

// The commonest reasons for a value out of its range.
const char* hint_of(const Site& row) {
    if (std::fabs(row.lat) > 90.0 && std::fabs(row.lon) <= 90.0)
        return ": latitude and longitude may have been exchanged";
    if (std::fabs(row.elev) > kSurelyMetres) return ": metres may have been taken for km";
    return "";
}

std::string fault_of_value(const char* name, double value, double low, double high) {
    if (std::isnan(value)) return std::string(name) + " is null";
    if (value >= low && value <= high) return {};
    char text[128];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string(name) + " " + std::string(text, end) + " is not between " +
           std::to_string(static_cast<int>(low)) + " and " + std::to_string(static_cast<int>(high));
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string lower_case(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

std::string at_column(std::string_view line, std::string_view piece) {
    return " (column " + std::to_string(piece.data() - line.data() + 1) + ")";
}

std::vector<std::string_view> words_of(std::string_view line) {
    constexpr std::string_view blanks = " \t\r\v\f";
    std::vector<std::string_view> words;
    for (size_t at = line.find_first_not_of(blanks); at != line.npos;) {
        const size_t end = std::min(line.find_first_of(blanks, at), line.size());
        words.push_back(line.substr(at, end - at));
        at = line.find_first_not_of(blanks, end);
    }
    return words;
}

void take_codes(std::string_view text, Site& epoch) {
    constexpr size_t longest_network = 2;
    size_t at = text.find('.');
    if (at == text.npos) {
        at = text.find('_');
        if (at > longest_network) at = text.npos;
    }
    if (at == 0 || at == text.npos) {
        epoch.code = text;
        return;
    }
    const char between = text[at];
    epoch.net = text.substr(0, at);
    text.remove_prefix(at + 1);
    epoch.code = text.substr(0, text.find(between));
}

bool parse_coordinate(std::string_view text, const char* name, const RowPlace& at, double& value,
                      const std::string& column) {
    const auto number = text.empty() ? kNull : to_double(text);
    if (!number) {
        return malformed(
            at, std::string(name) + " '" + std::string(text) + "' is not a number" + column);
    }
    value = *number;
    return true;
}

bool parse_day(std::string_view text, const char* name, const RowPlace& at, long& day,
               const std::string& column) {
    constexpr long first_open_day = 2100001;
    day = -1;
    if (text.empty()) return true;
    double epoch = 0.0;
    if (zstr2epoch(std::string(text).c_str(), &epoch) < 0) {
        return malformed(at,
                         std::string(name) + " '" + std::string(text) + "' is not a time" + column);
    }
    day = yearday(epoch);
    if (day >= first_open_day) day = -1;
    return true;
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

std::string fault_of_codes(const std::string& net, const std::string& sta) {
    const std::string fault = fault_of_code(net, "network");
    return fault.empty() ? fault_of_code(sta, "station") : fault;
}

std::string fault_of(const Site& row) {
    for (const std::string& fault :
         {fault_of_code(row.sta, "station"), fault_of_days(row),
          fault_of_value("latitude", row.lat, -90.0, 90.0),
          fault_of_value("longitude", row.lon, -360.0, 360.0),
          fault_of_value("elevation (km)", row.elev, kLowestElevation, kHighestElevation)}) {
        if (!fault.empty()) return fault + hint_of(row);
    }
    return {};
}

bool add(Tables& tables, Site&& row, const RowPlace& at) {
    // A row without a code is a null that matters to whoever chooses it.
    const std::string fault = row.sta.empty() ? "" : fault_of_code(row.sta, "station");
    if (!fault.empty()) return malformed(at, fault);
    tables.site_file = at.file;
    row.line = at.line;
    tables.site.push_back(std::move(row));
    return true;
}

bool add(Tables& tables, Affiliation&& row, const RowPlace& at) {
    const std::string fault = fault_of_codes(row.net, row.sta);
    if (!fault.empty()) return malformed(at, fault);
    tables.affiliation.push_back(std::move(row));
    return true;
}

void complain_of_days(const Tables& tables) {
    size_t count = 0;
    const Site* first = nullptr;
    for (const Site& row : tables.site) {
        if (is_day(row.ondate) && is_day(row.offdate)) continue;
        if (count++ == 0) first = &row;
    }
    if (!first) return;
    elog_complain(0, "dblookup: %s:%zu: %s; %zu rows have such a day\n", tables.site_file.c_str(),
                  first->line, fault_of_days(*first).c_str(), count);
}

}  // namespace velorix::db
