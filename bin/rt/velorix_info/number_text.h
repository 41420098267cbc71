#ifndef VELORIX_INFO_NUMBER_TEXT_H
#define VELORIX_INFO_NUMBER_TEXT_H
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

}  // namespace velorix::info
#endif
