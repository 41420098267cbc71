// FDSN station text (fdsnws-station, format=text; FDSN Web Service Specifications 1.2), level
// station or channel. One line an epoch; `site` wants one row a place and day.
#include "platform/db/internal.h"

namespace velorix::db {
namespace {

/// Which field of a line holds what.
struct Columns {
    size_t net = 0, sta = 1, lat = 2, lon = 3, elev = 4, start = 6, end = 7, count = 8;
};
constexpr Columns kChannelColumns{0, 1, 4, 5, 6, 15, 16, 17};

std::vector<std::string_view> split(std::string_view line) {
    std::vector<std::string_view> fields;
    for (;;) {
        const size_t bar = line.find('|');
        fields.push_back(trimmed(line.substr(0, bar)));
        if (bar == std::string_view::npos) return fields;
        line.remove_prefix(bar + 1);
    }
}

bool parse_epoch(std::string_view line, const RowPlace& at, Site& epoch) {
    const auto fields = split(line);
    Columns columns;
    if (fields.size() == kChannelColumns.count) {
        columns = kChannelColumns;
    } else if (fields.size() != columns.count) {
        return malformed(at, "has " + std::to_string(fields.size()) +
                                 " fields between bars, expected 8 (station) or 17 (channel)");
    }
    epoch.net = fields[columns.net];
    epoch.code = fields[columns.sta];
    epoch.line = at.line;
    if (!parse_coordinate(fields[columns.lat], "latitude", at, epoch.lat) ||
        !parse_coordinate(fields[columns.lon], "longitude", at, epoch.lon) ||
        !parse_coordinate(fields[columns.elev], "elevation", at, epoch.elev) ||
        !parse_day(fields[columns.start], "start time", at, epoch.ondate) ||
        !parse_day(fields[columns.end], "end time", at, epoch.offdate)) {
        return false;
    }
    epoch.elev /= 1000.0;  // FDSN metres
    const std::string fault = fault_of_codes(epoch.net, epoch.code);
    return fault.empty() || malformed(at, fault);
}

}  // namespace

Read read_fdsn(const std::string& path, std::vector<Site>& epochs) {
    const auto text = read_text(path);
    if (!text) return Read::absent;
    std::string_view line;
    for (Lines lines(*text); lines.next(line);) {
        if (trimmed(line).front() == '#') continue;
        if (epochs.empty() && lines.number() == 1 && line.starts_with("\xEF\xBB\xBF#")) continue;
        Site epoch;
        const RowPlace place{path, lines.number()};
        if (!is_text(line, place) || !parse_epoch(line, place, epoch)) return Read::malformed;
        epochs.push_back(std::move(epoch));
    }
    return Read::good;
}

}  // namespace velorix::db
