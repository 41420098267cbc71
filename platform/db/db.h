#ifndef VELORIX_PLATFORM_DB_H
#define VELORIX_PLATFORM_DB_H
/** @file
 * Table database: read-only tables of the CSS3.0 schema from three kinds of file, told apart by
 * looking at them: CSS3.0 fixed-width flat files (NAME.table beside each other, or a folder holding
 * one *.site), a SQLite 3 file with tables of those names, or an FDSN station text file
 * (columns Network, Station and so on between bars), whose rows appear as `site`. A table is read
 * and checked in one pass when it is first looked up; every later read comes from memory. A
 * malformed row is a logged error naming file and line, never a silent zero.
 *
 * Tables: `site` (sta, ondate, offdate, lat, lon, elev; of an FDSN text also net and code) and
 * `affiliation` (net, sta), whose rows are checked for what they mean; and those of a catalogue
 * with all their columns, `event`, `origin`, `origerr`, `assoc` and `arrival`, handed out as they
 * stand, null values included.
 */
#ifdef __cplusplus
extern "C" {
#endif

/** The result of every call that fails. */
enum { dbINVALID = -102 };
/** What dbquery may be asked for: the number of records. */
enum { dbRECORD_COUNT = 301 };

/** A place in a database: an open database, one of its tables, one record of it. */
typedef struct Dbptr {
    int database;  ///< handle number, or dbINVALID
    int table;     ///< table number, or dbINVALID
    long record;   ///< record number from 0; set it to select a row
    int field;     ///< unused, 0
} Dbptr;

/**
 * Opens a database for reading.
 * @param[in]  name a CSS3.0 database name (NAME where NAME.site or a table of a catalogue exists),
 *                  a folder, or a file
 * @param[in]  mode "r"
 * @param[out] db   a pointer to the database as a whole
 * @return 0, or dbINVALID after a logged line that says what is wrong
 */
int dbopen(const char* name, const char* mode, Dbptr* db);

/**
 * Points at a table by name; the other arguments exist for symmetry and must be 0.
 * The table is read here. A row that cannot be read is logged with file and line, ends the reading
 * and counts as the last record: dbgetv on it fails.
 * @return a pointer to record 0 of the table; its `table` is dbINVALID when the table is absent
 *         (after a logged line)
 */
Dbptr dblookup(Dbptr db, const char* database, const char* table, const char* field,
               const char* record);

/** Queries the table pointed at: dbRECORD_COUNT stores the number of records in a long. 0 or
 * dbINVALID. */
int dbquery(Dbptr db, int code, void* out);

/**
 * Reads fields of the selected record: pairs of field name and address, ended by a null name.
 * Text fields are written NUL-terminated and never exceed 31 characters (an over-long text
 * makes its table malformed); integer fields (day numbers, identifiers) are written as long; reals
 * as double. `table` must be 0.
 *
 *     dbgetv(db, 0, "sta", buffer, "lat", &lat, (char*)0);
 *
 * A row of `site` with a null or a value out of its range hands out its code and days, but no
 * position: that it is there harms nobody who does not choose it.
 *
 * @return 0, or dbINVALID (no such record or field; after a logged line with file and line: no
 *         position)
 */
int dbgetv(Dbptr db, const char* table, ...);

/** Closes a database and releases its tables; pointers to it become invalid. */
void dbclose(Dbptr* db);

#ifdef __cplusplus
}
#endif
#endif
