#include "text.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace velorix::info {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

template <class Number, class... Format>
std::string number_text(Number value, Format... format) {
    std::array<char, 400> buffer;  // holds 1.8e308 with decimals
    const auto end = std::to_chars(buffer.begin(), buffer.end(), value, format...).ptr;
    return {buffer.begin(), end};
}

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

bool is_continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// Length that a leading byte announces; 0 for a byte that leads nothing.
size_t announced_length(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    if (lead >= 0xF0 && lead < 0xF5) return 4;
    return 0;
}

/// Overlong forms, surrogates and values beyond U+10FFFF show in the second byte.
bool second_byte_fits(unsigned char lead, unsigned char second) {
    if (lead == 0xE0) return second >= 0xA0;
    if (lead == 0xED) return second < 0xA0;
    if (lead == 0xF0) return second >= 0x90;
    if (lead == 0xF4) return second < 0x90;
    return true;
}

std::string json_escape(char c) {
    constexpr std::string_view kHex = "0123456789abcdef";
    if (c == '"') return "\\\"";
    if (c == '\\') return "\\\\";
    if (c == '\n') return "\\n";
    if (c == '\t') return "\\t";
    if (c == '\r') return "\\r";
    const auto code = static_cast<unsigned char>(c);
    return std::string("\\u00") + kHex[code >> 4] + kHex[code & 15];
}

}  // namespace

std::string shortest(double value) { return number_text(value); }
std::string shortest(float value) { return number_text(value); }
std::string fixed(double value, int decimals) {
    return number_text(value, std::chars_format::fixed, decimals);
}

size_t utf8_length(std::string_view text) {
    if (text.empty()) return 0;
    const auto lead = static_cast<unsigned char>(text[0]);
    const size_t length = announced_length(lead);
    if (length <= 1) return length;
    const std::string_view tail = text.substr(1, length - 1);
    if (tail.size() != length - 1 || !std::ranges::all_of(tail, is_continuation)) return 0;
    return second_byte_fits(lead, static_cast<unsigned char>(tail[0])) ? length : 0;
}

std::string printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        if (length == 0 || is_control(text[0])) {
            out += '?';
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return out;
}

std::string csv_field(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + '"';
}

std::string json_string(std::string_view text) {
    std::string out = "\"";
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        if (length == 0) {
            out += kReplacement;
        } else if (length == 1 && (is_control(text[0]) || text[0] == '"' || text[0] == '\\')) {
            out += json_escape(text[0]);
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return out + '"';
}

}  // namespace velorix::info
