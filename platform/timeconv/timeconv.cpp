#include "platform/timeconv/timeconv.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <optional>
#include <string_view>

namespace {

using std::chrono::day;
using std::chrono::days;
using std::chrono::month;
using std::chrono::sys_days;
using std::chrono::year;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Reads a time string from left to right; every step says whether it found what it wants.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    bool done() const { return rest_.empty(); }
    size_t digits_ahead() const {
        size_t n = 0;
        while (n < rest_.size() && is_digit(rest_[n])) ++n;
        return n;
    }
    bool take(char c) {
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }
    bool take_blanks() {
        const size_t before = rest_.size();
        while (take(' ') || take('\t')) {
        }
        return rest_.size() < before;
    }
    /// A number of between `least` and `most` digits.
    std::optional<int> number(size_t least, size_t most) {
        const size_t n = digits_ahead();
        if (n < least || n > most) return std::nullopt;
        return take_digits(n);
    }
    /// Exactly the next n digits, more may follow.
    std::optional<int> take_digits(size_t n) {
        if (digits_ahead() < n) return std::nullopt;
        int value = 0;
        std::from_chars(rest_.data(), rest_.data() + n, value);
        rest_.remove_prefix(n);
        return value;
    }
    /// The fraction behind a decimal point, 0 when there is no point.
    std::optional<double> fraction() {
        if (rest_.empty() || rest_.front() != '.') return 0.0;
        const size_t n = Scanner(rest_.substr(1)).digits_ahead();
        if (n == 0) return std::nullopt;
        double value = 0.0;
        std::from_chars(rest_.data(), rest_.data() + n + 1, value);
        rest_.remove_prefix(n + 1);
        return value;
    }

  private:
    std::string_view rest_;
};

std::optional<sys_days> from_month_day(int y, int m, int d) {
    const std::chrono::year_month_day date{year{y}, month{static_cast<unsigned>(m)},
                                           day{static_cast<unsigned>(d)}};
    if (!date.ok()) return std::nullopt;
    return sys_days{date};
}

std::optional<sys_days> from_day_of_year(int y, int doy) {
    const int length = year{y}.is_leap() ? 366 : 365;
    if (doy < 1 || doy > length) return std::nullopt;
    return sys_days{year{y} / std::chrono::January / 1} + days{doy - 1};
}

// YYYY-MM-DD, YYYY/MM/DD, YYYY-DDD, YYYYDDD or YYYYMMDD.
std::optional<sys_days> scan_date(Scanner& in) {
    const size_t run = in.digits_ahead();
    if (run != 4 && run != 7 && run != 8) return std::nullopt;
    const int y = *in.take_digits(4);
    if (run == 7) return from_day_of_year(y, *in.take_digits(3));
    if (run == 8) {
        const int m = *in.take_digits(2);
        return from_month_day(y, m, *in.take_digits(2));
    }
    const bool dash = in.take('-');
    if (!dash && !in.take('/')) return std::nullopt;
    if (dash && in.digits_ahead() == 3) return from_day_of_year(y, *in.take_digits(3));
    const auto m = in.number(1, 2);
    if (!m || !in.take(dash ? '-' : '/')) return std::nullopt;
    const auto d = in.number(1, 2);
    if (!d) return std::nullopt;
    return from_month_day(y, *m, *d);
}

// hh:mm[:ss[.f]][Z]; a leap second (60) is accepted and counts into the next minute.
std::optional<double> scan_clock(Scanner& in) {
    const auto hours = in.number(1, 2);
    if (!hours || !in.take(':')) return std::nullopt;
    const auto minutes = in.number(1, 2);
    if (!minutes) return std::nullopt;
    double seconds = 0.0;
    if (in.take(':')) {
        const auto whole = in.number(1, 2);
        const auto part = in.fraction();
        if (!whole || !part) return std::nullopt;
        seconds = *whole + *part;
    }
    const bool midnight = *hours == 24 && *minutes == 0 && seconds == 0.0;
    if ((*hours > 23 && !midnight) || *minutes > 59 || seconds >= 61.0) return std::nullopt;
    return *hours * 3600.0 + *minutes * 60.0 + seconds;
}

std::optional<double> scan_calendar(std::string_view text) {
    Scanner in(text);
    const auto date = scan_date(in);
    if (!date) return std::nullopt;
    double seconds = static_cast<double>(date->time_since_epoch().count()) * 86400.0;
    if (!in.done() && !(in.take('Z') && in.done())) {
        const bool separated = in.take('T') || in.take('t') || in.take_blanks();
        if (!separated) return std::nullopt;
        const auto clock = scan_clock(in);
        if (!clock) return std::nullopt;
        seconds += *clock;
        if (!in.take('Z')) in.take('z');
    }
    if (!in.done()) return std::nullopt;
    return seconds;
}

// A plain number with nine or more digits before the point; fewer digits are a date.
std::optional<double> scan_epoch(std::string_view text) {
    std::string_view digits = text;
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
    if (Scanner(digits).digits_ahead() < 9) return std::nullopt;
    if (text.front() == '+') text.remove_prefix(1);
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (result.ec != std::errc{} || result.ptr != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

}  // namespace

extern "C" int zstr2epoch(const char* text, double* epoch) {
    if (!text || !epoch) return -1;
    const std::string_view body = trimmed(text);
    auto value = scan_epoch(body);
    if (!value) value = scan_calendar(body);
    if (!value) return -1;
    *epoch = *value;
    return 0;
}

extern "C" double std_now(void) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

extern "C" long yearday(double epoch) {
    // Years that std::chrono can name; beyond them a day number has no meaning.
    constexpr double limit = 86400.0 * 365.0 * 30000.0;
    if (!(std::fabs(epoch) < limit)) return 0;
    const sys_days date{days{static_cast<long>(std::floor(epoch / 86400.0))}};
    const std::chrono::year_month_day ymd{date};
    const auto first = sys_days{ymd.year() / std::chrono::January / 1};
    return static_cast<int>(ymd.year()) * 1000L + (date - first).count() + 1;
}
