#include "platform/db/db.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "db_files.h"
#include "support/log_capture.h"
#include "support/temp_file.h"

namespace {

using testing::HasSubstr;
using velorix_test::LogCapture;
using velorix_test::Row;
using velorix_test::rows_of;
using velorix_test::sqlite_file;
using velorix_test::TempFolder;

const std::string kDemo = std::string(VELORIX_SOURCE_DIR) + "/examples/data/demo";

void expect_same(std::vector<Row> a, std::vector<Row> b, double tolerance) {
    const auto before = [](const Row& x, const Row& y) {
        return std::tie(x.sta, x.ondate) < std::tie(y.sta, y.ondate);
    };
    std::sort(a.begin(), a.end(), before);
    std::sort(b.begin(), b.end(), before);
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].sta, b[i].sta);
        EXPECT_EQ(a[i].ondate, b[i].ondate) << a[i].sta;
        EXPECT_EQ(a[i].offdate, b[i].offdate) << a[i].sta;
        EXPECT_NEAR(a[i].lat, b[i].lat, tolerance) << a[i].sta;
        EXPECT_NEAR(a[i].lon, b[i].lon, tolerance) << a[i].sta;
        EXPECT_NEAR(a[i].elev, b[i].elev, tolerance) << a[i].sta;
    }
}

// A row of the flat file among those of the FDSN text, which has more decimals, and every network
// that uses a code where the flat file has one.
bool stands_in(const std::vector<Row>& fdsn, const Row& row) {
    constexpr double half_a_digit = 0.51e-4;
    return std::any_of(fdsn.begin(), fdsn.end(), [&](const Row& other) {
        const bool named = other.sta == row.sta || other.sta.ends_with("_" + row.sta);
        return named && other.ondate == row.ondate && other.offdate == row.offdate &&
               std::abs(other.lat - row.lat) < half_a_digit &&
               std::abs(other.lon - row.lon) < half_a_digit &&
               std::abs(other.elev - row.elev) < half_a_digit;
    });
}

TEST(Db, ThreeKindsOfDatabaseGiveTheSameRows) {
    const std::vector<Row> css = rows_of(kDemo);
    ASSERT_EQ(css.size(), 162u);
    EXPECT_EQ(css[0].sta, "ACON");
    EXPECT_EQ(css[0].offdate, 2007365);
    EXPECT_EQ(css[0].lat, 11.9680);

    const LogCapture log;
    const std::vector<Row> fdsn = rows_of(kDemo + "_fdsn.txt");
    EXPECT_EQ(fdsn.size(), 185u);
    for (const Row& row : css) EXPECT_TRUE(stands_in(fdsn, row)) << row.sta;
    EXPECT_TRUE(log.empty()) << log.text();

    std::vector<std::string> statements{
        "CREATE TABLE site (sta TEXT, ondate INTEGER, offdate INTEGER, lat REAL, lon REAL, "
        "elev REAL)"};
    for (const Row& row : css) {
        statements.push_back("INSERT INTO site VALUES ('" + row.sta + "', " +
                             std::to_string(row.ondate) + ", " +
                             (row.offdate == -1 ? "NULL" : std::to_string(row.offdate)) + ", " +
                             std::to_string(row.lat) + ", " + std::to_string(row.lon) + ", " +
                             std::to_string(row.elev) + ")");
    }
    const TempFolder folder;
    expect_same(css, rows_of(sqlite_file(folder, statements)), 1e-9);
}

TEST(Db, OpensAFolderAFileAndAPrefixAlike) {
    const TempFolder folder;
    folder.write("net.site", velorix_test::read_file(kDemo + ".site"));
    for (const std::string& name :
         {folder.path().string(), folder.path("net"), folder.path("net.site")}) {
        EXPECT_EQ(rows_of(name).size(), 162u) << name;
    }
    folder.write("net/unrelated", "");
    EXPECT_EQ(rows_of(folder.path("net")).size(), 162u) << "a folder beside the table";
    folder.write("two.site", "");
    const LogCapture log;
    EXPECT_TRUE(rows_of(folder.path().string()).empty());
    EXPECT_THAT(log.text(),
                HasSubstr("more than one *.site file, name one of them: net.site, two.site"));
}

const std::string kGood =
    "AAA     2000001       -1   10.0000   20.0000    1.5000 Name, with blanks";

TEST(Db, ReadsBothDialectsOfAFlatFileAndCutLines) {
    const std::string wide = "BBB     2000001  2286324   10.123456  -20.654321    0.5000 Somewhere";
    for (const auto& [line, lat, elev] : {std::tuple{kGood, 10.0, 1.5},
                                          {kGood.substr(0, 54), 10.0, 1.5},
                                          {kGood + "\r", 10.0, 1.5},
                                          {wide, 10.123456, 0.5}}) {
        const TempFolder folder;
        const std::vector<Row> rows = rows_of(folder.write("x.site", "\n" + line + "\n\n"));
        ASSERT_EQ(rows.size(), 1u) << line;
        EXPECT_EQ(rows[0].lat, lat);
        EXPECT_EQ(rows[0].elev, elev);
    }
}

TEST(Db, JoinsEpochsOfOnePlaceAndKeepsDaysApart) {
    const TempFolder folder;
    const std::vector<Row> rows = rows_of(
        folder.write("s.txt",
                     "# from a data centre\n\n"
                     "#Network|Station|Latitude|Longitude|Elevation|Sitename|StartTime|EndTime\n"
                     "XX|AAA|1.0|2.0|500|A|2000-01-01T00:00:00|2001-03-01T00:00:00\n"
                     "XX|AAA|1.0|2.0|500|A|2001-03-01T00:00:00.0000|2005-01-01T00:00:00Z\n"
                     "# a mark in between\n\n"
                     "XX|AAA|1.5|2.0|500|A moved|2005-01-01T00:00:00|2599-12-31T23:59:59\n"
                     "XX|BBB|1.0|2.0|-12.5|B||\n"
                     "XX|CCC|1.0|2.0|0|C|2000-01-01|2020-06-22\n"
                     "XX|CCC|1.5|2.0|0|C|2020-06-22|2020-06-22\n"
                     "XX|CCC|1.0|2.0|0|C|2020-06-22|\n"));
    ASSERT_EQ(rows.size(), 5u);
    EXPECT_EQ(rows[0].ondate, 2000001);
    EXPECT_EQ(rows[0].offdate, 2004366);
    EXPECT_EQ(rows[1].ondate, 2005001);
    EXPECT_EQ(rows[1].offdate, -1);
    EXPECT_EQ(rows[2].ondate, -1);
    EXPECT_DOUBLE_EQ(rows[2].elev, -0.0125);
    EXPECT_EQ(rows[3].offdate, 2020173);
    EXPECT_EQ(rows[4].ondate, 2020174);
}

// Rows as "code first-last latitude".
std::vector<std::string> days_of(const std::string& name) {
    std::vector<std::string> rows;
    for (const Row& row : rows_of(name)) {
        rows.push_back(row.sta + " " + std::to_string(row.ondate) + "-" +
                       std::to_string(row.offdate) + " " + std::to_string(lround(row.lat)));
    }
    return rows;
}

TEST(Db, ACodeOfSeveralNetworksIsNamedWithItsNetworkAndNoneIsLeftOut) {
    const TempFolder folder;
    const LogCapture log;
    EXPECT_THAT(days_of(folder.write("s.txt",
                                     "IU|AAA|1.0|2.0|0|A|2000-01-01|2001-12-31\n"
                                     "IU|BBB|2.0|2.0|0|B|2000-01-01|\n"
                                     "XX|AAA|3.0|2.0|0|A|2020-01-01|\n"
                                     "IU|AAA|1.0|2.0|0|A|2001-12-31|2010-12-31\n"
                                     "ZZ|AAA|4.0|2.0|0|A|1990-01-01|\n")),
                testing::ElementsAre("IU_AAA 2000001-2010365 1", "BBB 2000001--1 2",
                                     "XX_AAA 2020001--1 3", "ZZ_AAA 1990001--1 4"));
    EXPECT_TRUE(log.empty()) << log.text();
    EXPECT_TRUE(
        rows_of(folder.write("t.txt",
                             "A|B_C|1.0|2.0|0|A|2000-01-01|\nX|B_C|1.0|2.0|0|A|2000-01-01|\n"
                             "A_B|C|1.0|2.0|0|A|2000-01-01|\nX|C|1.0|2.0|0|A|2000-01-01|\n"))
            .empty());
    EXPECT_THAT(log.text(), HasSubstr("t.txt:3: station A_B.C has the name A_B_C of A.B_C"));
}

TEST(Db, OnDaysOfTwoPlacesTheLaterStartCountsAndTheEarlierGoesOnBehindIt) {
    const struct {
        const char* name;
        const char* epochs;  // start, end, latitude
        std::vector<std::string> rows;
        bool far;
    } cases[] = {
        {"a day shared",
         "2000-01-01|2005-01-01|1\n2005-01-01||2\n",
         {"A 2000001-2004366 1", "A 2005001--1 2"},
         false},
        {"within",
         "2000-01-01||1\n2005-01-01|2005-12-31|2\n",
         {"A 2000001-2004366 1", "A 2006001--1 1", "A 2005001-2005365 2"},
         true},
        {"within, and back at the first place before it ends",
         "2000-01-01|2010-12-31|1\n2005-01-01|2005-12-31|2\n2005-07-01|2020-12-31|1\n",
         {"A 2000001-2004366 1", "A 2005001-2005181 2", "A 2005182-2020366 1"},
         true},
        {"started on one day",
         "2000-01-01|2010-12-31|1\n2000-01-01|2000-12-31|2\n",
         {"A 2001001-2010365 1", "A 2000001-2000366 2"},
         true},
        {"three, the middle one short",
         "2000-01-01|2000-12-30|1\n2000-12-31|2000-12-31|2\n2000-12-31||3\n",
         {"A 2000001-2000365 1", "A 2000366--1 3"},
         false},
        {"ends before it starts",
         "2000-01-01|1999-01-01|1\n2000-06-01|2001-01-01|2\n",
         {"A 2000001-1999001 1", "A 2000153-2001001 2"},
         false},
    };
    for (const auto& c : cases) {
        const TempFolder folder;
        std::istringstream epochs(c.epochs);
        std::string text;
        for (std::string line; std::getline(epochs, line);) {
            const size_t bar = line.rfind('|');
            text += "N|A|" + line.substr(bar + 1) + "|2|0|x|" + line.substr(0, bar) + "\n";
        }
        const LogCapture log;
        EXPECT_EQ(days_of(folder.write("s.txt", text)), c.rows) << c.name;
        EXPECT_EQ(log.text().find("1 stations at two places on one day") != std::string::npos,
                  c.far)
            << c.name << log.text();
    }
}

TEST(Db, NamesFileAndLineOfARowThatCannotBeRead) {
    const std::string bad_lat = "BBB     2000001       -1   x0.0000   20.0000    1.5000";
    std::string null_lat = kGood, shifted = " " + kGood, metres = kGood, day = kGood;
    null_lat.replace(25, 9, "-999.0000");
    metres.replace(45, 9, "1500.0000");
    day.replace(7, 8, " 2000400");
    const std::string fdsn = "XX|AAA|1.0|2.0|500|A|2000-01-01|\n";
    struct Case {
        const char* name;
        std::string text;
        const char* message;
    };
    const Case cases[] = {
        {"a.site", kGood + "\n" + bad_lat, "a.site:2: lat 'x0.0000' in columns 26 to 34"},
        {"b.site", null_lat, "b.site:1: latitude is null"},
        {"c.site", shifted, "c.site:1: "},
        {"d.site", metres, "d.site:1: elevation (km) 1500 is not between"},
        {"e.site", day, "e.site:1: ondate 2000400 is not a day"},
        {"f.site", std::string("\0\1\2", 3) + kGood, "f.site:1: binary data"},
        {"l.site", kGood + "\r" + kGood + "\r", "l.site:1: a carriage return within a row"},
        {"m.txt",
         fdsn + "#" + std::string(5000, 'x') + "\nXX|BBB|1|2|5|A|2000-01-01" + '\0' + "|\n",
         "m.txt:3: binary data"},
        {"g.txt", fdsn + "XX|AAA|1.0\n" + fdsn, "g.txt:2: has 3 fields"},
        {"h.txt", fdsn + "XX|BBB|north|2.0|500|A|2000-01-01|\n", "h.txt:2: latitude 'north'"},
        {"i.txt", fdsn + "XX|BBB|1|2.0|500|A|2000-13-01|\n", "i.txt:2: start time '2000-13-01'"},
        {"j.txt", fdsn + "XX|ABCDEFGHIJKLMNOP|1|2|5|A||\n", "'ABCDEFGHIJKLMNOP' is longer than"},
        {"k.txt", fdsn + "XX|BBB|91|2|5|A||\n", "k.txt:2: latitude 91 is not between"},
    };
    const TempFolder folder;
    for (const Case& c : cases) {
        const LogCapture log;
        EXPECT_LE(rows_of(folder.write(c.name, c.text)).size(), 1u) << c.name;
        EXPECT_THAT(log.text(), HasSubstr(c.message)) << c.name;
    }
}

TEST(Db, SaysWhyANameIsNoDatabase) {
    const TempFolder folder;
    const TempFolder empty;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    const std::pair<std::string, const char*> cases[] = {
        {folder.path("absent"), "no such file or folder, and no file"},
        {folder.write("empty", ""), "is empty"},
        {folder.write("prose", "This is no table.\n"), "is neither a CSS3.0 database"},
        {empty.path().string(), "without a *.site file"},
        {"/dev/zero", "is not a regular file"},
        {folder.path("pipe"), "is not a regular file"},
        {folder.write("broken.db", std::string("SQLite format 3\0", 16) + "garbage"),
         "file is not a database"},
    };
    for (const auto& [name, message] : cases) {
        const LogCapture log;
        EXPECT_TRUE(rows_of(name).empty());
        EXPECT_THAT(log.text(), HasSubstr(message)) << name;
    }
}

long event_count(const std::string& name) {
    Dbptr db;
    long count = -1;
    if (dbopen(name.c_str(), "r", &db) == dbINVALID) return count;
    Dbptr event = dblookup(db, nullptr, "event", nullptr, nullptr);
    dbquery(event, dbRECORD_COUNT, &count);
    long evid = 0;
    for (event.record = 0; event.record < count; ++event.record) {
        if (dbgetv(event, nullptr, "evid", &evid, static_cast<char*>(nullptr)) == dbINVALID)
            count = event.record;
    }
    dbclose(&db);
    return count;
}

const std::string kEventRow =
    "       7 name                   8 author                -1 -                ";

TEST(Db, ReadsCataloguesWhateverTheyAreKeptIn) {
    const TempFolder folder;
    folder.write("cat.event", kEventRow + "\n" + kEventRow.substr(0, 58) + "\r\n");
    for (const char* name : {"cat", "cat.event"}) EXPECT_EQ(event_count(folder.path(name)), 2);
    const std::string table = "CREATE TABLE event (evid, evname, prefor, auth, commid, lddate)";
    const std::string insert = "INSERT INTO event VALUES (7, 'name', 8, 'author', NULL, '-')";
    const TempFolder other;
    EXPECT_EQ(event_count(sqlite_file(other, {table, insert})), 1);
    LogCapture log;
    EXPECT_EQ(event_count(kDemo + "_fdsn.txt"), -1);
    EXPECT_THAT(log.text(), HasSubstr("a station text has no table event"));
    const TempFolder longer;
    EXPECT_EQ(
        event_count(sqlite_file(
            longer, {table, "INSERT INTO event VALUES (7, 'a name of 16 let', 8, '', 1, '')"})),
        0);
    EXPECT_THAT(log.text(), HasSubstr(":1: column evname is 'a name of 16 let', expected at most "
                                      "15 characters"));
}

TEST(Db, NamesFileAndLineOfACatalogueRowThatCannotBeRead) {
    const std::pair<std::string, const char*> cases[] = {
        {"x" + kEventRow.substr(1), ":2: evid 'x      7' in columns 1 to 8 is not a number"},
        {kEventRow.substr(0, 20), ":2: prefor '' in columns 26 to 33 is not a number"},
        {" " + kEventRow, ":2: column 9 is not blank: not event of CSS3.0"},
        {kEventRow + " more", ":2: longer than 76 columns: not event of CSS3.0"},
    };
    for (const auto& [row, message] : cases) {
        const TempFolder folder;
        folder.write("cat.event", kEventRow + "\n" + row + "\n" + kEventRow + "\n");
        const LogCapture log;
        EXPECT_EQ(event_count(folder.path("cat")), 1) << message;
        EXPECT_THAT(log.text(), HasSubstr("cat.event" + std::string(message)));
    }
}

TEST(Db, KeepsPipesFromBlockingAndNamesUnknownTables) {
    const TempFolder folder;
    folder.write("net.site", kGood);
    ASSERT_EQ(mkfifo(folder.path("net.affiliation").c_str(), 0600), 0);
    Dbptr db;
    ASSERT_EQ(dbopen(folder.path("net").c_str(), "r", &db), 0);
    const LogCapture log;
    EXPECT_EQ(dblookup(db, nullptr, "affiliation", nullptr, nullptr).table, dbINVALID);
    EXPECT_EQ(dblookup(db, nullptr, "wfdisc", nullptr, nullptr).table, dbINVALID);
    EXPECT_THAT(log.text(), HasSubstr("net.affiliation is not a regular file"));
    EXPECT_THAT(log.text(), HasSubstr("table wfdisc is not known"));
    dbclose(&db);
}

TEST(Db, ListsWhichNetworkAStationBelongsTo) {
    for (const std::string& name : {kDemo, kDemo + "_fdsn.txt"}) {
        Dbptr db;
        ASSERT_EQ(dbopen(name.c_str(), "r", &db), 0);
        Dbptr table = dblookup(db, nullptr, "affiliation", nullptr, nullptr);
        long count = 0;
        ASSERT_EQ(dbquery(table, dbRECORD_COUNT, &count), 0) << name;
        char net[32];
        char sta[32];
        ASSERT_EQ(dbgetv(table, nullptr, "net", net, "sta", sta, static_cast<char*>(nullptr)), 0);
        EXPECT_GE(count, 150) << name;
        table.record = count;
        EXPECT_EQ(dbgetv(table, nullptr, "net", net, static_cast<char*>(nullptr)), dbINVALID);
        dbclose(&db);
        EXPECT_EQ(dbquery(table, dbRECORD_COUNT, &count), dbINVALID);
    }
}

}  // namespace
