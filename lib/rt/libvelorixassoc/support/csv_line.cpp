#include "csv_line.h"

#include "text_values.h"

namespace velorix::assoc {

std::optional<std::vector<std::string>> split_csv(std::string_view line, char separator) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted) {
            if (c != '"') {
                fields.back() += c;
            } else if (i + 1 < line.size() && line[i + 1] == '"') {
                fields.back() += line[++i];
            } else {
                quoted = false;
            }
        } else if (c == '"') {
            quoted = true;
        } else if (c == separator) {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    if (quoted) return std::nullopt;
    for (std::string& field : fields) field = std::string(trim(field));
    return fields;
}

}  // namespace velorix::assoc
