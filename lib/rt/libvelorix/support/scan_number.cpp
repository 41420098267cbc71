#include "support/scan_number.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace velorix {
namespace {

bool is_letter(const char* at, const char* last, char lower) {
    return at != last && (*at | 0x20) == lower;
}

// Where scanf goes on behind a number that from_chars ended at `end`: it takes the start of an
// exponent without digits along, knows no payload of a nan, and fails on half of "infinity".
const char* end_of_number(const char* first, const char* end, const char* last, char exponent) {
    constexpr int short_name = 3;  // "inf", "nan"
    if (is_letter(first, last, 'n')) return first + short_name;
    if (is_letter(first, last, 'i'))
        return end - first == short_name && is_letter(end, last, 'i') ? nullptr : end;
    const bool complete = std::any_of(first, end, [&](char c) { return (c | 0x20) == exponent; });
    if (complete || !is_letter(end, last, exponent)) return end;
    ++end;
    return end != last && (*end == '+' || *end == '-') ? end + 1 : end;
}

}  // namespace

void skip_blanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
}

bool scan_number(std::string_view& text, double& value) {
    skip_blanks(text);
    std::string_view body = text;
    const bool negative = body.starts_with('-');
    if (negative || body.starts_with('+')) body.remove_prefix(1);
    if (body.empty() || body.front() == '-' || body.front() == '+') return false;
    const bool hexadecimal = body.starts_with("0x") || body.starts_with("0X");
    if (hexadecimal) {
        body.remove_prefix(2);
        if (body.find_first_of("0123456789abcdefABCDEF.") != 0) return false;
    }
    const char* first = body.data();
    const char* last = body.data() + body.size();
    double magnitude = 0.0;
    auto result = std::from_chars(
        first, last, magnitude, hexadecimal ? std::chars_format::hex : std::chars_format::general);
    if (result.ec == std::errc::result_out_of_range) {
        const std::string_view digits(first, static_cast<size_t>(result.ptr - first));
        const bool tiny = digits.find("e-") != digits.npos || digits.find("E-") != digits.npos ||
                          digits.find("p-") != digits.npos || digits.find("P-") != digits.npos;
        magnitude = tiny ? 0.0 : HUGE_VAL;
    } else if (result.ec != std::errc{}) {
        return false;
    }
    const char* end = end_of_number(first, result.ptr, last, hexadecimal ? 'p' : 'e');
    if (!end) return false;
    value = negative ? -magnitude : magnitude;
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return true;
}

}  // namespace velorix
