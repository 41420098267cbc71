#ifndef VELORIX_PLATFORM_DB_SQLITE_OPEN_H
#define VELORIX_PLATFORM_DB_SQLITE_OPEN_H
// A SQLite 3 file opened for reading, whoever wrote it: what its views may cost is bounded, and one
// that was left in the middle of a write is refused.
#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>

#include "platform/containers/owners.h"

namespace velorix::db {

using Statement = Owned<sqlite3_stmt, sqlite3_finalize>;

/// While it lives, SQLite takes no more than so many bytes beyond what it holds already; a lower
/// limit of the program stays. The limit is the process's: tables are read by one thread at a time.
class HeapLimit {
  public:
    explicit HeapLimit(int64_t bytes);
    ~HeapLimit();
    HeapLimit(const HeapLimit&) = delete;
    HeapLimit& operator=(const HeapLimit&) = delete;

  private:
    int64_t hard_before_;
    int64_t soft_before_;
};

class SqliteFile {
  public:
    SqliteFile() = default;
    ~SqliteFile() { close(); }
    SqliteFile(const SqliteFile&) = delete;
    SqliteFile& operator=(const SqliteFile&) = delete;

    /// False after a logged line.
    bool open(const std::string& path);
    sqlite3* get() const { return database_; }
    /// Logs why the last call failed, in words of this system where SQLite's would not tell.
    void complain(int status) const;

  private:
    int open_uri(const std::string& uri);
    int bound();
    void close();
    bool refuse_unfinished() const;

    HeapLimit limit_{kMostMemory};
    std::string path_;
    sqlite3* database_ = nullptr;
    int calls_ = 0;  // of the progress handler

    // The table of a world of stations sorts in a tenth of it.
    static constexpr int64_t kMostMemory = int64_t{128} << 20;
};

/// " ORDER BY ..." that gives the rows of a table as they stand in it, whatever index would serve
/// its columns; nothing for a view, whose own statement says what its order is.
std::string table_order(sqlite3* database, const std::string& table);

}  // namespace velorix::db

#endif
