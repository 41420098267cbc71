// SQLite 3 files with tables named and laid out as the CSS3.0 schema has them.
#include <sqlite3.h>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

// Bounds for files that are not what they say: a view may compute rows for ever.
constexpr size_t kMostRows = 1'000'000;
constexpr int kLongestValue = 1 << 20;  // bytes
constexpr int kStepsPerCall = 1'000'000;
constexpr int kMostCalls = 50;
constexpr int kLockWait = 2000;  // ms, while another program writes

struct CloseDatabase {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct CloseStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Statement = std::unique_ptr<sqlite3_stmt, CloseStatement>;

Read failed(const std::string& path, sqlite3* database, Read result) {
    elog_log(0, "dblookup: %s: %s\n", path.c_str(),
             database ? sqlite3_errmsg(database) : "out of memory");
    return result;
}

std::string text(sqlite3_stmt* row, int column) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    const int size = sqlite3_column_bytes(row, column);
    return bytes ? std::string(trimmed({bytes, static_cast<size_t>(size)})) : std::string();
}

bool wrong(sqlite3_stmt* row, int column, const char* expected, const RowPlace& at) {
    const bool null = sqlite3_column_type(row, column) == SQLITE_NULL;
    return malformed(at, std::string("column ") + sqlite3_column_name(row, column) + " is " +
                             (null ? "null" : "'" + text(row, column) + "'") + ", expected " +
                             expected);
}

// A day number; null is the table's own null, -1.
bool day(sqlite3_stmt* row, int column, const RowPlace& at, long& value) {
    value = -1;
    const int type = sqlite3_column_type(row, column);
    if (type == SQLITE_NULL) return true;
    if (type != SQLITE_INTEGER) return wrong(row, column, "an integer", at);
    value = static_cast<long>(sqlite3_column_int64(row, column));
    return true;
}

bool real(sqlite3_stmt* row, int column, const RowPlace& at, double& value) {
    const int type = sqlite3_column_type(row, column);
    if (type != SQLITE_FLOAT && type != SQLITE_INTEGER) return wrong(row, column, "a number", at);
    value = sqlite3_column_double(row, column);
    return true;
}

bool parse(sqlite3_stmt* row, const RowPlace& at, Site& site) {
    site.sta = text(row, 0);
    return day(row, 1, at, site.ondate) && day(row, 2, at, site.offdate) &&
           real(row, 3, at, site.lat) && real(row, 4, at, site.lon) && real(row, 5, at, site.elev);
}

bool parse(sqlite3_stmt* row, const RowPlace&, Affiliation& affiliation) {
    affiliation = {text(row, 0), text(row, 1)};
    return true;
}

template <class Row>
Read read_rows(sqlite3* database, const std::string& path, const char* query,
               std::vector<Row>& rows) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database, query, -1, &prepared, nullptr) != SQLITE_OK)
        return failed(path, database, Read::absent);
    const Statement statement(prepared);
    for (size_t number = 1;; ++number) {
        const int step = sqlite3_step(prepared);
        if (step == SQLITE_DONE) return Read::good;
        if (step != SQLITE_ROW) return failed(path, database, Read::malformed);
        const RowPlace at{path, number};
        if (number > kMostRows) {
            malformed(at, "more rows than a station table may have");
            return Read::malformed;
        }
        Row row;
        if (!parse(prepared, at, row) || !check(row, at)) return Read::malformed;
        rows.push_back(std::move(row));
    }
}

// Ends a query that computes without end.
int count_steps(void* calls) { return ++*static_cast<int*>(calls) > kMostCalls; }

}  // namespace

Read read_sqlite(const std::string& path, std::string_view table, Tables& tables) {
    sqlite3* opened = nullptr;
    const int status = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
    const Database database(opened);
    if (status != SQLITE_OK) return failed(path, opened, Read::absent);
    int calls = 0;
    sqlite3_progress_handler(opened, kStepsPerCall, count_steps, &calls);
    sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, kLongestValue);
    sqlite3_busy_timeout(opened, kLockWait);
    if (table == "site") {
        return read_rows(opened, path, "SELECT sta, ondate, offdate, lat, lon, elev FROM site",
                         tables.site);
    }
    return read_rows(opened, path, "SELECT net, sta FROM affiliation", tables.affiliation);
}

}  // namespace velorix::db
