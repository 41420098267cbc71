#ifndef VELORIX_ASSOC_TEXT_VALUES_H
#define VELORIX_ASSOC_TEXT_VALUES_H
// Numbers and words in the text of pick files and reports, independent of the locale.
#include <optional>
#include <string>
#include <string_view>

namespace velorix::assoc {

std::string_view trim(std::string_view text);
std::string lower(std::string_view text);
/// Whole text as a finite number.
std::optional<double> number(std::string_view text);
std::optional<long long> whole_number(std::string_view text);
/// printf into a string, with the C locale's decimal point.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

}  // namespace velorix::assoc
#endif
