// SQLite 3 files with tables named and laid out as the CSS3.0 schema has them.
#include <sqlite3.h>

#include <cmath>
#include <filesystem>

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

// A day number or an identifier; null is the table's own null, -1.
bool whole(sqlite3_stmt* row, int column, const RowPlace& at, long& value) {
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
    return whole(row, 1, at, site.ondate) && whole(row, 2, at, site.offdate) &&
           real(row, 3, at, site.lat) && real(row, 4, at, site.lon) && real(row, 5, at, site.elev);
}

bool parse(sqlite3_stmt* row, const RowPlace&, Affiliation& affiliation) {
    affiliation = {text(row, 0), text(row, 1)};
    return true;
}

/// Hands every row of a query's answer to `use` until that returns false.
template <class Use>
Read answer(sqlite3* database, const std::string& path, const std::string& query, Use use) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database, query.c_str(), -1, &prepared, nullptr) != SQLITE_OK)
        return failed(path, database, Read::absent);
    const Statement statement(prepared);
    for (size_t number = 1;; ++number) {
        const int step = sqlite3_step(prepared);
        if (step == SQLITE_DONE) return Read::good;
        if (step != SQLITE_ROW) return failed(path, database, Read::malformed);
        const RowPlace at{path, number};
        if (number > kMostRows) {
            malformed(at, "more rows than a table may have");
            return Read::malformed;
        }
        if (!use(prepared, at)) return Read::malformed;
    }
}

template <class Row>
Read read_rows(sqlite3* database, const std::string& path, const char* query,
               std::vector<Row>& rows) {
    return answer(database, path, query, [&](sqlite3_stmt* prepared, const RowPlace& at) {
        Row row;
        if (!parse(prepared, at, row) || !check(row, at)) return false;
        rows.push_back(std::move(row));
        return true;
    });
}

bool add_cell(sqlite3_stmt* row, int number, const Column& column, const RowPlace& at, Rows& rows) {
    long integer = 0;
    double value = 0.0;
    std::string characters;
    switch (column.kind) {
        case Kind::text:
            characters = text(row, number);
            if (characters.size() > column.width)
                return wrong(row, number,
                             ("at most " + std::to_string(column.width) + " characters").c_str(),
                             at);
            rows.add_text(characters);
            break;
        case Kind::integer:
            if (!whole(row, number, at, integer)) return false;
            rows.add_integer(integer);
            break;
        case Kind::real:
            if (!real(row, number, at, value)) return false;
            if (!std::isfinite(value)) return wrong(row, number, "a finite number", at);
            rows.add_real(value);
            break;
    }
    return true;
}

// Ends a query that computes without end.
int count_steps(void* calls) { return ++*static_cast<int*>(calls) > kMostCalls; }

// A file's name as SQLite's URI syntax has it.
std::string uri_of(const std::string& path) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string uri = path.starts_with('/') ? "file://" : "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            uri += {'%', digits[c / 16], digits[c % 16]};
        } else {
            uri += c;
        }
    }
    return uri;
}

/// A database with its bounds, and what the first look at it said.
Database open_uri(const std::string& uri, int& calls, int& status) {
    sqlite3* opened = nullptr;
    status = sqlite3_open_v2(uri.c_str(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    Database database(opened);
    if (status != SQLITE_OK) return database;
    sqlite3_progress_handler(opened, kStepsPerCall, count_steps, &calls);
    sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, kLongestValue);
    sqlite3_busy_timeout(opened, kLockWait);
    status = sqlite3_exec(opened, "SELECT 1 FROM sqlite_master LIMIT 1", nullptr, nullptr, nullptr);
    return database;
}

// Whether rows may wait in a log beside the file.
bool has_log(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path + "-wal", error);
    return !error && size > 0;
}

// A file in write-ahead mode wants files beside it even of its readers; where they cannot be made
// it can still be read as a file that nobody changes.
Database open_for_reading(const std::string& path, int& calls) {
    int status = SQLITE_OK;
    Database database = open_uri(uri_of(path), calls, status);
    const int kind = status & 0xff;
    if ((kind == SQLITE_CANTOPEN || kind == SQLITE_READONLY) && !has_log(path))
        return open_uri(uri_of(path) + "?immutable=1", calls, status);
    return database;
}

}  // namespace

Read read_sqlite(const std::string& path, std::string_view table, Tables& tables) {
    int calls = 0;
    const Database database = open_for_reading(path, calls);
    if (!database) return failed(path, nullptr, Read::absent);
    if (table == "site") {
        return read_rows(database.get(), path,
                         "SELECT sta, ondate, offdate, lat, lon, elev FROM site", tables.site);
    }
    return read_rows(database.get(), path, "SELECT net, sta FROM affiliation", tables.affiliation);
}

Read read_sqlite(const std::string& path, const Schema& schema, Rows& rows) {
    int calls = 0;
    const Database database = open_for_reading(path, calls);
    if (!database) return failed(path, nullptr, Read::absent);
    std::string query = "SELECT ";
    for (const Column& column : schema.columns)
        query += (query.ends_with(' ') ? "" : ",") + std::string(column.name);
    query += std::string(" FROM ") + schema.name;
    return answer(database.get(), path, query, [&](sqlite3_stmt* row, const RowPlace& at) {
        for (size_t i = 0; i < schema.columns.size(); ++i) {
            if (!add_cell(row, static_cast<int>(i), schema.columns[i], at, rows)) return false;
        }
        return true;
    });
}

}  // namespace velorix::db
