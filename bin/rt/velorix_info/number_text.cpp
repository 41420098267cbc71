#include "number_text.h"

#include <array>
#include <charconv>

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

}  // namespace velorix::info
