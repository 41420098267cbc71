#ifndef VELORIX_PLATFORM_PF_SHOW_H
#define VELORIX_PLATFORM_PF_SHOW_H
// Values as TOML text that reads back as the same values; on one line, without control characters.
#include <string>
#include <string_view>

#include "platform/pf/pf.h"

namespace velorix::pf {

/// A string in double quotes; bytes that are no UTF-8, which TOML cannot hold, become '?'.
std::string toml_string(std::string_view text);
/// The shortest text of a number, with a point, an exponent, or as inf or nan.
std::string toml_real(double value);
/// A key, quoted where it must be.
std::string toml_key(std::string_view key);
/// The value of a node; a table as an inline one.
std::string toml_value(const Pf& node);

}  // namespace velorix::pf

#endif
