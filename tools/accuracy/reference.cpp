#include "tools/accuracy/reference.h"

#include <charconv>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <string_view>

namespace velorix::accuracy {
namespace {

constexpr double kAbsent = std::numeric_limits<double>::quiet_NaN();

std::vector<std::string_view> split(std::string_view line) {
    std::vector<std::string_view> fields;
    while (true) {
        const size_t end = line.find('\t');
        fields.push_back(line.substr(0, end));
        if (end == std::string_view::npos) return fields;
        line.remove_prefix(end + 1);
    }
}

// Values of one line by column name.
class Fields {
  public:
    Fields(const std::map<std::string, size_t>& columns, std::vector<std::string_view> values)
        : columns_(columns), values_(std::move(values)) {}

    std::string_view text(const char* name) const {
        const auto column = columns_.find(name);
        if (column == columns_.end() || column->second >= values_.size()) return {};
        return values_[column->second];
    }

    double number(const char* name, double absent) const {
        const std::string_view field = text(name);
        double value = absent;
        std::from_chars(field.data(), field.data() + field.size(), value);
        return value;
    }

  private:
    const std::map<std::string, size_t>& columns_;
    std::vector<std::string_view> values_;
};

Row make_row(const Fields& fields, int line) {
    Row row;
    row.model = fields.text("model");
    row.source_depth = fields.number("source_depth_km", fields.number("depth_km", kAbsent));
    row.receiver_depth = fields.number("receiver_z_km", 0.0);
    row.distance = fields.number("distance_deg", kAbsent);
    row.first = {fields.number("first_P_s", kAbsent), fields.number("first_S_s", kAbsent),
                 fields.number("first_P_p", kAbsent), fields.number("first_S_p", kAbsent)};
    row.next_p = fields.number("next_P_dt", -1.0);
    row.next_s = fields.number("next_S_dt", -1.0);
    row.edge = fields.number("edge", 0.0) != 0.0;
    row.line = line;
    return row;
}

bool ends_with(const char* text, const char* any_of) {
    const size_t n = std::strlen(text);
    return n > 0 && std::strchr(any_of, text[n - 1]) != nullptr;
}

bool is_first_p(const char* phase, double distance) {
    if (ends_with(phase, "Ss")) return false;
    return distance <= 102.0 || std::strstr(phase, "diff") == nullptr;
}

bool is_first_s(const char* phase) { return std::strchr("Pp", phase[0]) == nullptr; }

}  // namespace

bool read_table(const std::filesystem::path& file, std::vector<Row>& rows, std::string& error) {
    std::ifstream in(file);
    std::map<std::string, size_t> columns;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.starts_with('#')) {
            columns.clear();
            const auto names = split(std::string_view(line).substr(1));
            for (size_t i = 0; i < names.size(); ++i) columns.emplace(names[i], i);
            continue;
        }
        const Row row = make_row(Fields(columns, split(line)), number);
        if (!(row.source_depth >= 0.0) || !(row.distance >= 0.0) || !(row.first.p_time >= 0.0)) {
            error = file.string() + ":" + std::to_string(number) + ": not a row of first arrivals";
            return false;
        }
        rows.push_back(row);
    }
    if (number == 0) error = file.string() + ": cannot be read or is empty";
    return number > 0;
}

FirstArrivals select_first(const Tbl* times, double distance) {
    FirstArrivals first{kAbsent, kAbsent, kAbsent, kAbsent};
    for (int i = maxtbl(times) - 1; i >= 0; --i) {
        const auto* time = static_cast<const TTTime*>(gettbl(times, i));
        if (is_first_s(time->phase)) {
            first.s_time = time->value;
            first.s_slowness = time->deriv[0];
        } else if (is_first_p(time->phase, distance)) {
            first.p_time = time->value;
            first.p_slowness = time->deriv[0];
        }
    }
    return first;
}

bool compute_first(const Row& row, FirstArrivals& first, Hook** hook) {
    TTGeometry geometry{};
    geometry.source.z = row.source_depth;
    geometry.receiver.z = row.receiver_depth;
    geometry.receiver.lon = row.distance;
    Tbl* times = nullptr;
    if (ttcalc("tttaup", row.model.c_str(), "P,S", 0, &geometry, &times, hook) < 0) return false;
    first = select_first(times, row.distance);
    return true;
}

}  // namespace velorix::accuracy
