#include "platform/pf/show.h"

#include <charconv>
#include <cmath>

#include "platform/elog/printable.h"
#include "platform/pf/tree.h"

namespace velorix::pf {
namespace {

// Up to here digits are easier to read than an exponent, and times are written that way.
constexpr double kLeastPlain = 1e-4;
constexpr double kMostPlain = 1e15;

// What TOML or a terminal would not take as it stands.
std::string escape(std::string_view character) {
    if (character == "\"" || character == "\\") return "\\" + std::string(character);
    if (character == "\n") return "\\n";
    if (character == "\t") return "\\t";
    constexpr char hex[] = "0123456789ABCDEF";
    // The upper controls take two bytes, of which the second is the code.
    const auto code = static_cast<unsigned char>(character.back());
    return std::string("\\u00") + hex[code >> 4] + hex[code & 15];
}

bool is_bare(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

std::string list(const Pf& array) {
    std::string text;
    for (const auto& item : array.items) text += (text.empty() ? "" : ", ") + toml_value(*item);
    return "[" + text + "]";
}

std::string table(const Pf& node) {
    std::string text;
    for (const auto& [key, child] : node.children)
        text += (text.empty() ? " " : ", ") + toml_key(key) + " = " + toml_value(*child);
    return "{" + text + (text.empty() ? "}" : " }");
}

}  // namespace

std::string real_text(double value) {
    const double size = std::fabs(value);
    const bool plain = size == 0.0 || (size >= kLeastPlain && size < kMostPlain);
    char buffer[64];
    const auto result =
        plain ? std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed)
              : std::to_chars(buffer, buffer + sizeof buffer, value);
    return {buffer, result.ptr};
}

std::string toml_real(double value) {
    const std::string text = real_text(value);
    return text.find_first_of(".en") == text.npos ? text + ".0" : text;  // inf and nan have an n
}

std::string toml_string(std::string_view text) {
    std::string out = "\"";
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        const std::string_view character = text.substr(0, length == 0 ? 1 : length);
        if (length == 0) {
            out += '?';
        } else if (character == "\"" || character == "\\" || printable(character) != character) {
            out += escape(character);
        } else {
            out += character;
        }
        text.remove_prefix(character.size());
    }
    return out + '"';
}

std::string toml_key(std::string_view key) {
    for (const char c : key) {
        if (!is_bare(c)) return toml_string(key);
    }
    return key.empty() ? "\"\"" : std::string(key);
}

std::string toml_value(const Pf& node) {
    switch (node.kind) {
        case Kind::table:
            return table(node);
        case Kind::array:
            return list(node);
        case Kind::string:
            return toml_string(node.text);
        case Kind::real:
            return toml_real(node.real);
        case Kind::integer:
        case Kind::boolean:
        case Kind::time:
            break;
    }
    return node.text;
}

}  // namespace velorix::pf
