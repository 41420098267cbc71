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
        {"time=947000000.0", {"AAA:10", "BBB:13"}},  // the same day as epoch seconds
        {"", {"BBB:12", "AAA:11", "CCC:15"}},        // today
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
    // The same for a text in which two networks have a station SUMG.
    std::string fdsn_list = list;
    fdsn_list.insert(fdsn_list.find("SUMG"), "GE_");
    const std::string fdsn = kDemo + "_fdsn.txt";
    const auto unnamed = [](std::vector<std::string> lines) {
        for (std::string& line : lines) {
            if (line.find(' ') == line.npos) line.erase(0, line.find('_') + 1);
        }
        return lines;
    };
    for (const char* time : {"1965001", "1995001", "2010060", "2016237", "2023200", "all"}) {
        SCOPED_TRACE(time);
        const std::string toml = std::string("time='") + time + "'";
        const std::vector<std::string> flat = chosen(kDemo, toml);
        EXPECT_EQ(flat, chosen(sqlite, toml));
        const std::vector<std::string> text = unnamed(chosen(fdsn, toml));
        const std::set<std::string> all(text.begin(), text.end());
        for (const std::string& station : flat) EXPECT_EQ(all.count(station), 1u) << station;
        if (toml == "time='1995001'") {
            EXPECT_EQ(flat.size(), 85u);
            EXPECT_EQ(text.size(), 91u) << "six more of networks that share a code";
        }
        // A list gives the order itself.
        const std::vector<std::string> listed = chosen(kDemo, toml + list);
        EXPECT_EQ(listed, chosen(sqlite, toml + list));
        EXPECT_EQ(listed, unnamed(chosen(fdsn, toml + fdsn_list)));
    }
}

// Two networks have a station AAA, of which only the second operates in 2003.
constexpr const char* kTwoNetworks =
    "IU|AAA|10|0|0|A|2010-01-01|\nXX|AAA|20|0|0|A|2000-01-01|2005-12-31\n"
    "XX|BBB|30|0|0|B|2000-01-01|\n";

TEST(Stations, OfSeveralNetworksAreChosenByNameAndNeverMistaken) {
    const velorix_test::TempFolder folder;
    const std::string db = folder.write("net.txt", kTwoNetworks);
    const std::string ambiguous = "velorix_setup_stations: Station AAA stands for several in " +
                                  db + ", list one of: IU_AAA, XX_AAA.\n";
    const std::string absent = "velorix_setup_stations: Cannot find site row for station XX.BBB.\n";
    const std::string hint = "velorix_setup_stations: Codes stand without network in " + db +
                             ": list BBB, or XX_BBB where networks share it.\n";
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"time='2003001'", {"XX_AAA:20", "BBB:30"}},
        {"time='all'", {"IU_AAA:10", "XX_AAA:20", "BBB:30"}},
        {"time='2003001'\nstations=['BBB','XX_AAA']", {"BBB:30", "XX_AAA:20"}},
        {"time='2003001'\nstations=['BBB','AAA']", {ambiguous}},
        {"time='all'\nstations=['AAA']", {ambiguous}},
        {"time='all'\nstations=['XX.BBB','BBB']", {absent, hint, "BBB:30"}},
    };
    for (const auto& [toml, expected] : cases) EXPECT_EQ(chosen(db, toml), expected) << toml;
}

TEST(Stations, LeftOutForWantOfATimeAreCounted) {
    const velorix_test::TempFolder folder;
    const std::string db = folder.write("net.txt", kTwoNetworks);
    const auto complaint = [&](const char* number) {
        return std::string("velorix_setup_stations: ") + number + " stations of " + db +
               " are left out, they are not open today, and no time is given.\n";
    };
    EXPECT_EQ(chosen(db, ""), (std::vector<std::string>{complaint("1"), "IU_AAA:10", "BBB:30"}));
    EXPECT_EQ(chosen(db, "stations=['BBB','XX_AAA']"),
              (std::vector<std::string>{
                  "velorix_setup_stations: Cannot find site row for station XX_AAA.\n",
                  complaint("1"), "BBB:30"}));
    EXPECT_EQ(chosen(db, "time='2024-01-01'"), (std::vector<std::string>{"IU_AAA:10", "BBB:30"}));
}

// What a row lacks matters when it is chosen, and then it is told of with file and line.
TEST(Stations, ARowThatCannotBeAStationFailsOnlyWhenItIsChosen) {
    const velorix_test::TempFolder folder;
    const std::string good = "BBB     2000001       -1   12.0000    0.0000    0.0000\n";
    const struct {
        const char* row;
        const char* fault;
    } rows[] = {
        {"AAA     2000001  2009365 -999.0000    0.0000    0.0000\n", "latitude is null"},
        {"AAA     2000001  2009365   95.0000    0.0000    0.0000\n",
         "latitude 95 is not between -90 and 90: latitude and longitude may have been exchanged"},
        {"AAA     2000001  2009365   10.0000 -999.0000    0.0000\n", "longitude is null"},
        {"AAA     2000001  2009365   10.0000    0.0000 2500.0000\n",
         "elevation (km) 2500 is not between -12 and 10: metres may have been taken for km"},
    };
    for (const auto& [row, fault] : rows) {
        const std::string db = folder.write("t.site", row + good);
        const std::vector<std::string> fails = {
            "dbgetv: " + db + ":1: " + fault + "\n",
            "velorix_setup_stations: dbgetv(" + db + ".site) error.\n"};
        for (const char* toml : {"time='2005001'", "time='all'", "time='all'\nstations=['AAA']"})
            EXPECT_EQ(chosen(db, toml), fails) << row << toml;
        for (const char* toml : {"time='2015001'", "time='2005001'\nstations=['BBB']"})
            EXPECT_EQ(chosen(db, toml), (std::vector<std::string>{"BBB:12"})) << row << toml;
    }
    // A day that is none may leave a row out, which is told at once.
    const std::string db =
        folder.write("t.site", "AAA     2000001        0   10.0000    0.0000    0.0000\n" + good);
    const std::string day = "dblookup: " + db + ":1: offdate 0 is not a day (YYYYDDD); ";
    EXPECT_EQ(chosen(db, "time='2015001'"),
              (std::vector<std::string>{day + "1 rows have such a day\n", "BBB:12"}));
    EXPECT_EQ(chosen(db, "time='all'").size(), 3u);
}

}  // namespace
