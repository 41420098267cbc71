#ifndef VELORIX_TESTS_PLATFORM_DB_FILES_H
#define VELORIX_TESTS_PLATFORM_DB_FILES_H
// Station databases of a test, and their rows as dbgetv hands them out.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "platform/db/db.h"
#include "support/temp_file.h"

namespace velorix_test {

struct Row {
    std::string sta;
    long ondate = 0, offdate = 0;
    double lat = 0.0, lon = 0.0, elev = 0.0;
};

/// Every row of `site`; fewer than the table counts when one cannot be read.
inline std::vector<Row> rows_of(const std::string& name) {
    Dbptr db;
    std::vector<Row> rows;
    if (dbopen(name.c_str(), "r", &db) == dbINVALID) return rows;
    Dbptr site = dblookup(db, nullptr, "site", nullptr, nullptr);
    long count = 0;
    if (dbquery(site, dbRECORD_COUNT, &count) == 0) {
        for (site.record = 0; site.record < count; ++site.record) {
            char sta[32];
            Row row;
            if (dbgetv(site, nullptr, "sta", sta, "ondate", &row.ondate, "offdate", &row.offdate,
                       "lat", &row.lat, "lon", &row.lon, "elev", &row.elev,
                       static_cast<char*>(nullptr)) == dbINVALID)
                break;
            row.sta = sta;
            rows.push_back(row);
        }
    }
    dbclose(&db);
    return rows;
}

/// The latitudes in their order, which tell rows apart.
inline std::vector<double> latitudes_of(const std::string& name) {
    std::vector<double> latitudes;
    for (const Row& row : rows_of(name)) latitudes.push_back(row.lat);
    return latitudes;
}

inline void execute(sqlite3* database, const std::string& statement) {
    ASSERT_EQ(sqlite3_exec(database, statement.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << statement << ": " << sqlite3_errmsg(database);
}

inline std::string sqlite_file(const TempFolder& folder,
                               const std::vector<std::string>& statements) {
    std::string path = folder.path("stations.db");
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    for (const std::string& statement : statements) execute(database, statement);
    sqlite3_close(database);
    return path;
}

}  // namespace velorix_test
#endif
