// Station databases. Built once per kind: VELORIX_FUZZ_KIND is 'c' (CSS3.0 flat files), 'f' (FDSN
// text), 's' (SQLite) or 'o' (files of other programs, told apart by content). Every table of the
// schema is looked up and read, and the stations chosen.
#include <cstring>
#include <string>

#include "fuzz.h"
#include "platform/db/db.h"
#include "velorix.h"

namespace {

using velorix_fuzz::require;

constexpr const char* kTables[] = {"site",    "affiliation", "event",  "origin",
                                   "origerr", "assoc",       "arrival"};

// A field of each kind that the tables have; a table without it refuses.
void read_rows(Dbptr table) {
    long count = -1;
    require(dbquery(table, dbRECORD_COUNT, &count) == 0 && count >= 0);
    for (table.record = 0; table.record < count; ++table.record) {
        char text[32];
        long integer = 0;
        double real = 0.0;
        std::memset(text, 'x', sizeof text);
        if (dbgetv(table, nullptr, "sta", text, static_cast<char*>(nullptr)) == 0)
            require(std::memchr(text, '\0', sizeof text) != nullptr);
        dbgetv(table, nullptr, "ondate", &integer, static_cast<char*>(nullptr));
        dbgetv(table, nullptr, "orid", &integer, static_cast<char*>(nullptr));
        dbgetv(table, nullptr, "lat", &real, static_cast<char*>(nullptr));
        dbgetv(table, nullptr, "time", &real, static_cast<char*>(nullptr));
    }
}

void choose(const std::string& name, const char* parameters) {
    const velorix_fuzz::Lines lines;
    Pf* pf = nullptr;
    require(pfparse(parameters, "input", &pf) == 0);
    Velorix* grid = velorix_new();
    const int result = velorix_setup_stations(grid, name.c_str(), pf);
    require(result == 0 ? grid->ns > 0 : lines.number() > 0);
    for (int i = 0; i < grid->ns; ++i) require(std::memchr(grid->stations[i].sta, 0, 16));
    velorix_free(grid);
    pffree(pf);
}

// The file of a name; a CSS3.0 input says in its first byte which table it is.
std::string write_database(std::string_view text) {
    if (VELORIX_FUZZ_KIND != 'c') return velorix_fuzz::write_file("net", text);
    const size_t which =
        text.empty() ? 0 : static_cast<unsigned char>(text[0]) % std::size(kTables);
    if (!text.empty()) text.remove_prefix(1);
    velorix_fuzz::write_file("net.site", "");
    velorix_fuzz::write_file(std::string("net.") + kTables[which], text);
    return velorix_fuzz::folder() + "/net";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string name = write_database(velorix_fuzz::text_of(data, size));
    {
        const velorix_fuzz::Lines lines;
        Dbptr db{};
        if (dbopen(name.c_str(), "r", &db) == dbINVALID) {
            require(lines.number() > 0);
            return 0;
        }
        for (const char* table : kTables) {
            const Dbptr at = dblookup(db, nullptr, table, nullptr, nullptr);
            if (at.table != dbINVALID) read_rows(at);
        }
        dbclose(&db);
    }
    choose(name, "time = 'all'");
    choose(name, "time = '2010-01-01'\nstations = ['AAA', 'ANMO']");
    return 0;
}
