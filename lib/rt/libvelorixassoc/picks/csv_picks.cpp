// Picks as comma-, semicolon- or tab-separated text with a header line that names the columns.
#include <algorithm>
#include <array>
#include <span>

#include "../support/csv_line.h"
#include "../support/text_values.h"
#include "pick_columns.h"
#include "pick_format.h"

namespace velorix::assoc {
namespace {

using Fields = std::vector<std::string>;

class CsvFormat : public LineFormat {
  public:
    /// Takes the header; false with what is wrong.
    bool take_header(std::string_view line, std::string& why);
    /// The same from its fields.
    bool take_names(std::vector<std::string> header, std::string& why);
    bool take(std::string_view line, bool cut, std::vector<Pick>& picks, std::string& why) override;
    const char* kind() const override { return "CSV"; }
    bool parse(const Fields& fields, Pick& pick, std::string& why) const;

  private:
    void settle_id();
    std::string place(Column column) const;

    std::array<int, kColumns> at_{};
    Fields header_;
    char separator_ = ',';
};

// The one that stands most often in the header outside quotes; a comma before others.
char separator_of(std::string_view line) {
    char separator = ',';
    size_t most = 0;
    for (const char candidate : {',', '|', ';', '\t'}) {
        size_t count = 0;
        bool quoted = false;
        for (const char c : line) {
            if (c == '"') quoted = !quoted;
            count += !quoted && c == candidate;
        }
        if (count > most) separator = candidate;
        most = std::max(most, count);
    }
    return separator;
}

std::string known_names(std::span<const Column> columns) {
    std::string out;
    for (const ColumnName& name : column_names()) {
        for (Column column : columns) {
            if (name.column == column) out += (out.empty() ? "" : ", ") + std::string(name.text);
        }
    }
    return out;
}

std::string joined(std::span<const std::string> header) {
    constexpr size_t kMost = 30;
    std::string out;
    for (size_t i = 0; i < header.size() && i < kMost; ++i) {
        out += (i == 0 ? "'" : ", '") + header[i].substr(0, 40) + "'";
    }
    return out + (header.size() > kMost ? " ..." : "");
}

bool CsvFormat::take_header(std::string_view line, std::string& why) {
    separator_ = separator_of(line);
    auto header = split_csv(line, separator_);
    if (!header) {
        why = "a quote stays open";
        return false;
    }
    return take_names(std::move(*header), why);
}

bool CsvFormat::take_names(std::vector<std::string> header, std::string& why) {
    at_.fill(-1);
    header_ = std::move(header);
    for (std::string& name : header_) name = lower(name);
    for (const ColumnName& name : column_names()) {
        for (size_t i = 0; i < header_.size() && at_[name.column] < 0; ++i) {
            if (header_[i] == name.text) at_[name.column] = static_cast<int>(i);
        }
    }
    settle_id();
    const bool no_time = at_[kTime] < 0;
    if (!no_time && (at_[kSeed] >= 0 || at_[kStation] >= 0)) return true;
    constexpr std::array kTimes{kTime}, kStations{kStation};
    why = std::string("no header with a column '") + (no_time ? "time" : "station") +
          "' (or: " + known_names(no_time ? std::span<const Column>(kTimes) : kStations) +
          (no_time ? "" : ", " + known_names(std::array{kSeed})) +
          "); the columns here: " + joined(header_);
    if (std::ranges::find(header_, "magnitude") != header_.end()) why += ", a list of events?";
    return false;
}

// "id" is the trace in what machine pickers write and the pick's identifier elsewhere.
void CsvFormat::settle_id() {
    for (size_t i = 0; i < header_.size(); ++i) {
        if (header_[i] != "id") continue;
        const bool trace = at_[kSeed] < 0 && at_[kStation] < 0;
        Column column = trace ? kSeed : kId;
        if (at_[column] < 0) at_[column] = static_cast<int>(i);
    }
}

std::string CsvFormat::place(Column column) const {
    if (at_[column] < 0) return "";
    const auto at = static_cast<size_t>(at_[column]);
    return " (column " + std::to_string(at + 1) + ", '" + header_[at] + "')";
}

bool CsvFormat::parse(const Fields& fields, Pick& pick, std::string& why) const {
    PickValues values;
    for (size_t i = 0; i < values.size(); ++i) {
        if (at_[i] < 0) continue;
        const std::string& text = fields[static_cast<size_t>(at_[i])];
        if (text != "--" && text != "-") values[i] = text;
    }
    Column wrong{};
    if (pick_of(values, separator_ != ',', pick, wrong, why)) return true;
    why += place(wrong);
    return false;
}

// A separator at the end of a line begins no field.
static bool has_more_than(const Fields& fields, size_t columns) {
    for (size_t i = columns; i < fields.size(); ++i) {
        if (!fields[i].empty()) return true;
    }
    return false;
}

bool CsvFormat::take(std::string_view line, bool cut, std::vector<Pick>& picks, std::string& why) {
    if (trim(line).empty() || line[0] == '#') return true;
    const auto fields = split_csv(line, separator_);
    if (!fields) {
        why = "a quote stays open";
    } else if (fields->size() < header_.size() || has_more_than(*fields, header_.size())) {
        why = format("%zu of %zu fields", fields->size(), header_.size());
        if (fields->size() < header_.size() && cut)
            why += ", the file ends in the middle of the line";
    } else {
        Pick pick;
        if (!parse(*fields, pick, why)) return false;
        picks.push_back(std::move(pick));
        return true;
    }
    return false;
}

}  // namespace

class PickRows::Columns : public CsvFormat {};

PickRows::PickRows() : columns_(std::make_unique<Columns>()) {}
PickRows::~PickRows() = default;

bool PickRows::knows(std::string_view name) {
    return name == "id" || std::ranges::any_of(column_names(), [&](const ColumnName& known) {
               return name == known.text;
           });
}

bool PickRows::take_names(std::vector<std::string> names, std::string& why) {
    return columns_->take_names(std::move(names), why);
}

bool PickRows::take(const std::vector<std::string>& fields, Pick& pick, std::string& why) const {
    return columns_->parse(fields, pick, why);
}

// The header is the first line; behind comments ("#") the first that names the columns, whether or
// not it begins like one.
Header recognise_csv(std::string_view line) {
    const bool comment = line.starts_with('#');
    if (comment) line.remove_prefix(1);
    auto format = std::make_unique<CsvFormat>();
    Header header;
    header.comment = comment;
    if (format->take_header(line, header.why)) header.format = std::move(format);
    return header;
}

}  // namespace velorix::assoc
