// Picks as JSON lines: one object a line, whose members are called as the columns of CSV files.
#include <nlohmann/json.hpp>

#include "../support/text_values.h"
#include "pick_columns.h"
#include "pick_format.h"

namespace velorix::assoc {
namespace {

// A string, or a number as it would stand in a file; nothing of null, lists and objects.
std::string text_of(const nlohmann::json& value) {
    if (value.is_string()) return std::string(trim(value.get_ref<const std::string&>()));
    if (value.is_number_integer()) return value.dump();
    return value.is_number() ? format("%.17g", value.get<double>()) : "";
}

class JsonFormat : public LineFormat {
  public:
    const char* kind() const override { return "JSON lines"; }

    bool take(std::string_view line, bool cut, std::vector<Pick>& picks,
              std::string& why) override {
        if (trim(line).empty()) return true;
        size_t at = 0;
        const nlohmann::json object = parse(line, at);
        if (!object.is_object()) {
            why = "not a JSON object (column " + std::to_string(at) + ")";
            if (cut) why += ", the file ends in the middle of the line";
            return false;
        }
        PickValues values;
        std::array<const char*, kColumns> names{};
        for (const ColumnName& name : column_names()) {
            const auto member = object.find(name.text);
            if (member == object.end() || !values[name.column].empty()) continue;
            values[name.column] = text_of(*member);
            names[name.column] = name.text;
        }
        if (const auto id = object.find("id"); id != object.end()) {
            const bool trace = values[kSeed].empty() && values[kStation].empty();
            const Column column = trace ? kSeed : kId;
            if (values[column].empty()) values[column] = text_of(*id);
        }
        Pick pick;
        Column wrong{};
        if (!pick_of(values, false, pick, wrong, why)) {
            if (names[wrong]) why += place(line, names[wrong]);
            return false;
        }
        picks.push_back(std::move(pick));
        return true;
    }

  private:
    static nlohmann::json parse(std::string_view line, size_t& at) {
        at = 1;
        try {
            return nlohmann::json::parse(line);
        } catch (const nlohmann::json::parse_error& error) {
            at = error.byte;
        } catch (const nlohmann::json::exception&) {  // a number beyond all doubles
        }
        return {};
    }

    static std::string place(std::string_view line, const char* name) {
        const size_t at = line.find("\"" + std::string(name) + "\"");
        if (at == line.npos) return "";
        return " (column " + std::to_string(at + 1) + ", '" + name + "')";
    }
};

}  // namespace

bool looks_like_json(std::string_view line) { return trim(line).starts_with('{'); }

std::unique_ptr<LineFormat> make_json_format() { return std::make_unique<JsonFormat>(); }

}  // namespace velorix::assoc
