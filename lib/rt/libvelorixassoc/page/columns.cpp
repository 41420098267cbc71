#include "columns.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace velorix::assoc {

std::string json_text(std::string_view text) {
    using Json = nlohmann::json;
    // ASCII alone, so that neither U+2028 nor a wrong byte gets into the page.
    const std::string quoted =
        Json(std::string(text)).dump(-1, ' ', true, Json::error_handler_t::replace);
    std::string out;
    for (const char c : quoted) {
        switch (c) {
            case '<':
                out += "\\u003c";
                break;
            case '>':
                out += "\\u003e";
                break;
            case '&':
                out += "\\u0026";
                break;
            default:
                out += c;
        }
    }
    return out;
}

void Column::add(int64_t value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    separate();
    text_.append(digits, end);
}

void Column::add(double value, double parts) {
    constexpr double kMost = 9007199254740992.0;  // 2^53: beyond it a double skips whole numbers
    const double units = std::round(value * parts);
    if (std::fabs(units) < kMost) {
        add(static_cast<int64_t>(units));
        return;
    }
    separate();
    text_ += "null";
}

int64_t Texts::number(const std::string& text) {
    const auto [at, fresh] = known_.emplace(text, static_cast<int64_t>(known_.size()));
    if (fresh) text_ += (text_.empty() ? "" : ",") + json_text(text);
    return at->second;
}

Members& Members::add(std::string_view name, std::string_view value) {
    if (!text_.empty()) text_ += ',';
    text_.append("\"").append(name).append("\":").append(value);
    return *this;
}

}  // namespace velorix::assoc
