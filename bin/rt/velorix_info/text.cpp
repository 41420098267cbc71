#include "text.h"

#include <array>
#include <charconv>

#include "platform/elog/printable.h"

namespace velorix::info {
namespace {

template <class Number, class... Format>
std::string number_text(Number value, Format... format) {
    std::array<char, 400> buffer;  // holds 1.8e308 with decimals
    const auto end = std::to_chars(buffer.begin(), buffer.end(), value, format...).ptr;
    return {buffer.begin(), end};
}

}  // namespace

std::string shortest(double value) { return number_text(value); }
std::string shortest(float value) { return number_text(value); }
std::string fixed(double value, int decimals) {
    return number_text(value, std::chars_format::fixed, decimals);
}

std::string csv_field(std::string_view text) {
    std::string shown = printable(text);
    if (shown.find_first_of(",\"") == std::string::npos) return shown;
    std::string out = "\"";
    for (const char c : shown) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + '"';
}

}  // namespace velorix::info
