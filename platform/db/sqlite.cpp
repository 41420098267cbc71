// SQLite 3 files with tables named and laid out as the CSS3.0 schema has them.
#include <cmath>

#include "platform/db/internal.h"
#include "platform/db/sqlite_open.h"

namespace velorix::db {
namespace {

constexpr size_t kMostRows = 1'000'000;

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
    if (type == SQLITE_NULL) {
        value = kNull;
        return true;
    }
    if (type != SQLITE_FLOAT && type != SQLITE_INTEGER) return wrong(row, column, "a number", at);
    value = sqlite3_column_double(row, column);
    return true;
}

bool parse(sqlite3_stmt* row, const RowPlace& at, Site& site) {
    site.sta = text(row, 0);
    return whole(row, 1, at, site.ondate) && whole(row, 2, at, site.offdate) &&
           real(row, 3, at, site.lat) && real(row, 4, at, site.lon) && real(row, 5, at, site.elev);
}

/// Hands every row of a query's answer to `use` until that returns false.
template <class Use>
Read answer(const std::string& path, const std::string& columns, const std::string& table,
            Use use) {
    SqliteFile file;
    if (!file.open(path)) return Read::absent;
    const std::string query =
        "SELECT " + columns + " FROM " + table + table_order(file.get(), table);
    sqlite3_stmt* prepared = nullptr;
    const int status = sqlite3_prepare_v2(file.get(), query.c_str(), -1, &prepared, nullptr);
    const Statement statement(prepared);
    if (status != SQLITE_OK) return file.complain(status), Read::absent;
    for (size_t number = 1;; ++number) {
        const int step = sqlite3_step(prepared);
        if (step == SQLITE_DONE) return Read::good;
        if (step != SQLITE_ROW) return file.complain(step), Read::malformed;
        const RowPlace at{path, number};
        if (number > kMostRows) {
            malformed(at, "more rows than a table may have");
            return Read::malformed;
        }
        if (!use(prepared, at)) return Read::malformed;
    }
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

}  // namespace

Read read_sqlite(const std::string& path, std::string_view table, Tables& tables) {
    if (table == "site") {
        return answer(path, "sta, ondate, offdate, lat, lon, elev", "site",
                      [&](sqlite3_stmt* row, const RowPlace& at) {
                          Site site;
                          return parse(row, at, site) && add(tables, std::move(site), at);
                      });
    }
    return answer(path, "net, sta", "affiliation", [&](sqlite3_stmt* row, const RowPlace& at) {
        return add(tables, Affiliation{text(row, 0), text(row, 1)}, at);
    });
}

Read read_sqlite(const std::string& path, const Schema& schema, Rows& rows) {
    std::string columns;
    for (const Column& column : schema.columns)
        columns += (columns.empty() ? "" : ",") + std::string(column.name);
    return answer(path, columns, schema.name, [&](sqlite3_stmt* row, const RowPlace& at) {
        for (size_t i = 0; i < schema.columns.size(); ++i) {
            if (!add_cell(row, static_cast<int>(i), schema.columns[i], at, rows)) return false;
        }
        return true;
    });
}

}  // namespace velorix::db
