#ifndef VELORIX_SUPPORT_SCAN_NUMBER_H
#define VELORIX_SUPPORT_SCAN_NUMBER_H
// Numbers in free text, read as scanf reads them in the C locale whatever the locale is.
#include <string_view>

namespace velorix {

void skip_blanks(std::string_view& text);

/**
 * Takes the number that a text starts with, as "%lf" does: blanks, a sign, then a decimal or
 * hexadecimal number, inf or nan. One that is too large becomes infinite, one too small 0.
 * @return false when the text starts with no number; `value` is then untouched
 */
bool scan_number(std::string_view& text, double& value);

}  // namespace velorix

#endif
