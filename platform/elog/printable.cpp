#include "platform/elog/printable.h"

#include <algorithm>

namespace velorix {
namespace {

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

/// U+0000 to U+001F, U+007F to U+009F; the upper ones take two bytes.
bool is_control(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1) return first < 0x20 || first == 0x7F;
    return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

}  // namespace

size_t utf8_length(std::string_view text) {
    if (text.empty()) return 0;
    const auto lead = static_cast<unsigned char>(text[0]);
    const size_t length = announced_length(lead);
    if (length <= 1) return length;
    const std::string_view tail = text.substr(1, length - 1);
    if (tail.size() != length - 1 || !std::ranges::all_of(tail, is_continuation)) return 0;
    return second_byte_fits(lead, static_cast<unsigned char>(tail[0])) ? length : 0;
}

void make_printable(std::span<char> text, std::string_view kept) {
    while (!text.empty()) {
        const std::string_view rest(text.data(), text.size());
        const size_t length = utf8_length(rest);
        const size_t step = std::max<size_t>(length, 1);
        const bool stays = kept.find(rest[0]) != kept.npos;
        if (!stays && (length == 0 || is_control(rest.substr(0, length)))) {
            std::fill_n(text.begin(), step, '?');
        }
        text = text.subspan(step);
    }
}

std::string printable(std::string_view text) {
    std::string out(text);
    make_printable(out);
    return out;
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

}  // namespace velorix
