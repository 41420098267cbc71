#include "text_values.h"

#include <locale.h>

#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace velorix::assoc {

std::string_view trim(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

std::string lower(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

template <class T>
static std::optional<T> parse(std::string_view text) {
    text = trim(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<double> number(std::string_view text) {
    const auto value = parse<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<long long> whole_number(std::string_view text) { return parse<long long>(text); }

namespace {

/// The C locale in this thread: the program around may have set another decimal point.
class CLocale {
  public:
    CLocale() : before_(uselocale(c_locale())) {}
    ~CLocale() { uselocale(before_); }
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

  private:
    static locale_t c_locale() {
        static const locale_t made = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
        return made;
    }
    locale_t before_;
};

}  // namespace

std::string format(const char* pattern, ...) {
    const CLocale locale;
    va_list args, again;
    va_start(args, pattern);
    va_copy(again, args);
    const int size = vsnprintf(nullptr, 0, pattern, args);
    std::string out(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    if (size > 0) vsnprintf(out.data(), out.size() + 1, pattern, again);
    va_end(again);
    va_end(args);
    return out;
}

}  // namespace velorix::assoc
