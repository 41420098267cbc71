// FDSN station text (fdsnws-station, format=text; FDSN Web Service Specifications 1.2), level
// station or channel. One line an epoch; `site` wants one row a place and day.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"
#include "platform/timeconv/timeconv.h"

namespace velorix::db {
namespace {

/// Which field of a line holds what.
struct Columns {
    size_t net = 0, sta = 1, lat = 2, lon = 3, elev = 4, start = 6, end = 7, count = 8;
};
constexpr Columns kChannelColumns{0, 1, 4, 5, 6, 15, 16, 17};

struct Epoch {
    Affiliation code;
    Site site;
    bool dropped = false;  // merged into an earlier epoch, or its code belongs to another network
};

std::vector<std::string_view> split(std::string_view line) {
    std::vector<std::string_view> fields;
    for (;;) {
        const size_t bar = line.find('|');
        fields.push_back(trimmed(line.substr(0, bar)));
        if (bar == std::string_view::npos) return fields;
        line.remove_prefix(bar + 1);
    }
}

bool parse_degrees(std::string_view text, const char* name, const RowPlace& at, double& value) {
    const auto number = to_double(text);
    if (!number) {
        return malformed(at, std::string(name) + " '" + std::string(text) + "' is not a number");
    }
    value = *number;
    return true;
}

// Day number of a time; an empty time and one of the year 2100 or later are open.
bool parse_day(std::string_view text, const char* name, const RowPlace& at, long& day) {
    constexpr long first_open_day = 2100001;
    day = -1;
    if (text.empty()) return true;
    double epoch = 0.0;
    if (zstr2epoch(std::string(text).c_str(), &epoch) < 0) {
        return malformed(at, std::string(name) + " '" + std::string(text) + "' is not a time");
    }
    day = yearday(epoch);
    if (day >= first_open_day) day = -1;
    return true;
}

bool parse_epoch(std::string_view line, const RowPlace& at, Epoch& epoch) {
    const auto fields = split(line);
    Columns columns;
    if (fields.size() == kChannelColumns.count) {
        columns = kChannelColumns;
    } else if (fields.size() != columns.count) {
        return malformed(at, "has " + std::to_string(fields.size()) +
                                 " fields between bars, expected 8 (station) or 17 (channel)");
    }
    epoch.code = {std::string(fields[columns.net]), std::string(fields[columns.sta])};
    Site& site = epoch.site;
    site.sta = epoch.code.sta;
    if (!parse_degrees(fields[columns.lat], "latitude", at, site.lat) ||
        !parse_degrees(fields[columns.lon], "longitude", at, site.lon) ||
        !parse_degrees(fields[columns.elev], "elevation", at, site.elev) ||
        !parse_day(fields[columns.start], "start time", at, site.ondate) ||
        !parse_day(fields[columns.end], "end time", at, site.offdate)) {
        return false;
    }
    site.elev /= 1000.0;  // FDSN metres
    return check(epoch.code, at) && check(site, at);
}

bool same_place(const Site& a, const Site& b) {
    // Finer differences are those of two transcriptions, not of two places.
    constexpr double degrees = 0.5e-4;
    constexpr double km = 0.5e-4;
    return std::fabs(a.lat - b.lat) <= degrees && std::fabs(a.lon - b.lon) <= degrees &&
           std::fabs(a.elev - b.elev) <= km;
}

long day_before(long day) {
    if (day % 1000 > 1) return day - 1;
    const long year = day / 1000 - 1;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return year * 1000 + (leap ? 366 : 365);
}

// Epochs of one station in time order: those at one place become one row, and where the next one
// starts on the last day of the one before, the earlier ends a day earlier.
void join_epochs(std::vector<Epoch*>& epochs) {
    std::stable_sort(epochs.begin(), epochs.end(), [](const Epoch* a, const Epoch* b) {
        return a->site.ondate < b->site.ondate;
    });
    Epoch* last = epochs.front();
    for (size_t i = 1; i < epochs.size(); ++i) {
        Epoch* next = epochs[i];
        if (same_place(last->site, next->site)) {
            long& end = last->site.offdate;
            end = end == -1 || next->site.offdate == -1 ? -1 : std::max(end, next->site.offdate);
            next->dropped = true;
            continue;
        }
        const long start = next->site.ondate;
        const bool shares_a_day = last->site.offdate == -1 || last->site.offdate >= start;
        if (start != -1 && shares_a_day) {
            last->site.offdate = day_before(start);
            // An epoch that ended on the day it began.
            last->dropped = last->site.offdate < last->site.ondate;
        }
        last = next;
    }
}

using Networks = std::map<std::string, std::vector<Epoch*>>;  // of one station code
using Sizes = std::map<std::string, size_t>;                  // stations of each network

// Global networks first, then the larger one: the key of `site` has no network.
bool goes_first(const std::string& a, const std::string& b, const Sizes& sizes) {
    constexpr std::array<std::string_view, 9> global{"IU", "II", "IC", "CU", "GT",
                                                     "G",  "GE", "IM", "US"};
    const auto rank = [&](const std::string& net) {
        return std::find(global.begin(), global.end(), net) - global.begin();
    };
    if (rank(a) != rank(b)) return rank(a) < rank(b);
    return sizes.at(a) != sizes.at(b) ? sizes.at(a) > sizes.at(b) : a < b;
}

// Two networks with one station code collide in `site`: one of them stays. Adds what went.
void keep_one_network(const std::string& sta, Networks& networks, const Sizes& sizes,
                      std::vector<std::string>& left_out) {
    std::string kept = networks.begin()->first;
    for (const auto& [net, epochs] : networks) {
        if (goes_first(net, kept, sizes)) kept = net;
    }
    for (auto& [net, epochs] : networks) {
        if (net == kept) continue;
        left_out.push_back(net + "." + sta + " (" + kept + "." + sta + " is used)");
        for (Epoch* epoch : epochs) epoch->dropped = true;
    }
}

// One line however many there are: the names of the first few and the number of the others.
void complain_of(const std::vector<std::string>& left_out, const std::string& path) {
    constexpr size_t most_named = 5;
    if (left_out.empty()) return;
    std::string names;
    for (size_t i = 0; i < std::min(most_named, left_out.size()); ++i) {
        names += (i ? ", " : "") + left_out[i];
    }
    if (left_out.size() > most_named) {
        names += " and " + std::to_string(left_out.size() - most_named) + " more";
    }
    elog_complain(0, "dblookup: %s: %zu stations left out whose code another network uses: %s\n",
                  path.c_str(), left_out.size(), names.c_str());
}

void join_stations(std::vector<Epoch>& epochs, const std::string& path) {
    std::map<std::string, Networks> stations;
    for (Epoch& epoch : epochs) stations[epoch.code.sta][epoch.code.net].push_back(&epoch);
    Sizes sizes;
    for (const auto& [sta, networks] : stations) {
        for (const auto& [net, list] : networks) ++sizes[net];
    }
    std::vector<std::string> left_out;
    for (auto& [sta, networks] : stations) {
        for (auto& [net, list] : networks) join_epochs(list);
        if (networks.size() > 1) keep_one_network(sta, networks, sizes, left_out);
    }
    complain_of(left_out, path);
}

}  // namespace

Read read_fdsn(const std::string& path, std::string_view table, Tables& tables) {
    const auto text = read_text(path);
    if (!text) return Read::absent;
    std::vector<Epoch> epochs;
    std::string_view line;
    for (Lines lines(*text); lines.next(line);) {
        if (trimmed(line).front() == '#') continue;
        if (epochs.empty() && lines.number() == 1 && line.starts_with("\xEF\xBB\xBF#")) continue;
        Epoch epoch;
        const RowPlace place{path, lines.number()};
        if (!is_text(line, place) || !parse_epoch(line, place, epoch)) return Read::malformed;
        epochs.push_back(std::move(epoch));
    }
    if (table == "affiliation") {
        std::set<std::pair<std::string, std::string>> seen;
        for (const Epoch& epoch : epochs) {
            if (seen.emplace(epoch.code.net, epoch.code.sta).second)
                tables.affiliation.push_back(epoch.code);
        }
        return Read::good;
    }
    join_stations(epochs, path);
    for (Epoch& epoch : epochs) {
        if (!epoch.dropped) tables.site.push_back(std::move(epoch.site));
    }
    return Read::good;
}

}  // namespace velorix::db
