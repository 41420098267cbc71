// The calls of the interface, over tables in memory.
#include <cstdarg>
#include <cstring>
#include <new>

#include "platform/db/db.h"
#include "platform/db/fdsn_epochs.h"
#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace {

using namespace velorix::db;

// Tables by number: these two, then those of a catalogue.
enum Table { kSite = 0, kAffiliation = 1, kFirstOfCatalogue = 2, kTables = 7 };
constexpr const char* kStationTables[] = {"site", "affiliation"};

struct Database {
    Place place;
    Tables tables;
    Rows catalogue[kTables];
    std::optional<Read> state[kTables];  // nothing until the table is looked up
};

const Schema& schema_of(int table) {
    return catalogue_schemas()[static_cast<size_t>(table - kFirstOfCatalogue)];
}

const char* name_of(int table) {
    return table < kFirstOfCatalogue ? kStationTables[table] : schema_of(table).name;
}

// Open databases by handle; a closed one leaves an empty place.
std::vector<std::unique_ptr<Database>>& databases() {
    static std::vector<std::unique_ptr<Database>> list;
    return list;
}

Database* find(const Dbptr& db) {
    auto& list = databases();
    if (db.database < 0 || static_cast<size_t>(db.database) >= list.size()) return nullptr;
    return list[static_cast<size_t>(db.database)].get();
}

int insert(std::unique_ptr<Database> database) {
    auto& list = databases();
    for (size_t i = 0; i < list.size(); ++i) {
        if (list[i]) continue;
        list[i] = std::move(database);
        return static_cast<int>(i);
    }
    list.push_back(std::move(database));
    return static_cast<int>(list.size() - 1);
}

int table_number(const char* name) {
    for (int i = 0; i < kTables; ++i) {
        if (std::strcmp(name, name_of(i)) == 0) return i;
    }
    return -1;
}

Read read_catalogue(const Place& place, const Schema& schema, Rows& rows) {
    switch (place.format) {
        case Format::css:
            return read_css(place.path, schema, rows);
        case Format::sqlite:
            return read_sqlite(place.path, schema, rows);
        default:
            break;
    }
    elog_log(0, "dblookup: %s: a station text has no table %s\n", place.path.c_str(), schema.name);
    return Read::absent;
}

void load_catalogue(Database& database, int table) {
    Rows fresh;
    const Read read = read_catalogue(database.place, schema_of(table), fresh);
    database.catalogue[table] = std::move(fresh);
    database.state[table] = read;
}

Read read_epochs(const Place& place, const char* table, Tables& tables) {
    using Reader = Read (*)(const std::string&, std::vector<Site>&);
    const Reader reader = place.format == Format::xml      ? read_station_xml
                          : place.format == Format::csv    ? read_station_csv
                          : place.format == Format::json   ? read_station_json
                          : place.format == Format::gtsrce ? read_gtsrce
                                                           : read_fdsn;
    std::vector<Site> epochs;
    const Read read = reader(place.path, epochs);
    if (read != Read::good) return read;
    return make_table(std::move(epochs), place.path, table, tables) ? read : Read::malformed;
}

void load_stations(Database& database, int table) {
    Tables fresh;
    Read read = Read::absent;
    const std::string& path = database.place.path;
    const char* name = name_of(table);
    switch (database.place.format) {
        case Format::css:
            read = read_css(path, name, fresh);
            break;
        case Format::sqlite:
            read = read_sqlite(path, name, fresh);
            break;
        default:
            read = read_epochs(database.place, name, fresh);
            break;
    }
    if (table == kSite) {
        complain_of_days(fresh);
        database.tables.site_file = std::move(fresh.site_file);
        database.tables.site = std::move(fresh.site);
    }
    if (table == kAffiliation) database.tables.affiliation = std::move(fresh.affiliation);
    database.state[table] = read;
}

// Reads a table once; its state says what came of it.
void load(Database& database, int table) {
    if (database.state[table]) return;
    if (table < kFirstOfCatalogue) return load_stations(database, table);
    load_catalogue(database, table);
}

size_t rows_read(const Database& database, int table) {
    if (table == kSite) return database.tables.site.size();
    if (table == kAffiliation) return database.tables.affiliation.size();
    return database.catalogue[table].cells() / schema_of(table).columns.size();
}

// The row that could not be read counts too: reading it is what fails.
size_t count(const Database& database, int table) {
    return rows_read(database, table) + (database.state[table] == Read::malformed ? 1 : 0);
}

bool put(const std::string& text, void* out) {
    std::memcpy(out, text.c_str(), text.size() + 1);
    return true;
}

// A position is handed out of a row that can be a station; false after a logged line.
bool get_position(const Tables& tables, const Site& row, double value, void* out) {
    const std::string fault = fault_of(row);
    if (!fault.empty()) {
        elog_log(0, "dbgetv: %s:%zu: %s\n", tables.site_file.c_str(), row.line, fault.c_str());
        return false;
    }
    *static_cast<double*>(out) = value;
    return true;
}

bool get(const Tables& tables, const Site& row, const char* field, void* out) {
    if (std::strcmp(field, "sta") == 0) return put(row.sta, out);
    if (std::strcmp(field, "ondate") == 0) return *static_cast<long*>(out) = row.ondate, true;
    if (std::strcmp(field, "offdate") == 0) return *static_cast<long*>(out) = row.offdate, true;
    if (std::strcmp(field, "lat") == 0) return get_position(tables, row, row.lat, out);
    if (std::strcmp(field, "lon") == 0) return get_position(tables, row, row.lon, out);
    if (std::strcmp(field, "elev") == 0) return get_position(tables, row, row.elev, out);
    if (row.net.empty()) return false;
    if (std::strcmp(field, "net") == 0) return put(row.net, out);
    if (std::strcmp(field, "code") == 0) return put(row.code, out);
    return false;
}

bool get(const Affiliation& row, const char* field, void* out) {
    if (std::strcmp(field, "net") == 0) return put(row.net, out);
    if (std::strcmp(field, "sta") == 0) return put(row.sta, out);
    return false;
}

bool get_of_catalogue(const Database& database, int table, size_t row, const char* field,
                      void* out) {
    const auto columns = schema_of(table).columns;
    for (size_t i = 0; i < columns.size(); ++i) {
        if (std::strcmp(columns[i].name, field) != 0) continue;
        database.catalogue[table].get(row * columns.size() + i, columns[i].kind, out);
        return true;
    }
    return false;
}

bool get(const Database& database, int table, size_t row, const char* field, void* out) {
    if (table == kSite) return get(database.tables, database.tables.site[row], field, out);
    if (table == kAffiliation) return get(database.tables.affiliation[row], field, out);
    return get_of_catalogue(database, table, row, field, out);
}

// The table pointed at, or null when the pointer leads nowhere.
Database* table_of(const Dbptr& db) {
    Database* database = find(db);
    const bool known = db.table >= 0 && db.table < kTables;
    const bool there = database && known && database->state[db.table] &&
                       *database->state[db.table] != Read::absent;
    return there ? database : nullptr;
}

}  // namespace

extern "C" int dbopen(const char* name, const char* mode, Dbptr* db) {
    if (!name || !mode || !db) return dbINVALID;
    *db = Dbptr{dbINVALID, dbINVALID, 0, 0};
    if (std::strcmp(mode, "r") != 0) {
        elog_log(0, "dbopen: mode '%s' is not supported, databases are only read\n", mode);
        return dbINVALID;
    }
    try {
        const auto place = recognise(name);
        if (!place) return dbINVALID;
        auto database = std::make_unique<Database>();
        database->place = *place;
        db->database = insert(std::move(database));
        return 0;
    } catch (const std::exception& error) {
        elog_log(0, "dbopen: %s: %s\n", name, error.what());
        return dbINVALID;
    }
}

extern "C" Dbptr dblookup(Dbptr db, const char*, const char* table, const char*, const char*) {
    db.table = dbINVALID;
    db.record = 0;
    Database* database = find(db);
    if (!database || !table) return db;
    try {
        const int number = table_number(table);
        if (number < 0) {
            elog_log(0, "dblookup: %s: table %s is not known\n", database->place.path.c_str(),
                     table);
            return db;
        }
        load(*database, number);
        if (*database->state[number] != Read::absent) db.table = number;
    } catch (const std::exception& error) {
        elog_log(0, "dblookup: %s: %s\n", table, error.what());
    }
    return db;
}

extern "C" int dbquery(Dbptr db, int code, void* out) {
    const Database* database = table_of(db);
    if (!database || code != dbRECORD_COUNT || !out) return dbINVALID;
    *static_cast<long*>(out) = static_cast<long>(count(*database, db.table));
    return 0;
}

extern "C" int dbgetv(Dbptr db, const char* table, ...) {
    const Database* database = table_of(db);
    if (!database || db.record < 0) return dbINVALID;
    const auto row = static_cast<size_t>(db.record);
    if (row >= rows_read(*database, db.table)) return dbINVALID;
    va_list arguments;
    va_start(arguments, table);
    bool ok = true;
    while (const char* field = va_arg(arguments, const char*)) {
        void* out = va_arg(arguments, void*);
        ok = out && get(*database, db.table, row, field, out);
        if (!ok) break;
    }
    va_end(arguments);
    return ok ? 0 : dbINVALID;
}

extern "C" void dbclose(Dbptr* db) {
    if (!db || !find(*db)) return;
    databases()[static_cast<size_t>(db->database)].reset();
    *db = Dbptr{dbINVALID, dbINVALID, 0, 0};
}
