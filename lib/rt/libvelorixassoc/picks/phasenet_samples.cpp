// Picks of PhaseNet (Zhu and Beroza 2019) as its releases up to 2021 wrote them: lists of sample
// numbers, a row a waveform file or, before, a window of one. The sampling rate is not in the file,
// nor, in the older form, when the waveforms start. (Later releases write times: CSV.)
#include <algorithm>
#include <array>

#include "../support/text_values.h"
#include "../support/times.h"
#include "../support/words.h"
#include "pick_format.h"

namespace velorix::assoc {
namespace {

using Views = std::vector<std::string_view>;

/// Fields of a line; separators within brackets do not count.
Views split(std::string_view line, char separator) {
    Views fields;
    size_t begin = 0;
    bool inside = false;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '[') inside = true;
        if (line[i] == ']') inside = false;
        if (line[i] != separator || inside) continue;
        fields.push_back(line.substr(begin, i - begin));
        begin = i + 1;
    }
    fields.push_back(line.substr(begin));
    for (std::string_view& field : fields) {
        // An empty view at the end of the line still says where it is.
        if (!trim(field).empty()) field = trim(field);
    }
    return fields;
}

/// Members of "[1,2]" or "[1 2]"; false when it is no list.
bool split_list(std::string_view text, Views& members) {
    if (!text.starts_with('[') || !text.ends_with(']') || text.size() < 2) return false;
    constexpr std::string_view kBetween = ", \t";
    text = text.substr(1, text.size() - 2);
    for (size_t at = text.find_first_not_of(kBetween); at != text.npos;) {
        const size_t end = std::min(text.find_first_of(kBetween, at), text.size());
        members.push_back(text.substr(at, end - at));
        at = text.find_first_not_of(kBetween, end);
    }
    return true;
}

bool is_code(std::string_view text, size_t shortest, size_t longest) {
    const auto plain = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); };
    return text.size() >= shortest && text.size() <= longest && std::ranges::all_of(text, plain);
}

bool has_letter(std::string_view text) {
    return std::ranges::any_of(text, [](char c) { return c >= 'A' && c <= 'Z'; });
}

// Files are called as their owner likes: NET.STA.LOC.CHA with something behind, or NET and STA side
// by side between underscores ("2016_10_14_00000.00_IV_ARRO_mseed"), the last such pair.
bool station_of(std::string_view file, Pick& pick) {
    file.remove_prefix(file.rfind('/') + 1);  // npos + 1 is 0
    const Views dots = split(file, '.');
    if (dots.size() >= 3 && is_code(dots[0], 1, 2) && is_code(dots[1], 1, 5)) {
        pick.network = dots[0];
        pick.station = dots[1];
        pick.location = is_code(dots[2], 1, 2) ? dots[2] : "";
        if (dots.size() > 3 && is_code(dots[3], 2, 3)) pick.channel = dots[3];
        return true;
    }
    const Views parts = split(file, '_');
    for (size_t i = parts.size(); i-- > 1;) {
        if (!is_code(parts[i - 1], 1, 2) || !is_code(parts[i], 3, 5)) continue;
        if (!has_letter(parts[i - 1]) || !has_letter(parts[i])) continue;
        pick.network = parts[i - 1];
        pick.station = parts[i];
        return true;
    }
    return false;
}

enum Column { kFile, kStart, kPIndex, kPScore, kSIndex, kSScore };
// As newer and older releases call them.
constexpr std::array<std::array<std::string_view, 3>, 6> kNames{{{"fname", "fname", "fname"},
                                                                 {"t0", "t0", "t0"},
                                                                 {"p_idx", "idx_p", "itp"},
                                                                 {"p_prob", "prob_p", "tp_prob"},
                                                                 {"s_idx", "idx_s", "its"},
                                                                 {"s_prob", "prob_s", "ts_prob"}}};

class PhaseNetFormat : public LineFormat {
  public:
    explicit PhaseNetFormat(const PickFileOptions& options) : options_(options) {}
    std::string take_header(std::string_view line);
    bool take(std::string_view line, bool cut, std::vector<Pick>& picks, std::string& why) override;
    const char* kind() const override { return "PhaseNet samples"; }

  private:
    static constexpr size_t kMissing = static_cast<size_t>(-1);
    bool start_of(std::string_view line, const Views& fields, double& start,
                  std::string& why) const;
    bool take_list(std::string_view line, const Views& fields, Column index, const Pick& common,
                   std::vector<Pick>& picks, std::string& why) const;

    PickFileOptions options_;
    char separator_ = ',';
    bool windows_ = false;  // the first form, with the number of a window's first sample in fname
    std::array<size_t, kNames.size()> at_{};
    size_t columns_ = 0;
};

std::string PhaseNetFormat::take_header(std::string_view line) {
    windows_ = line.find("itp") != line.npos;
    separator_ = line.find('\t') != line.npos ? '\t' : ',';
    const Views header = split(line, separator_);
    columns_ = header.size();
    for (size_t column = 0; column < kNames.size(); ++column) {
        at_[column] = kMissing;
        for (const std::string_view name : kNames[column]) {
            const auto at = std::ranges::find(header, name);
            if (at != header.end()) at_[column] = static_cast<size_t>(at - header.begin());
        }
        if (at_[column] == kMissing && (column != kStart || !windows_)) {
            return "no column '" + std::string(kNames[column][0]) + "'";
        }
    }
    if (!(options_.sampling_rate > 0.0)) {
        return "picks as sample numbers of PhaseNet: the sampling rate is not in the file, give it "
               "(--sampling-rate; PhaseNet is trained on 100 Hz)";
    }
    if (windows_ && !options_.start) {
        return "picks as sample numbers of PhaseNet: when the waveforms start is not in the file, "
               "give it (--start)";
    }
    return {};
}

// Time of sample 0; in the first form, of the window.
bool PhaseNetFormat::start_of(std::string_view line, const Views& fields, double& start,
                              std::string& why) const {
    start = options_.start.value_or(0.0);
    if (windows_) {
        const std::string_view file = fields[at_[kFile]];
        const std::string_view first = file.substr(file.rfind('_') + 1);
        const auto sample = whole_number(first);
        if (!sample) {
            why = "'" + std::string(file) + "' does not end in the number of a window's first " +
                  "sample" + at_column(line, file);
            return false;
        }
        start += static_cast<double>(*sample) / options_.sampling_rate;
        return true;
    }
    const std::string_view text = fields[at_[kStart]];
    if (text == "0" && options_.start) return true;
    const auto time = epoch(text);
    if (!time || text == "0") {
        why = "'" + std::string(text) + "' is not the time of the first sample";
        if (text == "0") why += ", give it (--start)";
        why += at_column(line, text);
        return false;
    }
    start = *time;
    return true;
}

bool PhaseNetFormat::take_list(std::string_view line, const Views& fields, Column index,
                               const Pick& common, std::vector<Pick>& picks,
                               std::string& why) const {
    const std::string_view samples = fields[at_[index]], scores = fields[at_[index + 1]];
    Views numbers, qualities;
    const std::string_view broken = !split_list(samples, numbers)    ? samples
                                    : !split_list(scores, qualities) ? scores
                                                                     : std::string_view();
    if (broken.data()) {
        why = "a list does not stand in brackets" + at_column(line, broken);
    } else if (numbers.size() != qualities.size()) {
        why = format("%zu sample numbers and %zu probabilities", numbers.size(), qualities.size()) +
              at_column(line, samples);
    }
    for (size_t i = 0; why.empty() && i < numbers.size(); ++i) {
        const auto sample = number(numbers[i]);
        const auto quality = number(qualities[i]);
        Pick pick = common;
        pick.time += sample.value_or(0.0) / options_.sampling_rate;
        pick.quality = quality.value_or(-1.0);
        pick.phase = index == kPIndex ? "P" : "S";
        const std::string_view odd = !sample ? numbers[i] : qualities[i];
        if (!sample || !quality) {
            why = "'" + std::string(odd) + "' is not a number" + at_column(line, odd);
        } else if (!in_calendar(pick.time)) {
            why = "sample '" + std::string(numbers[i]) + "' is out of all time" +
                  at_column(line, numbers[i]);
        }
        picks.push_back(std::move(pick));
    }
    return why.empty();
}

bool PhaseNetFormat::take(std::string_view line, bool cut, std::vector<Pick>& picks,
                          std::string& why) {
    if (trim(line).empty()) return true;
    const Views fields = split(line, separator_);
    if (fields.size() != columns_) {
        why = format("%zu of %zu fields", fields.size(), columns_);
        if (fields.size() < columns_ && cut) why += ", the file ends in the middle of the line";
        return false;
    }
    Pick common;
    const std::string_view file = fields[at_[kFile]];
    std::vector<Pick> all;  // of a broken row none counts
    if (!station_of(file, common)) {
        why = "no network and station in '" + std::string(file) + "'" + at_column(line, file);
        return false;
    }
    if (!start_of(line, fields, common.time, why) ||
        !take_list(line, fields, kPIndex, common, all, why) ||
        !take_list(line, fields, kSIndex, common, all, why)) {
        return false;
    }
    std::ranges::stable_sort(all, {}, &Pick::time);
    std::ranges::move(all, std::back_inserter(picks));
    return true;
}

}  // namespace

bool looks_like_phasenet_samples(std::string_view line) {
    const auto has = [&](const char* name) { return line.find(name) != line.npos; };
    return has("fname") && (has("itp") || has("p_idx") || has("idx_p"));
}

Header recognise_phasenet_samples(std::string_view line, const PickFileOptions& options) {
    auto format = std::make_unique<PhaseNetFormat>(options);
    Header header;
    header.why = format->take_header(line);
    if (header.why.empty()) header.format = std::move(format);
    return header;
}

}  // namespace velorix::assoc
