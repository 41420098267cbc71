// Picks as comma-, semicolon- or tab-separated text with a header line that names the columns.
#include <array>
#include <span>

#include "../support/csv_line.h"
#include "../support/text_values.h"
#include "../support/times.h"
#include "pick_format.h"
#include "station_code.h"

namespace velorix::assoc {
namespace {

enum Column {
    kSeed,
    kNetwork,
    kStation,
    kLocation,
    kChannel,
    kPhase,
    kTime,
    kQuality,
    kId,
    kColumns
};

struct Name {
    Column column;
    const char* text;
};

// The names that machine pickers and common tools write, the preferred one of a column first.
constexpr std::array<Name, 39> kNames{{{kSeed, "station_id"},
                                       {kSeed, "seed_id"},
                                       {kSeed, "trace_id"},
                                       {kSeed, "nslc"},
                                       {kNetwork, "network"},
                                       {kNetwork, "net"},
                                       {kNetwork, "network_code"},
                                       {kStation, "station"},
                                       {kStation, "sta"},
                                       {kStation, "station_code"},
                                       {kLocation, "location"},
                                       {kLocation, "loc"},
                                       {kLocation, "location_code"},
                                       {kChannel, "channel"},
                                       {kChannel, "chan"},
                                       {kChannel, "cha"},
                                       {kChannel, "channel_code"},
                                       {kChannel, "instrument"},
                                       {kPhase, "phase"},
                                       {kPhase, "phase_type"},
                                       {kPhase, "phase_hint"},
                                       {kPhase, "type"},
                                       {kPhase, "iphase"},
                                       {kTime, "time"},
                                       {kTime, "phase_time"},
                                       {kTime, "timestamp"},
                                       {kTime, "epoch"},
                                       {kTime, "peak_time"},
                                       {kTime, "arrival_time"},
                                       {kTime, "time_iso"},
                                       {kTime, "pick_time"},
                                       {kQuality, "probability"},
                                       {kQuality, "phase_score"},
                                       {kQuality, "score"},
                                       {kQuality, "snr"},
                                       {kQuality, "weight"},
                                       {kId, "pick_id"},
                                       {kId, "phase_id"},
                                       {kId, "arid"}}};

using Fields = std::vector<std::string>;

class CsvFormat : public LineFormat {
  public:
    /// Takes the header; false with what is wrong.
    bool take_header(std::string_view line, std::string& why);
    bool take(std::string_view line, bool cut, std::vector<Pick>& picks, std::string& why) override;
    const char* kind() const override { return "CSV"; }

  private:
    bool parse(const Fields& fields, Pick& pick, std::string& why) const;
    bool station(const Fields& fields, Pick& pick, std::string& why) const;
    std::string get(const Fields& fields, Column column) const;
    void settle_id(std::span<const std::string> header);

    std::array<int, kColumns> at_{};
    size_t columns_ = 0;
    char separator_ = ',';
};

char separator_of(std::string_view line) {
    char separator = ',';
    for (char other : {'|', ';', '\t'}) {
        if (line.find(',') == line.npos && line.find(other) != line.npos) separator = other;
    }
    return separator;
}

std::string known_names(std::span<const Column> columns) {
    std::string out;
    for (const Name& name : kNames) {
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
    at_.fill(-1);
    separator_ = separator_of(line);
    auto header = split_csv(line, separator_);
    if (!header) {
        why = "a quote stays open";
        return false;
    }
    for (std::string& name : *header) name = lower(name);
    columns_ = header->size();
    for (const Name& name : kNames) {
        for (size_t i = 0; i < header->size() && at_[name.column] < 0; ++i) {
            if ((*header)[i] == name.text) at_[name.column] = static_cast<int>(i);
        }
    }
    settle_id(*header);
    const bool no_time = at_[kTime] < 0;
    if (!no_time && (at_[kSeed] >= 0 || at_[kStation] >= 0)) return true;
    constexpr std::array kTimes{kTime}, kStations{kStation};
    why = std::string("no header with a column '") + (no_time ? "time" : "station") +
          "' (or: " + known_names(no_time ? std::span<const Column>(kTimes) : kStations) +
          (no_time ? "" : ", " + known_names(std::array{kSeed})) +
          "); the columns here: " + joined(*header);
    return false;
}

// "id" is the trace in what machine pickers write and the pick's identifier elsewhere.
void CsvFormat::settle_id(std::span<const std::string> header) {
    for (size_t i = 0; i < header.size(); ++i) {
        if (header[i] != "id") continue;
        const bool trace = at_[kSeed] < 0 && at_[kStation] < 0;
        Column column = trace ? kSeed : kId;
        if (at_[column] < 0) at_[column] = static_cast<int>(i);
    }
}

std::string CsvFormat::get(const Fields& fields, Column column) const {
    if (at_[column] < 0) return {};
    const std::string& text = fields[static_cast<size_t>(at_[column])];
    return text == "--" || text == "-" ? std::string() : text;
}

bool CsvFormat::station(const Fields& fields, Pick& pick, std::string& why) const {
    pick.network = get(fields, kNetwork);
    pick.station = get(fields, kStation);
    pick.location = get(fields, kLocation);
    pick.channel = get(fields, kChannel);
    std::string seed = get(fields, kSeed);
    // A station may be written with its network.
    if (seed.empty() && pick.network.empty() && pick.station.find('.') != std::string::npos) {
        seed = pick.station;
    }
    const auto parts = split_csv(seed, '.');
    if (!seed.empty() && parts && parts->size() >= 2) {
        pick.network = (*parts)[0];
        pick.station = (*parts)[1];
        if (parts->size() > 2) pick.location = (*parts)[2];
        if (parts->size() > 3 && !(*parts)[3].empty()) pick.channel = (*parts)[3];
    } else if (pick.station.empty()) {
        pick.station = seed;
    }
    take_network_apart(pick);
    if (pick.station.empty()) why = "no station";
    return !pick.station.empty();
}

bool CsvFormat::parse(const Fields& fields, Pick& pick, std::string& why) const {
    if (!station(fields, pick, why)) return false;
    const std::string time = get(fields, kTime);
    const auto seconds = epoch(time);
    if (!seconds) {
        why = "time '" + time + "' is neither ISO 8601 nor epoch seconds";
        return false;
    }
    pick.time = *seconds;
    pick.phase = get(fields, kPhase);
    pick.id = get(fields, kId);
    const std::string quality = get(fields, kQuality);
    if (!quality.empty() && lower(quality) != "nan") {
        const auto value = number(quality);
        if (!value) {
            why = "'" + quality + "' is not a number";
            return false;
        }
        pick.quality = *value;
    }
    if (const auto arid = whole_number(pick.id)) pick.arid = *arid;
    return true;
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
    } else if (fields->size() < columns_ || has_more_than(*fields, columns_)) {
        why = format("%zu of %zu fields", fields->size(), columns_);
        if (fields->size() < columns_ && cut) why += ", the file ends in the middle of the line";
    } else {
        Pick pick;
        if (!parse(*fields, pick, why)) return false;
        picks.push_back(std::move(pick));
        return true;
    }
    return false;
}

}  // namespace

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
