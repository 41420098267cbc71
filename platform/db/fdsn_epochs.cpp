#include "platform/db/fdsn_epochs.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <set>
#include <tuple>

#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

bool same_place(const Site& a, const Site& b) {
    // Finer differences are those of two transcriptions, not of two places.
    constexpr double degrees = 0.5e-4;
    constexpr double km = 0.5e-4;
    return std::fabs(a.lat - b.lat) <= degrees && std::fabs(a.lon - b.lon) <= degrees &&
           std::fabs(a.elev - b.elev) <= km;
}

// Sensors of one station stand in one vault or borehole; a kilometre is more than times can bear.
bool far_apart(const Site& a, const Site& b) {
    constexpr double degrees = 0.01;
    return std::fabs(a.lat - b.lat) > degrees || std::fabs(a.lon - b.lon) > degrees;
}

long days_of_year(long year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 366 : 365;
}
long day_before(long day) {
    if (day % 1000 > 1) return day - 1;
    const long year = day / 1000 - 1;
    return year * 1000 + days_of_year(year);
}
long day_after(long day) {
    const long year = day / 1000;
    return day % 1000 < days_of_year(year) ? day + 1 : (year + 1) * 1000 + 1;
}

constexpr long kOpen = LONG_MAX;
long last_day(const Site& row) { return row.offdate == -1 ? kOpen : row.offdate; }
void set_last_day(Site& row, long day) { row.offdate = day == kOpen ? -1 : day; }

/// The rows of one station by their first day; no two share a day.
class RowsByDay {
  public:
    /// Epochs come in the order of their first days.
    void add(const Site& epoch) {
        const long start = epoch.ondate;
        const long end = last_day(epoch);
        const auto before = row_before(start);
        if (before != rows_.end() && same_place(before->second, epoch)) {
            const long until = std::max(end, last_day(before->second));
            clear(day_after(start), end, std::next(before));
            set_last_day(before->second, until);
            return;
        }
        if (before != rows_.end()) cut(before, epoch, start, end);
        clear(start, end, rows_.lower_bound(start));
        rows_[start] = epoch;
    }
    bool far() const { return far_; }
    const std::map<long, Site>& all() const { return rows_; }

  private:
    using Place = std::map<long, Site>::iterator;

    Place row_before(long start) {
        const Place after = rows_.upper_bound(start);
        return after == rows_.begin() ? rows_.end() : std::prev(after);
    }

    // The days from `start` on go to another place; an earlier one goes on when that has ended.
    void cut(Place row, const Site& epoch, long start, long end) {
        Site rest = row->second;
        if (last_day(rest) < start) return;
        // One epoch often ends on the day on which the next one starts.
        if (last_day(rest) > start && far_apart(rest, epoch)) far_ = true;
        if (last_day(rest) > end) {
            rest.ondate = day_after(end);
            rows_.insert_or_assign(rest.ondate, rest);
        }
        if (row->first == start) {
            rows_.erase(row);
        } else {
            set_last_day(row->second, day_before(start));
        }
    }

    // Takes the days `from` to `until` out of the rows from a place on.
    void clear(long from, long until, Place place) {
        while (place != rows_.end() && place->first <= until) {
            if (place->first < from) {
                ++place;
                continue;
            }
            Site rest = place->second;
            place = rows_.erase(place);
            if (last_day(rest) <= until) continue;
            rest.ondate = day_after(until);
            place = rows_.insert_or_assign(rest.ondate, rest).first;
            return;
        }
    }

    std::map<long, Site> rows_;
    bool far_ = false;
};

// One line however many there are: the names of the first few and the number of the others.
void complain_of(const std::vector<std::string>& stations, const std::string& path) {
    constexpr size_t most_named = 5;
    if (stations.empty()) return;
    std::string names;
    for (size_t i = 0; i < std::min(most_named, stations.size()); ++i) {
        names += (i ? ", " : "") + stations[i];
    }
    if (stations.size() > most_named) {
        names += " and " + std::to_string(stations.size() - most_named) + " more";
    }
    elog_complain(0,
                  "dblookup: %s: %zu stations at two places on one day, the one that starts later "
                  "counts: %s\n",
                  path.c_str(), stations.size(), names.c_str());
}

std::vector<Site*> addresses(std::vector<Site>& epochs) {
    std::vector<Site*> list;
    list.reserve(epochs.size());
    for (Site& epoch : epochs) list.push_back(&epoch);
    return list;
}

bool by_station_and_line(const Site* a, const Site* b) {
    return std::tie(a->sta, a->line) < std::tie(b->sta, b->line);
}

}  // namespace

bool name_stations(std::vector<Site>& epochs, const std::string& path) {
    std::vector<Site*> order = addresses(epochs);
    std::sort(order.begin(), order.end(), [](const Site* a, const Site* b) {
        return std::tie(a->code, a->net) < std::tie(b->code, b->net);
    });
    for (auto first = order.begin(); first != order.end();) {
        const auto end = std::find_if(
            first, order.end(), [&](const Site* other) { return other->code != (*first)->code; });
        const bool shared = (*first)->net != (*(end - 1))->net;
        for (; first != end; ++first)
            (*first)->sta = shared && !(*first)->net.empty() ? (*first)->net + "_" + (*first)->code
                                                             : (*first)->code;
    }
    std::sort(order.begin(), order.end(), by_station_and_line);
    const auto twice =
        std::adjacent_find(order.begin(), order.end(), [](const Site* a, const Site* b) {
            return a->sta == b->sta && (a->net != b->net || a->code != b->code);
        });
    if (twice == order.end()) return true;
    const Site &one = **twice, &other = **(twice + 1);
    return malformed({path, other.line}, "station " + other.net + "." + other.code +
                                             " has the name " + other.sta + " of " + one.net + "." +
                                             one.code);
}

std::vector<Site> join_epochs(std::vector<Site> epochs, const std::string& path) {
    std::vector<Site*> order = addresses(epochs);
    std::sort(order.begin(), order.end(), [](const Site* a, const Site* b) {
        return std::tie(a->sta, a->ondate, a->line) < std::tie(b->sta, b->ondate, b->line);
    });
    std::vector<Site> rows;
    std::vector<std::string> far;
    for (auto epoch = order.begin(); epoch != order.end();) {
        const std::string& sta = (*epoch)->sta;
        RowsByDay joined;
        for (; epoch != order.end() && (*epoch)->sta == sta; ++epoch) joined.add(**epoch);
        for (const auto& [start, row] : joined.all()) rows.push_back(row);
        if (joined.far()) far.push_back(sta);
    }
    complain_of(far, path);
    std::sort(rows.begin(), rows.end(), [](const Site& a, const Site& b) {
        return std::tie(a.line, a.ondate) < std::tie(b.line, b.ondate);
    });
    return rows;
}

bool make_table(std::vector<Site> epochs, const std::string& path, std::string_view table,
                Tables& tables) {
    if (!name_stations(epochs, path)) return false;
    if (table == "affiliation") {
        std::set<std::string> seen;
        for (const Site& epoch : epochs) {
            if (epoch.net.empty() || !seen.insert(epoch.sta).second) continue;
            tables.affiliation.push_back({epoch.net, epoch.sta});
        }
        return true;
    }
    tables.site_file = path;
    tables.site = join_epochs(std::move(epochs), path);
    return true;
}

}  // namespace velorix::db
