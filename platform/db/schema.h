#ifndef VELORIX_PLATFORM_DB_SCHEMA_H
#define VELORIX_PLATFORM_DB_SCHEMA_H
// The tables of a catalogue by their columns, and rows of any of them.
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velorix::db {

enum class Kind { text, integer, real };

struct Column {
    const char* name;
    size_t width;  // characters in a flat file; one blank stands between columns
    Kind kind;
};

struct Schema {
    const char* name;
    std::span<const Column> columns;
};

/// event, origin, origerr, assoc, arrival.
std::span<const Schema> catalogue_schemas();

/// The values of a table row by row, texts beside them.
class Rows {
  public:
    void add_text(std::string_view text);
    void add_integer(long value) { cells_.push_back({.integer = value}); }
    void add_real(double value) { cells_.push_back({.real = value}); }

    size_t cells() const { return cells_.size(); }
    /// Writes a cell as dbgetv hands it out: text with a terminator, long or double.
    void get(size_t cell, Kind kind, void* out) const;

  private:
    union Cell {
        long integer;
        double real;
        size_t text;  // place in texts_
    };
    std::vector<Cell> cells_;
    std::string texts_;
};

}  // namespace velorix::db

#endif
