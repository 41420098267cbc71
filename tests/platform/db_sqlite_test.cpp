// SQLite files as they are found: damaged, left in the middle of a write, indexed, or made to cost.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "db_files.h"
#include "support/log_capture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velorix_test::execute;
using velorix_test::latitudes_of;
using velorix_test::LogCapture;
using velorix_test::rows_of;
using velorix_test::sqlite_file;
using velorix_test::TempFolder;

constexpr const char* kTable = "CREATE TABLE site (sta, ondate, offdate, lat, lon, elev)";

TEST(Sqlite, WrongTypesAndMissingTablesAreReported) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"CREATE TABLE other (x)"}, "dblookup: FILE: no such table: site"},
        {{"CREATE TABLE site (sta)"}, "dblookup: FILE: no such column"},
        {{kTable, "INSERT INTO site VALUES ('A', -1, -1, 'north', 2, 0)"},
         "dblookup: FILE:1: column lat is 'north', expected a number"},
        {{kTable, "INSERT INTO site VALUES ('A', 'today', -1, 1, 2, 0)"},
         "dblookup: FILE:1: column ondate is 'today', expected an integer"},
        // A row that nobody chooses may lack what it likes; its position is what fails.
        {{kTable, "INSERT INTO site VALUES ('A', -1, -1, 1, 2, NULL)"},
         "dbgetv: FILE:1: elevation (km) is null"},
        {{kTable, "INSERT INTO site VALUES (NULL, -1, -1, 1, 2, 0)"},
         "dbgetv: FILE:1: no station code"},
        {{kTable, "INSERT INTO site VALUES ('A', 5, -1, 1, 2, 0)"},
         "dbgetv: FILE:1: ondate 5 is not a day (YYYYDDD)"},
    };
    for (const auto& [statements, message] : cases) {
        const TempFolder folder;
        const LogCapture log;
        const std::string path = sqlite_file(folder, statements);
        EXPECT_TRUE(rows_of(path).empty());
        std::string expected = message;
        expected.replace(expected.find("FILE"), 4, path);
        EXPECT_THAT(log.text(), HasSubstr(expected));
    }
}

/// The user and the modes of a reader who may look and not write.
class LookingOnly {
  public:
    explicit LookingOnly(const TempFolder& folder, const std::string& path)
        : place_(std::filesystem::path(path).parent_path()), self_(geteuid()) {
        chmod(folder.path().c_str(), 0755);
        for (const auto& file : std::filesystem::directory_iterator(place_))
            chmod(file.path().c_str(), 0444);
        chmod(place_.c_str(), 0555);
        constexpr uid_t nobody = 65534;  // nothing is read-only for root
        if (self_ == 0 && seteuid(nobody) != 0) throw std::runtime_error("cannot be nobody");
    }
    ~LookingOnly() {
        if (seteuid(self_) == 0) chmod(place_.c_str(), 0755);
    }
    LookingOnly(const LookingOnly&) = delete;
    LookingOnly& operator=(const LookingOnly&) = delete;

  private:
    std::filesystem::path place_;
    uid_t self_;
};

// The log beside such a file is made even for readers, which a read-only folder does not allow.
TEST(Sqlite, AWriteAheadFileIsReadInAFolderThatCannotBeWritten) {
    const TempFolder folder;
    std::filesystem::create_directory(folder.path("50% #1?"));
    const std::string path = folder.path("50% #1?/stations.db");
    std::filesystem::rename(
        sqlite_file(folder, {"PRAGMA journal_mode = WAL", kTable,
                             "INSERT INTO site VALUES ('A', -1, -1, 1.5, 2, 0)"}),
        path);
    const LogCapture log;
    const LookingOnly looking(folder, path);
    EXPECT_THAT(latitudes_of(path), ElementsAre(1.5));
    EXPECT_TRUE(log.empty()) << log.text();
}

/// Copies of a file and its log, made while a transaction has reached the disk in part: what is
/// there when its writer dies.
std::string interrupted(const TempFolder& folder, const char* mode, const char* log) {
    const std::string path = folder.path("stations.db");
    std::filesystem::create_directory(folder.path("left"));
    sqlite3* writer = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &writer), SQLITE_OK);
    for (const std::string& statement :
         {std::string("PRAGMA journal_mode = ") + mode, std::string("PRAGMA cache_size = 1"),
          std::string("PRAGMA wal_autocheckpoint = 0"), std::string(kTable),
          std::string("INSERT INTO site VALUES ('A', -1, -1, 1.5, 2, 0)"), std::string("BEGIN"),
          std::string("UPDATE site SET lat = 77.7"),
          std::string("INSERT INTO site SELECT 'B' || value, -1, -1, 3, 4, 0 FROM "
                      "(WITH RECURSIVE c(value) AS (SELECT 1 UNION ALL SELECT value + 1 FROM c "
                      "LIMIT 20000) SELECT value FROM c)")}) {
        execute(writer, statement);
    }
    for (const char* ending : {"", log}) {
        std::filesystem::copy_file(path + ending, folder.path("left/stations.db") + ending);
    }
    sqlite3_close(writer);
    return folder.path("left/stations.db");
}

TEST(Sqlite, WhatAWriterDidNotFinishIsNotUsed) {
    for (const bool looking_only : {false, true}) {
        const TempFolder folder;
        const std::string path = interrupted(folder, "DELETE", "-journal");
        std::filesystem::create_symlink(path, folder.path("link.db"));
        for (const std::string& name : {path, folder.path("link.db")}) {
            const LogCapture log;
            std::optional<LookingOnly> looking;
            if (looking_only) looking.emplace(folder, path);
            EXPECT_TRUE(rows_of(name).empty());
            EXPECT_THAT(log.text(),
                        HasSubstr("a program ended while it wrote this file; " + path +
                                  "-journal holds what it has to take back. Repair it"));
        }
        // The repair that the message names.
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        execute(database, "PRAGMA integrity_check");
        sqlite3_close(database);
        EXPECT_THAT(latitudes_of(path), ElementsAre(1.5));
    }
}

TEST(Sqlite, RowsThatWaitInALogAreNeitherLeftOutNorTakenEarly) {
    const TempFolder folder;
    const std::string path = interrupted(folder, "WAL", "-wal");
    {
        const LogCapture log;
        const LookingOnly looking(folder, path);
        EXPECT_TRUE(rows_of(path).empty());
        EXPECT_THAT(log.text(), HasSubstr("rows wait in " + path + "-wal"));
    }
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    EXPECT_THAT(latitudes_of(path), ElementsAre(1.5));  // what was committed
}

// An index that covers the columns is smaller than the table, and the planner would rather read it.
TEST(Sqlite, RowsComeInTableOrderWhateverIndexThereIs) {
    const std::vector<std::string> rows = {
        "INSERT INTO site(sta, ondate, offdate, lat, lon, elev) VALUES ('B', 3, -1, 1, 0, 0)",
        "INSERT INTO site(sta, ondate, offdate, lat, lon, elev) VALUES ('A', 2, -1, 2, 0, 0)",
        "INSERT INTO site(sta, ondate, offdate, lat, lon, elev) VALUES ('C', 1, -1, 3, 0, 0)"};
    const std::string index = "CREATE INDEX i ON site(sta, ondate, offdate, lat, lon, elev)";
    const struct {
        const char* table;
        std::vector<double> order;
    } cases[] = {
        {"CREATE TABLE site (sta, ondate, offdate, lat, lon, elev, wide)", {1, 2, 3}},
        {"CREATE TABLE site (rowid, _rowid_, sta, ondate, offdate, lat, lon, elev)", {1, 2, 3}},
        {"CREATE TABLE site (sta, ondate INTEGER PRIMARY KEY, offdate, lat, lon, elev, wide)",
         {3, 2, 1}},
        {"CREATE TABLE site (\"sta\", ondate, offdate, lat, lon, elev, wide, "
         "PRIMARY KEY (ondate, sta)) WITHOUT ROWID",
         {3, 2, 1}},
        {"CREATE TABLE site (rowid, _rowid_, oid, sta, ondate, offdate, lat, lon, elev, "
         "PRIMARY KEY (lat))",
         {1, 2, 3}},
    };
    for (const auto& c : cases) {
        const TempFolder folder;
        std::vector<std::string> statements = {c.table, index};
        statements.insert(statements.end(), rows.begin(), rows.end());
        statements.emplace_back("UPDATE site SET lat = lat, elev = 5.0");
        const LogCapture log;
        std::vector<double> latitudes;
        Dbptr db;
        ASSERT_EQ(dbopen(sqlite_file(folder, statements).c_str(), "r", &db), 0);
        Dbptr site = dblookup(db, nullptr, "site", nullptr, nullptr);
        char sta[32];
        std::string order;
        for (site.record = 0; site.record < 3; ++site.record) {
            ASSERT_EQ(dbgetv(site, nullptr, "sta", sta, static_cast<char*>(nullptr)), 0);
            order += sta;
        }
        dbclose(&db);
        std::string expected;
        for (const double lat : c.order) expected += lat == 1 ? "B" : lat == 2 ? "A" : "C";
        EXPECT_EQ(order, expected) << c.table;
    }
    const TempFolder folder;
    EXPECT_THAT(latitudes_of(sqlite_file(
                    folder, {"CREATE TABLE net (code, north)",
                             "INSERT INTO net VALUES ('A', 1), ('B', 3), ('C', 2)",
                             "CREATE VIEW site AS SELECT code AS sta, -1 AS ondate, -1 AS offdate, "
                             "north AS lat, 0 AS lon, 0 AS elev FROM net ORDER BY north DESC"})),
                ElementsAre(3, 2, 1))
        << "a view has the order that it asks for";
}

/// A view of so many rows, each made of `lat`.
std::string view(const std::string& lat, const std::string& rest, const char* rows = "100000000") {
    return "CREATE VIEW site AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c "
           "LIMIT " +
           std::string(rows) + ") SELECT 'A' AS sta, -1 AS ondate, -1 AS offdate, " + lat +
           " AS lat, 0 AS lon, 0 AS elev FROM c " + rest;
}

// Kilobytes that this process has had in memory at most.
long peak() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// No file may grow beyond some bytes: a sort that spills to disk fails.
class SmallFiles {
  public:
    SmallFiles() {
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit small = before_;
        small.rlim_cur = 65536;
        setrlimit(RLIMIT_FSIZE, &small);
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
    }
    ~SmallFiles() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

  private:
    rlimit before_{};
    void (*handler_)(int) = nullptr;
};

TEST(Sqlite, AViewCostsNeitherDiskNorMemoryNorTimeWithoutBound) {
    const std::pair<std::string, const char*> cases[] = {
        {view("x % 90", "ORDER BY randomblob(1000000)"), "more than a table may take"},
        {view("x % 90", "GROUP BY x || 'some text'"), "a table may"},
        {view("x % 90", ""), "more rows than a table may have"},
        {view("(SELECT count(*) FROM c AS o WHERE o.x <> c.x) % 90", "", "100000"),
         "longer than a table may"},
        {view("length(zeroblob(2000000000)) % 90", ""), "too big"},
        {view("load_extension('x')", ""), "unsafe use of load_extension"},
        {"CREATE VIEW site AS SELECT name AS sta, -1 AS ondate, -1 AS offdate, 1 AS lat, 1 AS lon, "
         "1 AS elev FROM pragma_function_list",
         "unsafe use of virtual table"},
    };
    for (const auto& [statement, message] : cases) {
        const TempFolder folder;
        const std::string path = sqlite_file(folder, {statement});
        EXPECT_LE(std::filesystem::file_size(path), 16384u);
        const LogCapture log;
        const long before = peak();
        const SmallFiles small;
        EXPECT_LE(rows_of(path).size(), 1'000'000u);
        EXPECT_THAT(log.text(), HasSubstr(message)) << statement;
        EXPECT_LT(peak() - before, VELORIX_SANITIZED ? 700'000 : 400'000) << statement;
    }
    EXPECT_EQ(sqlite3_hard_heap_limit64(-1), 0) << "the limit goes with the table";
}

}  // namespace
