#ifndef VELORIX_ASSOC_BASE64_H
#define VELORIX_ASSOC_BASE64_H
#include <string>
#include <string_view>

namespace velorix::assoc {

/// Bytes as text (RFC 4648, with padding).
inline std::string base64(std::string_view bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        unsigned group = 0;
        for (size_t k = 0; k < 3; ++k) {
            group =
                group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        }
        for (size_t k = 0; k < 4; ++k) {
            out += i + k > bytes.size() ? '=' : kDigits[group >> (18 - 6 * k) & 63];
        }
    }
    return out;
}

}  // namespace velorix::assoc
#endif
