#include "json.h"

#include <cmath>
#include <string>

#include "number_text.h"

namespace velorix::info {
namespace {

constexpr int kIndent = 2;

// The library does not always find the shortest text of a number. Its own text goes through as a
// string that begins with a character that no text has (U+FDD0, which is none), until it is
// written.
constexpr std::string_view kNumber = "\xEF\xB7\x90";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

Json number(const std::string& text) { return Json(std::string(kNumber) + text); }

/// What stands at the start of a text that the library has written, and becomes of it.
struct Piece {
    size_t length;
    std::string text;
};

// The library escapes controls below a blank; those from DEL to U+009F are commands too.
Piece first_piece(std::string_view text) {
    constexpr char hex[] = "0123456789abcdef";
    const auto first = static_cast<unsigned char>(text[0]);
    const auto second = static_cast<unsigned char>(text.size() > 1 ? text[1] : 0);
    if (first == '"' && text.substr(1).starts_with(kNumber)) {
        const size_t end = text.find('"', 1);
        const size_t start = 1 + kNumber.size();
        return {end + 1, std::string(text.substr(start, end - start))};
    }
    if (first == 0x7F) return {1, "\\u007f"};
    if (first == 0xC2 && second < 0xA0)
        return {2, std::string("\\u00") + hex[second >> 4] + hex[second & 15]};
    return {1, std::string(1, text[0])};
}

/// Text of a value whose lines stand `levels` deep, without the first line's indent.
std::string text_of(const Json& value, int levels) {
    const std::string whole = value.dump(kIndent, ' ', false, Json::error_handler_t::replace);
    std::string out;
    for (std::string_view rest = whole; !rest.empty();) {
        const Piece piece = first_piece(rest);
        out += piece.text;
        if (rest[0] == '\n') out.append(static_cast<size_t>(levels * kIndent), ' ');
        rest.remove_prefix(piece.length);
    }
    return out;
}

void write(FILE* out, const std::string& text) { fwrite(text.data(), 1, text.size(), out); }

}  // namespace

Json json_number(double value) { return std::isfinite(value) ? number(shortest(value)) : nullptr; }
Json json_number(float value) { return std::isfinite(value) ? number(shortest(value)) : nullptr; }

Json json_text(std::string_view text) {
    std::string plain(text);
    for (size_t at = 0; (at = plain.find(kNumber, at)) != plain.npos;)
        plain.replace(at, kNumber.size(), kReplacement);
    return plain;
}

void JsonStream::begin_object(const Json& members) {
    std::string text = text_of(members, 1);
    text.resize(text.rfind('\n'));  // its closing bracket comes when it is complete
    write(out_, (first_object_ ? "\n  " : ",\n  ") + text);
    first_object_ = false;
}

void JsonStream::begin_list(std::string_view name) {
    write(out_, ",\n    " + Json(std::string(name)).dump() + ": [");
    first_row_ = true;
}

void JsonStream::row(const Json& members) {
    write(out_, (first_row_ ? "\n      " : ",\n      ") + text_of(members, 3));
    first_row_ = false;
}

void JsonStream::end_list() { fputs(first_row_ ? "]" : "\n    ]", out_); }
void JsonStream::end_object() { fputs("\n  }", out_); }

}  // namespace velorix::info
