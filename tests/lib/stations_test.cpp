// Which rows of a site table become stations: by list or by table, for a day or for all days.
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/temp_file.h"

namespace {

const std::string kDemo = std::string(VELORIX_SOURCE_DIR) + "/examples/data/demo";

// Chosen stations as "code:latitude", in order, or the failure's messages.
std::vector<std::string> chosen(const std::string& database, const std::string& toml) {
    const auto pf = velorix_test::parameters(toml);
    const velorix_test::GridPtr grid = velorix_test::new_grid();
    const velorix_test::LogCapture log;
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

// The latitude tells the rows of one station apart; the newer one of BBB comes first.
constexpr const char* kRows =
    "BBB     2010001       -1   12.0000    0.0000    0.0000\n"
    "AAA     2000001  2000010   10.0000    0.0000    0.0000\n"
    "AAA     2000011       -1   11.0000    0.0000    0.0000\n"
    "BBB     1990001  2009365   13.0000    0.0000    0.0000\n"
    "CCC     2005001  2005001   14.0000    0.0000    0.0000\n"
    "CCC     2005001       -1   15.0000    0.0000    0.0000\n";

// The choices that fail are cases of the tool.
TEST(Stations, FollowListTableAndDay) {
    const velorix_test::TempFolder folder;
    const std::string db = folder.write("t.site", kRows);
    const std::string absent = "velorix_setup_stations: Cannot find site row for station CCC.\n";
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        // A list: list order; the newest row for all days, the first valid row for a day.
        {"time='all'\nstations=['CCC','AAA','BBB']", {"CCC:14", "AAA:11", "BBB:12"}},
        {"time='2000010'\nstations=['AAA','CCC','BBB']", {absent, "AAA:10", "BBB:13"}},
        {"time='2000-01-11'\nstations=['AAA']", {"AAA:11"}},
        // No list: table order; the last row for all days, the valid row for a day.
        {"time='all'", {"BBB:13", "AAA:11", "CCC:15"}},
        {"time='2000005'", {"AAA:10", "BBB:13"}},
        {"", {"BBB:12", "AAA:11", "CCC:15"}},  // today
    };
    for (const auto& [toml, expected] : cases) EXPECT_EQ(chosen(db, toml), expected) << toml;
}

// The flat file's rows as a SQLite table.
std::string demo_as_sqlite(const velorix_test::TempFolder& folder) {
    std::istringstream rows(velorix_test::read_file(kDemo + ".site"));
    std::string statements =
        "CREATE TABLE site (sta TEXT, ondate INTEGER, offdate INTEGER, lat REAL, lon REAL, elev "
        "REAL); BEGIN;";
    for (std::string row; std::getline(rows, row);) {
        std::istringstream fields(row);
        std::string field;
        fields >> field;
        statements += "INSERT INTO site VALUES ('" + field + "'";
        for (int i = 0; i < 5 && fields >> field; ++i) statements += "," + field;
        statements += ");";
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
    // The FDSN text comes first with the complaint about codes of two networks.
    const auto fdsn = [](const std::string& toml) {
        std::vector<std::string> lines = chosen(kDemo + "_fdsn.txt", toml);
        EXPECT_FALSE(lines.empty());
        if (!lines.empty()) lines.erase(lines.begin());
        return lines;
    };
    const auto in_order = [](const std::vector<std::string>& lines) {
        return std::multiset<std::string>(lines.begin(), lines.end());
    };
    for (const char* time : {"1965001", "1995001", "2010060", "2016237", "2023200", "all"}) {
        SCOPED_TRACE(time);
        const std::string toml = std::string("time='") + time + "'";
        const std::vector<std::string> flat = chosen(kDemo, toml);
        EXPECT_EQ(flat, chosen(sqlite, toml));
        EXPECT_EQ(in_order(flat), in_order(fdsn(toml)));
        if (toml == "time='1995001'") {
            EXPECT_EQ(flat.size(), 85u);
        }
        // A list gives the order itself.
        const std::vector<std::string> listed = chosen(kDemo, toml + list);
        EXPECT_EQ(listed, chosen(sqlite, toml + list));
        EXPECT_EQ(listed, fdsn(toml + list));
    }
}

}  // namespace
