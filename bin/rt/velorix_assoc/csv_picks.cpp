// Picks as comma-, semicolon- or tab-separated text with a header line that names the columns.
#include <array>
#include <span>

#include "pick_reader.h"
#include "text.h"

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

class CsvReader : public PickReader {
  public:
    explicit CsvReader(const PickFile& file) : lines_(file) { at_.fill(-1); }

    bool read_header(std::string& error);
    bool take_header(const std::string& line, std::string& error);
    ReadResult next(Pick& pick, std::string& error) override;
    const char* kind() const override { return "CSV"; }

  private:
    bool parse(const std::vector<std::string>& fields, Pick& pick, std::string& why) const;
    bool station(const std::vector<std::string>& fields, Pick& pick, std::string& why) const;
    std::string get(const std::vector<std::string>& fields, Column column) const;
    void settle_id(std::span<const std::string> header);

    LineSource lines_;
    std::array<int, kColumns> at_{};
    size_t columns_ = 0;
    char separator_ = ',';
};

// The header is the first line; behind comments ("#") the first that names the columns, whether or
// not it begins like one.
bool CsvReader::read_header(std::string& error) {
    for (std::string line; lines_.next(line);) {
        if (line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
        if (trim(line).empty()) continue;
        const bool comment = line.starts_with("#");
        if (comment) line.erase(0, 1);
        error.clear();
        if (take_header(line, error)) return true;
        if (!comment) return false;
    }
    return error.empty();
}

bool CsvReader::take_header(const std::string& line, std::string& error) {
    at_.fill(-1);
    separator_ = ',';
    for (char separator : {'|', ';', '\t'}) {
        if (line.find(',') == line.npos && line.find(separator) != line.npos)
            separator_ = separator;
    }
    auto header = split_csv(line, separator_);
    if (!header) {
        error = lines_.place() + ": a quote stays open";
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
    if (at_[kTime] < 0 || (at_[kSeed] < 0 && at_[kStation] < 0)) {
        error = lines_.place() + ": no header with a column '" +
                (at_[kTime] < 0 ? "time" : "station") +
                "' (column names known: see velorix-assoc(1))";
        return false;
    }
    return true;
}

// "id" is the trace in what machine pickers write and the pick's identifier elsewhere.
void CsvReader::settle_id(std::span<const std::string> header) {
    for (size_t i = 0; i < header.size(); ++i) {
        if (header[i] != "id") continue;
        const bool trace = at_[kSeed] < 0 && at_[kStation] < 0;
        Column column = trace ? kSeed : kId;
        if (at_[column] < 0) at_[column] = static_cast<int>(i);
    }
}

std::string CsvReader::get(const std::vector<std::string>& fields, Column column) const {
    if (at_[column] < 0) return {};
    const std::string& text = fields[static_cast<size_t>(at_[column])];
    return text == "--" || text == "-" ? std::string() : text;
}

bool CsvReader::station(const std::vector<std::string>& fields, Pick& pick,
                        std::string& why) const {
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
    if (pick.station.empty()) why = "no station";
    return !pick.station.empty();
}

bool CsvReader::parse(const std::vector<std::string>& fields, Pick& pick, std::string& why) const {
    pick = Pick();
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
static bool has_more_than(const std::vector<std::string>& fields, size_t columns) {
    for (size_t i = columns; i < fields.size(); ++i) {
        if (!fields[i].empty()) return true;
    }
    return false;
}

ReadResult CsvReader::next(Pick& pick, std::string& error) {
    std::string line;
    do {
        if (!lines_.next(line)) return ReadResult::end;
    } while (trim(line).empty() || line[0] == '#');
    const auto fields = split_csv(line, separator_);
    std::string why;
    if (line.find('\0') != line.npos) {
        why = "binary data";
    } else if (!fields) {
        why = "a quote stays open";
    } else if (fields->size() < columns_ || has_more_than(*fields, columns_)) {
        why = format("%zu of %zu fields", fields->size(), columns_);
        if (fields->size() < columns_ && lines_.ended_without_newline())
            why += ", the file ends in the middle of the line";
    } else if (parse(*fields, pick, why)) {
        return ReadResult::pick;
    }
    error = lines_.place() + ": " + why;
    return ReadResult::bad;
}

}  // namespace

std::unique_ptr<PickReader> make_csv_reader(const PickFile& file, std::string& error) {
    auto reader = std::make_unique<CsvReader>(file);
    if (!reader->read_header(error)) return nullptr;
    return reader;
}

}  // namespace velorix::assoc
