#ifndef VELORIX_PLATFORM_PRINTABLE_H
#define VELORIX_PLATFORM_PRINTABLE_H
// Text from foreign files made fit for a terminal or a table: what a terminal takes for a command
// (C0 and C1 control characters, among them the escape codes of ECMA-48) and bytes that are no
// UTF-8 become '?', one for each byte. The error log does it with every message.
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace velorix {

/// Bytes of the UTF-8 character at the start of `text`; 0 when there is none.
size_t utf8_length(std::string_view text);

/// Replaces in place, without allocation; the control characters in `kept` stay.
void make_printable(std::span<char> text, std::string_view kept = {});

/// The same as a copy; a line end or a tab within a name becomes '?' too.
std::string printable(std::string_view text);

/// A CSV field (RFC 4180), printable: quoted when it holds a comma or a quote.
std::string csv_field(std::string_view text);

}  // namespace velorix

#endif
