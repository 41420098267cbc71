// Which rows of the site table become a grid's stations, and in which order.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/db/db.h"
#include "platform/elog/elog.h"
#include "platform/timeconv/timeconv.h"
#include "setupgrid/builder_params.h"
#include "support/c_array.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

constexpr long kEveryDay = -1;
constexpr size_t kLongestCode = sizeof(Station::sta) - 1;

struct FreeList {
    void operator()(Tbl* list) const { freetbl(list, std::free); }
};
using List = std::unique_ptr<Tbl, FreeList>;

struct CloseDatabase {
    Dbptr db;
    ~CloseDatabase() { dbclose(&db); }
};

/// What the choice looks at in a row.
struct Row {
    char sta[32];
    long ondate;
    long offdate;

    bool valid_on(long day) const { return ondate <= day && (offdate == -1 || offdate >= day); }
};

/// One choice of stations: the table, the day, and what has been accepted so far.
struct Choice {
    const char* dbname;
    Dbptr table;
    long day = kEveryDay;
    std::vector<Row> rows;
    Arr* map;                    // code to place in `accepted` + 1
    std::vector<long> accepted;  // row numbers

    bool has(const char* code) const { return getarr(map, code) != nullptr; }
    void accept(const char* code, long row) {
        accepted.push_back(row);
        if (setarr(map, code, reinterpret_cast<void*>(accepted.size())) < 0) throw std::bad_alloc();
    }
};

bool read_row(Choice& choice, long number) {
    Row row{};
    choice.table.record = number;
    if (dbgetv(choice.table, nullptr, "sta", row.sta, "ondate", &row.ondate, "offdate",
               &row.offdate, static_cast<char*>(nullptr)) == dbINVALID) {
        elog_log(0, "velorix_setup_stations: dbgetv(%s.site) error.\n", choice.dbname);
        return false;
    }
    if (std::strlen(row.sta) > kLongestCode) {
        elog_log(0, "velorix_setup_stations: Station code %s is longer than %d characters.\n",
                 row.sta, static_cast<int>(kLongestCode));
        return false;
    }
    choice.rows.push_back(row);
    return true;
}

bool read_rows(Choice& choice, long count) {
    choice.rows.reserve(static_cast<size_t>(count));
    for (long i = 0; i < count; ++i) {
        if (!read_row(choice, i)) return false;
    }
    return true;
}

// The row of one listed station among its rows in table order; -1 when none is suitable.
long row_of_listed(const Choice& choice, const std::vector<long>& candidates) {
    long best = -1;
    long newest = -999999999;
    for (const long number : candidates) {
        const Row& row = choice.rows[static_cast<size_t>(number)];
        if (choice.day != kEveryDay) {
            if (row.valid_on(choice.day)) return number;
        } else if (row.ondate > newest) {
            newest = row.ondate;
            best = number;
        }
    }
    return best;
}

bool choose_listed(Choice& choice, const Tbl* list) {
    std::unordered_map<std::string, std::vector<long>> rows_of;
    for (size_t i = 0; i < choice.rows.size(); ++i) {
        rows_of[choice.rows[i].sta].push_back(static_cast<long>(i));
    }
    for (int i = 0; i < maxtbl(list); ++i) {
        const char* name = static_cast<const char*>(gettbl(list, i));
        const auto found = rows_of.find(name);
        const long row = found == rows_of.end() ? -1 : row_of_listed(choice, found->second);
        if (row < 0) {
            elog_complain(0, "velorix_setup_stations: Cannot find site row for station %s.\n",
                          name);
            continue;
        }
        if (choice.has(name)) {
            elog_log(0,
                     "velorix_setup_stations: Station %s appears twice in the stations list (or "
                     "db).\n",
                     name);
            return false;
        }
        choice.accept(name, row);
    }
    return true;
}

// Every station once, in the order of its first row, with its last row.
bool choose_every_day(Choice& choice) {
    for (size_t i = 0; i < choice.rows.size(); ++i) {
        const char* code = choice.rows[i].sta;
        const auto place = reinterpret_cast<uintptr_t>(getarr(choice.map, code));
        if (place == 0) {
            choice.accept(code, static_cast<long>(i));
        } else {
            choice.accepted[place - 1] = static_cast<long>(i);
        }
    }
    return true;
}

bool choose_day(Choice& choice) {
    for (size_t i = 0; i < choice.rows.size(); ++i) {
        const Row& row = choice.rows[i];
        if (!row.valid_on(choice.day)) continue;
        if (choice.has(row.sta)) {
            elog_log(0, "velorix_setup_stations: Station %s appears twice in the db.\n", row.sta);
            return false;
        }
        choice.accept(row.sta, static_cast<long>(i));
    }
    return true;
}

// The accepted rows become the grid's stations, the map leads to them.
bool fill_stations(Choice& choice, Velorix& grid) {
    if (choice.accepted.empty()) {
        elog_log(0, "velorix_setup_stations: Cannot find any stations\n");
        return false;
    }
    const auto count = static_cast<int64_t>(choice.accepted.size());
    const auto bytes = count * static_cast<int64_t>(sizeof(Station));
    if (!fits_size_field("velorix_setup_stations", "the station array", bytes)) return false;
    CArray<Station> list = make_c_array<Station>(choice.accepted.size());
    if (!list) throw std::bad_alloc();
    // From here on the map may lead into the array, so the record owns it at once.
    replace_array(grid.stations, std::move(list));
    for (int32_t i = 0; i < count; ++i) {
        Station& station = grid.stations[i];
        choice.table.record = choice.accepted[static_cast<size_t>(i)];
        if (dbgetv(choice.table, nullptr, "sta", station.sta, "lat", &station.lat, "lon",
                   &station.lon, "elev", &station.elev, static_cast<char*>(nullptr)) == dbINVALID) {
            elog_log(0, "velorix_setup_stations: dbgetv(%s.site) error.\n", choice.dbname);
            return false;
        }
        station.index = i;
        if (setarr(choice.map, station.sta, &station) < 0) throw std::bad_alloc();
    }
    grid.ns = static_cast<int32_t>(count);
    grid.stsize = static_cast<int32_t>(bytes);
    return true;
}

// `time` to a day number; absent is today, "all" every day.
bool selection_day(const char* time, long& day) {
    if (!time) {
        day = yearday(std_now());
    } else if (std::strcmp(time, "all") == 0) {
        day = kEveryDay;
    } else {
        double epoch = 0.0;
        if (zstr2epoch(time, &epoch) < 0) {
            elog_log(0, "velorix_setup_stations: Cannot decode time string '%s'.\n", time);
            return false;
        }
        day = yearday(epoch);
    }
    return true;
}

// A record that has been set up before starts afresh.
bool make_map(Velorix& grid) {
    freearr(grid.sta_arr, nullptr);
    replace_array(grid.stations, CArray<Station>());
    grid.ns = 0;
    grid.stsize = 0;
    grid.sta_arr = newarr(nullptr);
    if (!grid.sta_arr) elog_log(1, "velorix_setup_stations: newarr() error.\n");
    return grid.sta_arr != nullptr;
}

bool setup(Velorix& grid, const char* dbname, Pf* pf) {
    Text time;
    if (parse_param(pf, "time", PF_STRING, 0, out(time)) < 0) {
        elog_log(0, "velorix_setup_stations: parse_param(time) error.\n");
        return false;
    }
    Tbl* names = nullptr;
    if (parse_param(pf, "stations", PF_LIST, 0, &names) < 0) {
        elog_log(0, "velorix_setup_stations: parse_param(stations) error.\n");
        return false;
    }
    const List list(names);

    CloseDatabase database{};
    if (dbopen(dbname, "r", &database.db) == dbINVALID) {
        elog_log(0, "velorix_setup_stations: dbopen(%s) error.\n", dbname);
        return false;
    }
    Choice choice{dbname, dblookup(database.db, nullptr, "site", nullptr, nullptr), 0, {}, {}, {}};
    long count = 0;
    if (dbquery(choice.table, dbRECORD_COUNT, &count) == dbINVALID || count < 1) {
        elog_log(0, "velorix_setup_stations: No site entries in %s.site\n", dbname);
        return false;
    }
    if (!selection_day(time.get(), choice.day) || !make_map(grid)) return false;
    choice.map = grid.sta_arr;
    if (!read_rows(choice, count)) return false;
    const bool chosen = list                      ? choose_listed(choice, list.get())
                        : choice.day == kEveryDay ? choose_every_day(choice)
                                                  : choose_day(choice);
    return chosen && fill_stations(choice, grid);
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_stations(Velorix* grid, const char* dbname, Pf* pf) {
    try {
        return velorix::setup(*grid, dbname, pf) ? 0 : -1;
    } catch (const std::bad_alloc&) {
        elog_log(1, "velorix_setup_stations: malloc() error.\n");
        return -1;
    }
}
