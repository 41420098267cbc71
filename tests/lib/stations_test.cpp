// Which rows of a site table become stations: by list or by table, for a day or for all days.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <algorithm>
#include <sstream>

#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/temp_file.h"

namespace {

using velorix_test::GridPtr;
using velorix_test::LogCapture;
using velorix_test::parameters;

const std::string kDemo = std::string(VELORIX_SOURCE_DIR) + "/examples/data/demo";

// Chosen stations as "code:latitude", in order, or the failure's messages.
std::vector<std::string> chosen(const std::string& database, const std::string& toml) {
    const auto pf = parameters(toml);
    const GridPtr grid = velorix_test::new_grid();
    LogCapture log;
    if (velorix_setup_stations(grid.get(), database.c_str(), pf.get()) < 0) return log.messages();
    EXPECT_EQ(grid->stsize, grid->ns * 48);
    EXPECT_EQ(maxarr(grid->sta_arr), grid->ns);
    std::vector<std::string> result = log.messages();
    for (int32_t i = 0; i < grid->ns; ++i) {
        const Station& station = grid->stations[i];
        EXPECT_EQ(station.index, i);
        EXPECT_EQ(getarr(grid->sta_arr, station.sta), &station);
        result.push_back(std::string(station.sta) + ":" +
                         std::to_string(static_cast<int>(station.lat)));
    }
    return result;
}

std::string site_file(const velorix_test::TempFolder& folder,
                      const std::vector<const char*>& rows) {
    std::string text;
    for (const char* row : rows) text += std::string(row) + "\n";
    return folder.write("t.site", text);
}

// The latitude tells the rows of one station apart.
const std::vector<const char*> kRows = {
    "BBB     2010001       -1   12.0000    0.0000    0.0000",  // newer first
    "AAA     2000001  2000010   10.0000    0.0000    0.0000",
    "AAA     2000011       -1   11.0000    0.0000    0.0000",
    "BBB     1990001  2009365   13.0000    0.0000    0.0000",
    "CCC     2005001  2005001   14.0000    0.0000    0.0000",
    "CCC     2005001       -1   15.0000    0.0000    0.0000",
};

TEST(Stations, FollowListTableAndDay) {
    const velorix_test::TempFolder folder;
    const std::string db = site_file(folder, kRows);
    const std::string absent = "velorix_setup_stations: Cannot find site row for station ZZZ.\n";
    const std::string none = "velorix_setup_stations: Cannot find any stations\n";
    struct Case {
        const char* toml;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        // A list: list order; the newest row for all days, the first valid row for a day.
        {"time='all'\nstations=['CCC','AAA','BBB']", {"CCC:14", "AAA:11", "BBB:12"}},
        {"time='2000010'\nstations=['AAA','ZZZ','BBB']", {absent, "AAA:10", "BBB:13"}},
        {"time='2000-01-11'\nstations=['AAA']", {"AAA:11"}},
        {"time='all'\nstations=[]", {none}},
        {"time='1980001'\nstations=['AAA']",
         {"velorix_setup_stations: Cannot find site row for station AAA.\n", none}},
        {"time='all'\nstations=['AAA','AAA']",
         {"velorix_setup_stations: Station AAA appears twice in the stations list (or db).\n"}},
        // No list: table order; the last row for all days, the valid row for a day.
        {"time='all'", {"BBB:13", "AAA:11", "CCC:15"}},
        {"time='2000005'", {"AAA:10", "BBB:13"}},
        {"", {"BBB:12", "AAA:11", "CCC:15"}},  // today
        {"time='2005-01-01'", {"velorix_setup_stations: Station CCC appears twice in the db.\n"}},
        {"time='1980001'", {none}},
        {"time='All'", {"velorix_setup_stations: Cannot decode time string 'All'.\n"}},
    };
    for (const Case& c : cases) EXPECT_EQ(chosen(db, c.toml), c.expected) << c.toml;
}

// The flat file's rows as a SQLite table.
std::string demo_as_sqlite(const velorix_test::TempFolder& folder) {
    std::istringstream rows(velorix_test::read_file(kDemo + ".site"));
    std::string statements =
        "CREATE TABLE site (sta TEXT, ondate INTEGER, offdate INTEGER, lat REAL, lon REAL, elev "
        "REAL); BEGIN;";
    for (std::string row; std::getline(rows, row);) {
        std::istringstream fields(row);
        std::string sta, ondate, offdate, lat, lon, elev;
        fields >> sta >> ondate >> offdate >> lat >> lon >> elev;
        statements += "INSERT INTO site VALUES ('" + sta + "'," + ondate + "," + offdate + "," +
                      lat + "," + lon + "," + elev + ");";
    }
    std::string path = folder.path("demo.sqlite");
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, (statements + "COMMIT;").c_str(), nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(database);
    return path;
}

TEST(Stations, AreTheSameFromEveryKindOfDatabase) {
    const velorix_test::TempFolder folder;
    const std::string sqlite = demo_as_sqlite(folder);
    const std::string list = "\nstations=['CASY','SUMG','ACON','NOPE','ANMO','CCIG']";
    for (const char* time : {"1965001", "1995001", "2010060", "2016237", "2023200", "all"}) {
        const std::string toml = std::string("time='") + time + "'";
        std::vector<std::string> flat = chosen(kDemo, toml);
        EXPECT_EQ(flat, chosen(sqlite, toml)) << time;
        std::vector<std::string> fdsn = chosen(kDemo + "_fdsn.txt", toml);
        ASSERT_FALSE(fdsn.empty());
        fdsn.erase(fdsn.begin());  // the complaint about codes of two networks
        std::sort(flat.begin(), flat.end());
        std::sort(fdsn.begin(), fdsn.end());
        EXPECT_EQ(flat, fdsn) << time;
        if (std::string(time) == "1995001") {
            EXPECT_EQ(flat.size(), 85u);
        }

        // A list gives the order itself.
        flat = chosen(kDemo, toml + list);
        EXPECT_EQ(flat, chosen(sqlite, toml + list)) << time;
        fdsn = chosen(kDemo + "_fdsn.txt", toml + list);
        ASSERT_FALSE(fdsn.empty());
        fdsn.erase(fdsn.begin());
        EXPECT_EQ(flat, fdsn) << time;
    }
}

TEST(Stations, SayWhatFailed) {
    const velorix_test::TempFolder folder;
    const std::string good = site_file(folder, kRows);
    const std::string empty = folder.write("empty.site", "");
    const std::string bad = folder.write("bad.site", std::string(kRows[0]) + "\nAAA     x\n");
    const auto last = [](const std::string& db, const char* toml) {
        return chosen(db, toml).back();
    };
    EXPECT_EQ(last(good, "time=['a']"), "velorix_setup_stations: parse_param(time) error.\n");
    EXPECT_EQ(last(good, "stations=1"), "velorix_setup_stations: parse_param(stations) error.\n");
    EXPECT_EQ(last("/no/such", ""), "velorix_setup_stations: dbopen(/no/such) error.\n");
    EXPECT_EQ(last(empty, ""), "velorix_setup_stations: No site entries in " + empty + ".site\n");
    EXPECT_EQ(last(bad, ""), "velorix_setup_stations: dbgetv(" + bad + ".site) error.\n");
}

}  // namespace
