// The stations of a grid: rows of the site table, chosen and put into the record.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "platform/containers/owners.h"
#include "platform/db/db.h"
#include "platform/elog/elog.h"
#include "platform/elog/guard.h"
#include "platform/timeconv/timeconv.h"
#include "setupgrid/builder_params.h"
#include "setupgrid/station_choice.h"
#include "support/c_array.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

constexpr size_t kLongestCode = sizeof(Station::sta) - 1;

struct CloseDatabase {
    Dbptr db;
    ~CloseDatabase() { dbclose(&db); }
};

// Longer codes than a Station holds, of which a table may hand out up to 31 characters.
bool fits(const char* code) {
    if (std::strlen(code) <= kLongestCode) return true;
    elog_log(0, "velorix_setup_stations: Station code %s is longer than %d characters.\n", code,
             static_cast<int>(kLongestCode));
    return false;
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
        if (!fits(choice.rows[static_cast<size_t>(choice.table.record)].sta)) return false;
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
    const OwnedTexts list(names);

    CloseDatabase database{};
    if (dbopen(dbname, "r", &database.db) == dbINVALID) {
        elog_log(0, "velorix_setup_stations: dbopen(%s) error.\n", dbname);
        return false;
    }
    Choice choice;
    choice.dbname = dbname;
    choice.table = dblookup(database.db, nullptr, "site", nullptr, nullptr);
    choice.today = !time;
    long count = 0;
    if (dbquery(choice.table, dbRECORD_COUNT, &count) == dbINVALID || count < 1) {
        elog_log(0, "velorix_setup_stations: No site entries in %s.site\n", dbname);
        return false;
    }
    if (!selection_day(time.get(), choice.day) || !make_map(grid)) return false;
    choice.map = grid.sta_arr;
    return choose_stations(choice, count, list.get()) && fill_stations(choice, grid);
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_stations(Velorix* grid, const char* dbname, Pf* pf) {
    return velorix::guarded("velorix_setup_stations", -1,
                            [&] { return velorix::setup(*grid, dbname, pf) ? 0 : -1; });
}
