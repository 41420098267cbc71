#ifndef VELORIX_SUPPORT_GRID_NAME_H
#define VELORIX_SUPPORT_GRID_NAME_H
// The fixed-width names of a grid record.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "velorix.h"

namespace velorix {

/// Copies at most 64 bytes, NUL-padded; a text that fills the field has no terminator.
inline void set_name(char (&field)[VELORIX_NAME_SIZE], std::string_view text) {
    std::memset(field, 0, sizeof field);
    std::memcpy(field, text.data(), std::min(text.size(), sizeof field));
}

/// A field's text with a terminator, without allocation.
struct NameText {
    explicit NameText(const char (&field)[VELORIX_NAME_SIZE]) {
        std::memcpy(text, field, sizeof field);
    }
    char text[VELORIX_NAME_SIZE + 1] = {};
};

/// The text of a field that may lack a terminator.
inline std::string name_text(const char (&field)[VELORIX_NAME_SIZE]) {
    return {field, strnlen(field, sizeof field)};
}

}  // namespace velorix

#endif
