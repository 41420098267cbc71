#ifndef VELORIX_INFO_TEXT_H
#define VELORIX_INFO_TEXT_H
// Numbers and names as text, whatever the locale and whatever bytes a file holds.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velorix::info {

/// A fixed-width name up to its terminator, or whole when it has none.
template <size_t N>
std::string_view fixed_name(const char (&field)[N]) {
    const std::string_view whole(field, N);
    return whole.substr(0, whole.find('\0'));
}

/// The shortest text that reads back as the same number; "nan" and "inf" for what is not finite.
std::string shortest(double value);
std::string shortest(float value);
/// With a fixed number of decimals.
std::string fixed(double value, int decimals);

/// Bytes of the UTF-8 character at the start of `text`; 0 when there is none.
size_t utf8_length(std::string_view text);

/// For a terminal: control characters and bytes that are no UTF-8 become '?'.
std::string printable(std::string_view text);
/// A CSV field (RFC 4180): quoted when it holds a comma, a quote or a line end.
std::string csv_field(std::string_view text);
/// A JSON string with its quotes (RFC 8259); bytes that are no UTF-8 become U+FFFD.
std::string json_string(std::string_view text);

}  // namespace velorix::info
#endif
