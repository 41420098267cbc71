#include "platform/timeconv/timeconv.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <optional>
#include <string_view>

namespace {

constexpr double kDaySeconds = 86400.0;
// Proleptic Gregorian years; what std::chrono counts days for.
constexpr std::chrono::sys_days kFirstDay = std::chrono::year(-32767) / 1 / 1;
constexpr std::chrono::sys_days kLastDay = std::chrono::year(32767) / 12 / 31;

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// A text that is eaten from the front; every taker leaves it alone when it does not match.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : text_(text) {}
    bool at_end() const { return text_.empty(); }
    size_t digits() const {
        return static_cast<size_t>(std::find_if_not(text_.begin(), text_.end(), is_digit) -
                                   text_.begin());
    }
    bool take(char c) {
        if (text_.empty() || text_.front() != c) return false;
        text_.remove_prefix(1);
        return true;
    }
    bool take_either(char a, char b) { return take(a) || take(b); }
    bool take_blanks() {
        bool any = false;
        for (; !text_.empty() && is_blank(text_.front()); any = true) text_.remove_prefix(1);
        return any;
    }
    std::optional<int> take_number(size_t width) {
        if (digits() < width) return std::nullopt;
        int value = 0;
        for (size_t i = 0; i < width; ++i) value = 10 * value + (text_[i] - '0');
        text_.remove_prefix(width);
        return value;
    }
    // Digits after a decimal point, as a fraction of one.
    std::optional<double> take_fraction() {
        const size_t count = digits();
        if (count == 0) return std::nullopt;
        double value = 0.0;
        for (size_t i = count; i-- > 0;) value = (value + (text_[i] - '0')) / 10.0;
        text_.remove_prefix(count);
        return value;
    }

  private:
    std::string_view text_;
};

using Days = std::optional<std::chrono::sys_days>;

Days month_and_day(int year, std::optional<int> month, std::optional<int> day) {
    if (!month || !day) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok()) return std::nullopt;
    return std::chrono::sys_days(date);
}

Days day_of_year(int year, std::optional<int> number) {
    const bool leap = std::chrono::year(year).is_leap();
    if (!number || *number < 1 || *number > (leap ? 366 : 365)) return std::nullopt;
    return std::chrono::sys_days(std::chrono::year(year) / 1 / 1) + std::chrono::days(*number - 1);
}

// YYYY-MM-DD, YYYY/MM/DD, YYYYMMDD, YYYY-DDD or YYYYDDD.
Days take_date(Cursor& text) {
    const size_t run = text.digits();
    const auto year = text.take_number(4);
    if (!year) return std::nullopt;
    if (run == 7) return day_of_year(*year, text.take_number(3));
    if (run == 8) {
        const auto month = text.take_number(2);
        return month_and_day(*year, month, text.take_number(2));
    }
    if (run != 4) return std::nullopt;
    const bool slash = text.take('/');
    if (!slash && !text.take('-')) return std::nullopt;
    if (!slash && text.digits() == 3) return day_of_year(*year, text.take_number(3));
    const auto month = text.take_number(2);
    if (!text.take(slash ? '/' : '-')) return std::nullopt;
    return month_and_day(*year, month, text.take_number(2));
}

bool is_time_of_day(int hour, int minute, double second) {
    if (minute > 59) return false;
    if (hour == 24) return minute == 0 && second == 0.0;  // the end of the day
    const bool leap_second_possible = hour == 23 && minute == 59;
    return hour < 24 && second < (leap_second_possible ? 61.0 : 60.0);
}

// hh:mm[:ss[.f]] or hhmm[ss[.f]], with an optional Z; seconds since midnight.
std::optional<double> take_time(Cursor& text) {
    const size_t run = text.digits();
    const bool compact = run == 4 || run == 6;
    if (!compact && run != 2) return std::nullopt;
    const auto hour = text.take_number(2);
    if (!compact && !text.take(':')) return std::nullopt;
    const auto minute = text.take_number(2);
    if (!hour || !minute) return std::nullopt;
    double second = 0.0;
    if (compact ? run == 6 : text.take(':')) {
        const auto whole = text.take_number(2);
        if (!whole) return std::nullopt;
        second = *whole;
        if (text.take_either('.', ',')) {
            const auto fraction = text.take_fraction();
            if (!fraction) return std::nullopt;
            second += *fraction;
        }
    }
    text.take_either('Z', 'z');
    if (!is_time_of_day(*hour, *minute, second)) return std::nullopt;
    return 3600.0 * *hour + 60.0 * *minute + second;
}

std::optional<double> calendar_time(std::string_view text) {
    Cursor cursor(text);
    const Days date = take_date(cursor);
    if (!date) return std::nullopt;
    double second = 0.0;
    if (!cursor.at_end()) {
        if (!cursor.take_either('T', 't') && !cursor.take_blanks()) return std::nullopt;
        const auto time = take_time(cursor);
        if (!time || !cursor.at_end()) return std::nullopt;
        second = *time;
    }
    return kDaySeconds * static_cast<double>(date->time_since_epoch().count()) + second;
}

std::optional<double> epoch_seconds(std::string_view text) {
    const bool sign = text.starts_with('-') || text.starts_with('+');
    if (Cursor(sign ? text.substr(1) : text).digits() < 9) return std::nullopt;
    if (text.starts_with('+')) text.remove_prefix(1);  // from_chars knows no plus sign
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace

extern "C" int zstr2epoch(const char* text, double* epoch) {
    if (!text || !epoch) return -1;
    const std::string_view body = trimmed(text);
    const auto seconds = epoch_seconds(body);
    const auto value = seconds ? seconds : calendar_time(body);
    if (!value) return -1;
    *epoch = *value;
    return 0;
}

extern "C" double std_now(void) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

extern "C" long yearday(double epoch) {
    if (std::isnan(epoch)) return 0;
    const double first = static_cast<double>(kFirstDay.time_since_epoch().count());
    const double last = static_cast<double>(kLastDay.time_since_epoch().count());
    const double day = std::clamp(std::floor(epoch / kDaySeconds), first, last);
    const std::chrono::sys_days date{std::chrono::days(static_cast<int>(day))};
    const auto year = std::chrono::year_month_day(date).year();
    const auto number = date - std::chrono::sys_days(year / 1 / 1);
    return static_cast<int>(year) * 1000L + number.count() + 1;
}
