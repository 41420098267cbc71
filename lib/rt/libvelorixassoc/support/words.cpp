#include "words.h"

#include <algorithm>
#include <cmath>

#include "text_values.h"

namespace velorix::assoc {

std::string at_column(std::string_view line, std::string_view piece) {
    return " (column " + std::to_string(piece.data() - line.data() + 1) + ")";
}

Words::Words(std::string_view line) : line_(line) {
    constexpr std::string_view kBlank = " \t\r\v\f";
    for (size_t at = line.find_first_not_of(kBlank); at != line.npos;) {
        const size_t end = std::min(line.find_first_of(kBlank, at), line.size());
        words_.push_back(line.substr(at, end - at));
        at = line.find_first_not_of(kBlank, end);
    }
}

bool Words::number(size_t i, const char* what, double& value, std::string& why) const {
    const auto read = assoc::number(words_[i]);
    if (!read) {
        why = std::string(what) + " '" + std::string(words_[i]) + "' is not a number" + place(i);
        return false;
    }
    value = *read;
    return true;
}

bool Words::whole(size_t i, const char* what, long long low, long long high, long long& value,
                  std::string& why) const {
    const auto read = whole_number(words_[i]);
    if (!read || *read < low || *read > high) {
        why = std::string(what) + " '" + std::string(words_[i]) + "' is not a whole number from " +
              std::to_string(low) + " to " + std::to_string(high) + place(i);
        return false;
    }
    value = *read;
    return true;
}

bool Words::all_numbers(size_t first, size_t end) const {
    for (size_t i = first; i < end; ++i) {
        if (i >= size() || !assoc::number(words_[i])) return false;
    }
    return true;
}

std::string_view Columns::raw(size_t first, size_t last) const {
    if (line_.size() < first) return {};
    return line_.substr(first - 1, last - first + 1);
}

std::string Columns::text(size_t first, size_t last) const {
    return std::string(trim(raw(first, last)));
}

bool Columns::blank(size_t first, size_t last) const { return trim(raw(first, last)).empty(); }

std::optional<double> Columns::fixed(size_t first, size_t last, int decimals) const {
    const std::string_view field = trim(raw(first, last));
    if (field.empty()) return 0.0;
    if (field.find('.') != field.npos) return number(field);
    const auto value = whole_number(field);
    return value ? std::optional(static_cast<double>(*value) / std::pow(10.0, decimals))
                 : std::nullopt;
}

std::optional<long long> Columns::whole(size_t first, size_t last) const {
    const std::string_view field = trim(raw(first, last));
    return field.empty() ? std::optional(0LL) : whole_number(field);
}

}  // namespace velorix::assoc
