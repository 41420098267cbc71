// Picks of EQTransformer (Mousavi et al. 2020), X_prediction_results.csv: a row is a detection,
// with a P, an S or both. A phase is there when its time is: the signal-to-noise ratio of a missing
// one is written all the same.
#include <algorithm>
#include <array>

#include "../support/csv_line.h"
#include "../support/text_values.h"
#include "../support/times.h"
#include "pick_format.h"

namespace velorix::assoc {
namespace {

enum Column { kNetwork, kStation, kInstrument, kPTime, kPProbability, kSTime, kSProbability };
constexpr std::array kNames{"network",       "station",        "instrument_type", "p_arrival_time",
                            "p_probability", "s_arrival_time", "s_probability"};

class EqTransformerFormat : public LineFormat {
  public:
    /// Empty, or what is wrong with the header.
    std::string take_header(std::string_view line);
    bool take(std::string_view line, bool cut, std::vector<Pick>& picks, std::string& why) override;
    const char* kind() const override { return "EQTransformer"; }

  private:
    using Fields = std::vector<std::string>;
    const std::string& get(const Fields& fields, Column column) const {
        return fields[at_[column]];
    }
    std::string place(Column column) const {
        return " (column " + std::to_string(at_[column] + 1) + ", '" + kNames[column] + "')";
    }
    bool take_phase(const Fields& fields, Column time, Column probability, const char* phase,
                    std::vector<Pick>& picks, std::string& why) const;

    std::array<size_t, kNames.size()> at_{};
    size_t columns_ = 0;
};

std::string EqTransformerFormat::take_header(std::string_view line) {
    const auto header = split_csv(line, ',');
    if (!header) return "a quote stays open";
    columns_ = header->size();
    for (size_t i = 0; i < kNames.size(); ++i) {
        const auto at = std::ranges::find(*header, kNames[i]);
        if (at == header->end()) return std::string("no column '") + kNames[i] + "'";
        at_[i] = static_cast<size_t>(at - header->begin());
    }
    return {};
}

bool EqTransformerFormat::take_phase(const Fields& fields, Column time, Column probability,
                                     const char* phase, std::vector<Pick>& picks,
                                     std::string& why) const {
    if (get(fields, time).empty()) return true;
    const auto seconds = epoch(get(fields, time));
    const std::string& share = get(fields, probability);
    const auto value = share.empty() ? std::optional(-1.0) : number(share);
    if (!seconds) why = "'" + get(fields, time) + "' is not a time" + place(time);
    if (!value) why = "'" + share + "' is not a number" + place(probability);
    if (!why.empty()) return false;
    Pick pick;
    pick.network = get(fields, kNetwork);
    pick.station = get(fields, kStation);
    pick.channel = get(fields, kInstrument);
    pick.time = *seconds;
    pick.phase = phase;
    pick.quality = *value;
    picks.push_back(std::move(pick));
    return true;
}

bool EqTransformerFormat::take(std::string_view line, bool cut, std::vector<Pick>& picks,
                               std::string& why) {
    if (trim(line).empty()) return true;
    const auto fields = split_csv(line, ',');
    if (!fields) {
        why = "a quote stays open";
        return false;
    }
    if (fields->size() != columns_) {
        why = format("%zu of %zu fields", fields->size(), columns_);
        if (fields->size() < columns_ && cut) why += ", the file ends in the middle of the line";
        return false;
    }
    if (get(*fields, kStation).empty()) {
        why = "no station" + place(kStation);
        return false;
    }
    std::vector<Pick> both;  // of a broken row neither counts
    if (!take_phase(*fields, kPTime, kPProbability, "P", both, why) ||
        !take_phase(*fields, kSTime, kSProbability, "S", both, why)) {
        return false;
    }
    std::ranges::move(both, std::back_inserter(picks));
    return true;
}

}  // namespace

bool looks_like_eqtransformer(std::string_view line) {
    return line.find("p_arrival_time") != line.npos;
}

Header recognise_eqtransformer(std::string_view line) {
    auto format = std::make_unique<EqTransformerFormat>();
    Header header;
    header.why = format->take_header(line);
    if (header.why.empty()) header.format = std::move(format);
    return header;
}

}  // namespace velorix::assoc
