#include "rows.h"

#include "number_text.h"
#include "platform/elog/printable.h"

namespace velorix::info {
namespace {

struct CsvText {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(std::string_view text) const { return csv_field(text); }
    std::string operator()(int64_t value) const { return std::to_string(value); }
    std::string operator()(double value) const { return shortest(value); }
    std::string operator()(float value) const { return shortest(value); }
};

struct JsonValue {
    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(std::string_view text) const { return json_text(text); }
    Json operator()(int64_t value) const { return value; }
    Json operator()(double value) const { return json_number(value); }
    Json operator()(float value) const { return json_number(value); }
};

}  // namespace

void CsvRows::set_place(std::string_view file, std::string_view grid) {
    place_ = csv_field(file) + ',' + csv_field(grid);
}

void CsvRows::begin(std::span<const std::string_view> columns) {
    if (has_header_) return;
    has_header_ = true;
    std::string line = "file,grid";
    for (const std::string_view column : columns) (line += ',') += column;
    fputs((line + '\n').c_str(), out_);
}

void CsvRows::row(std::span<const Cell> cells) {
    std::string line = place_;
    for (const Cell& cell : cells) (line += ',') += std::visit(CsvText{}, cell);
    line += '\n';
    fwrite(line.data(), 1, line.size(), out_);
}

void JsonRows::begin(std::span<const std::string_view> columns) {
    columns_ = columns;
    json_.begin_list(name_);
}

void JsonRows::row(std::span<const Cell> cells) {
    Json members = Json::object();
    for (size_t i = 0; i < cells.size(); ++i)
        members[std::string(columns_[i])] = std::visit(JsonValue{}, cells[i]);
    json_.row(members);
}

}  // namespace velorix::info
