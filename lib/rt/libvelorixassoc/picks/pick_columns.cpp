#include "pick_columns.h"

#include <algorithm>

#include "../support/csv_line.h"
#include "../support/text_values.h"
#include "../support/times.h"
#include "../support/words.h"
#include "station_code.h"

namespace velorix::assoc {
namespace {

constexpr std::array<ColumnName, 43> kNames{{{kSeed, "station_id"},
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
                                             {kQuality, "prob"},
                                             {kQuality, "peak_value"},
                                             {kQuality, "confidence"},
                                             {kQuality, "snr"},
                                             {kQuality, "weight"},
                                             {kId, "pick_id"},
                                             {kId, "phase_id"},
                                             {kId, "arid"},
                                             {kBegin, "begin_time"}}};

// Where a picker was given no trace code it writes the name of the file.
void drop_file_ending(std::string& code) {
    constexpr std::string_view kEnding = ".mseed";
    if (lower(code).ends_with(kEnding)) code.resize(code.size() - kEnding.size());
}

bool take_station(PickValues& values, Pick& pick, std::string& why) {
    pick.network = std::move(values[kNetwork]);
    pick.station = std::move(values[kStation]);
    pick.location = std::move(values[kLocation]);
    pick.channel = std::move(values[kChannel]);
    std::string seed = std::move(values[kSeed]);
    drop_file_ending(seed);
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

// "14.10.2016 00:00:10" as spreadsheets of many countries show it; with slashes nobody knows which
// is the month.
std::optional<double> dotted_date(std::string_view text) {
    const Words words(text);
    if (words.size() != 2 || words[0].size() != 10) return std::nullopt;
    const std::string_view day = words[0];
    if (day[2] != '.' || day[5] != '.') return std::nullopt;
    return epoch(std::string(day.substr(6)) + "-" + std::string(day.substr(3, 2)) + "-" +
                 std::string(day.substr(0, 2)) + "T" + std::string(words[1]));
}

bool take_time(const PickValues& values, bool decimal_comma, Pick& pick, std::string& why) {
    std::string time = values[kTime];
    if (decimal_comma) std::ranges::replace(time, ',', '.');
    auto seconds = epoch(time);
    if (!seconds) seconds = dotted_date(time);
    if (!seconds) {
        why = "time '" + values[kTime] + "' is neither ISO 8601 nor epoch seconds";
        return false;
    }
    // A picker that was given no start of its waveforms counts from 1970.
    if (values[kBegin].starts_with("1970-01-01")) {
        why = "time '" + values[kTime] + "' counts from 1970: the picker did not know the start";
        return false;
    }
    pick.time = *seconds;
    return true;
}

bool take_quality(const PickValues& values, bool decimal_comma, Pick& pick, std::string& why) {
    std::string quality = values[kQuality];
    if (decimal_comma) std::ranges::replace(quality, ',', '.');
    if (quality.empty() || lower(quality) == "nan") return true;
    const auto value = number(quality);
    if (!value) {
        why = "'" + quality + "' is not a number";
        return false;
    }
    pick.quality = *value;
    return true;
}

}  // namespace

std::span<const ColumnName> column_names() { return kNames; }

bool pick_of(PickValues& values, bool decimal_comma, Pick& pick, Column& wrong, std::string& why) {
    wrong = values[kSeed].empty() ? kStation : kSeed;
    if (!take_station(values, pick, why)) return false;
    wrong = kTime;
    if (!take_time(values, decimal_comma, pick, why)) return false;
    wrong = kQuality;
    if (!take_quality(values, decimal_comma, pick, why)) return false;
    pick.phase = std::move(values[kPhase]);
    pick.id = std::move(values[kId]);
    if (const auto arid = whole_number(pick.id)) pick.arid = *arid;
    return true;
}

}  // namespace velorix::assoc
