#include "platform/db/sqlite_open.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

constexpr int kLongestValue = 1 << 20;  // bytes
// A view may compute without end; the million rows that a table may have take a tenth of it.
constexpr int kStepsPerCall = 1'000'000;
constexpr int kMostCalls = 50;
constexpr int kLockWait = 2000;  // ms, while another program writes

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

bool holds_bytes(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return !error && size > 0;
}

// SQLite looks for its logs beside the file that a link leads to.
std::string real_path(const std::string& path) {
    std::error_code error;
    const auto real = std::filesystem::canonical(path, error);
    return error ? path : real.string();
}

Statement prepared(sqlite3* database, const std::string& query) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database, query.c_str(), -1, &statement, nullptr);
    return Statement(statement);
}

std::string text(sqlite3_stmt* row, int column) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return bytes ? bytes : "";
}

std::string quoted(const std::string& name) {
    std::string out = "\"";
    for (const char c : name) out += c == '"' ? "\"\"" : std::string(1, c);
    return out + '"';
}

bool is_table(sqlite3* database, const std::string& name) {
    const Statement row = prepared(
        database, "SELECT type FROM main.sqlite_master WHERE lower(name) = '" + name + "'");
    return row && sqlite3_step(row.get()) == SQLITE_ROW && text(row.get(), 0) == "table";
}

/// Columns of a table, and those of its primary key by their place in the key.
struct Columns {
    std::vector<std::string> names;
    std::vector<std::pair<int, std::string>> key;
};

Columns columns_of(sqlite3* database, const std::string& table) {
    Columns columns;
    const Statement row = prepared(database, "PRAGMA main.table_info(" + table + ")");
    while (row && sqlite3_step(row.get()) == SQLITE_ROW) {
        columns.names.push_back(text(row.get(), 1));
        const int place = sqlite3_column_int(row.get(), 5);
        if (place > 0) columns.key.emplace_back(place, columns.names.back());
    }
    std::sort(columns.key.begin(), columns.key.end());
    return columns;
}

}  // namespace

HeapLimit::HeapLimit(int64_t bytes)
    : hard_before_(sqlite3_hard_heap_limit64(-1)), soft_before_(sqlite3_soft_heap_limit64(-1)) {
    const int64_t limit = sqlite3_memory_used() + bytes;
    if (hard_before_ == 0 || hard_before_ > limit) sqlite3_hard_heap_limit64(limit);
}

HeapLimit::~HeapLimit() {
    sqlite3_hard_heap_limit64(hard_before_);
    sqlite3_soft_heap_limit64(soft_before_);
}

void SqliteFile::close() {
    sqlite3_close(database_);
    database_ = nullptr;
}

// Views are other people's programs: they may read tables and compute, nothing else, and keep what
// they sort in memory, which has a limit.
int SqliteFile::bound() {
    sqlite3_progress_handler(database_, kStepsPerCall, count_steps, &calls_);
    sqlite3_busy_timeout(database_, kLockWait);
    sqlite3_limit(database_, SQLITE_LIMIT_LENGTH, kLongestValue);
    sqlite3_limit(database_, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_limit(database_, SQLITE_LIMIT_WORKER_THREADS, 0);
    for (const auto& [setting, value] :
         {std::pair(SQLITE_DBCONFIG_DEFENSIVE, 1), std::pair(SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0),
          std::pair(SQLITE_DBCONFIG_ENABLE_TRIGGER, 0)}) {
        sqlite3_db_config(database_, setting, value, nullptr);
    }
    return sqlite3_exec(database_,
                        "PRAGMA temp_store = MEMORY; PRAGMA mmap_size = 0; "
                        "PRAGMA cell_size_check = ON; SELECT 1 FROM sqlite_master LIMIT 1",
                        nullptr, nullptr, nullptr);
}

int SqliteFile::open_uri(const std::string& uri) {
    close();
    const int status =
        sqlite3_open_v2(uri.c_str(), &database_, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    return status == SQLITE_OK ? bound() : status;
}

// Rows that a log holds alone must not be left out, nor rows be taken that a journal takes back.
bool SqliteFile::refuse_unfinished() const {
    const std::string real = real_path(path_);
    if (holds_bytes(real + "-journal")) {
        elog_log(0,
                 "dblookup: %s: a program ended while it wrote this file; %s-journal holds what it "
                 "has to take back. Repair it with a program that may write it: sqlite3 %s 'PRAGMA "
                 "integrity_check'\n",
                 path_.c_str(), real.c_str(), real.c_str());
        return true;
    }
    if (!holds_bytes(real + "-wal")) return false;
    elog_log(0,
             "dblookup: %s: rows wait in %s-wal, which can only be read in a folder that may be "
             "written. Bring them in with a program that may write both: sqlite3 %s 'PRAGMA "
             "wal_checkpoint'\n",
             path_.c_str(), real.c_str(), real.c_str());
    return true;
}

bool SqliteFile::open(const std::string& path) {
    path_ = path;
    int status = open_uri(uri_of(path));
    const int kind = status & 0xff;
    if (kind == SQLITE_CANTOPEN || kind == SQLITE_READONLY) {
        if (refuse_unfinished()) return false;
        // A file in write-ahead mode wants files beside it even of its readers; where they cannot
        // be made it can still be read as a file that nobody changes.
        status = open_uri(uri_of(path) + "?immutable=1");
    }
    if (status != SQLITE_OK) complain(status);
    return status == SQLITE_OK;
}

void SqliteFile::complain(int status) const {
    const int kind = status & 0xff;
    const char* why = kind == SQLITE_NOMEM ? "not enough memory, or more than a table may take"
                      : kind == SQLITE_INTERRUPT ? "it computes longer than a table may"
                      : database_                ? sqlite3_errmsg(database_)
                                                 : sqlite3_errstr(status);
    elog_log(0, "dblookup: %s: %s\n", path_.c_str(), why);
}

std::string table_order(sqlite3* database, const std::string& table) {
    if (!is_table(database, table)) return {};
    const Columns columns = columns_of(database, table);
    const auto is_column = [&](const char* name) {
        return std::any_of(columns.names.begin(), columns.names.end(), [&](const std::string& c) {
            return sqlite3_stricmp(c.c_str(), name) == 0;
        });
    };
    for (const char* rowid : {"rowid", "_rowid_", "oid"}) {
        if (is_column(rowid)) continue;
        std::string order = std::string(" ORDER BY ") + rowid;
        if (prepared(database, "SELECT 1 FROM " + table + order)) return order;
    }
    std::string order;
    for (const auto& [place, name] : columns.key)
        order += (order.empty() ? "" : ", ") + quoted(name);
    return order.empty() ? order : " ORDER BY " + order;
}

}  // namespace velorix::db
