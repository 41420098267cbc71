// CSS3.0 fixed-width flat files. Columns: CSS Version 3.0 Database: Schema Reference Manual
// (Anderson et al., Center for Seismic Studies Technical Report C90-01, 1990); the wider dialect of
// `site`: D. Carr, SAND2002-3055 (2002).
#include <array>
#include <span>

#include "platform/db/internal.h"

namespace velorix::db {
namespace {

/// A field by its first and last column, counted from 1.
struct Field {
    const char* name;
    size_t first;
    size_t last;
};

using SiteLayout = std::array<Field, 6>;
constexpr SiteLayout kSite{{{"sta", 1, 6},
                            {"ondate", 8, 15},
                            {"offdate", 17, 24},
                            {"lat", 26, 34},
                            {"lon", 36, 44},
                            {"elev", 46, 54}}};
constexpr SiteLayout kWideSite{{{"sta", 1, 6},
                                {"ondate", 8, 15},
                                {"offdate", 17, 24},
                                {"lat", 26, 36},
                                {"lon", 38, 48},
                                {"elev", 50, 58}}};
constexpr size_t kSiteLength = 155;
constexpr size_t kWideSiteLength = 161;
constexpr std::array<Field, 2> kAffiliation{{{"net", 1, 8}, {"sta", 10, 15}}};

std::string_view field(std::string_view line, const Field& at) {
    if (line.size() < at.first) return {};
    return trimmed(line.substr(at.first - 1, at.last - at.first + 1));
}

// A line fits a layout when the column behind each field is blank and its numbers are numbers: a
// reader of one dialect would read nonsense from the other.
bool fits(std::string_view line, std::span<const Field> layout) {
    for (const Field& at : layout) {
        if (line.size() > at.last && line[at.last] != ' ') return false;
    }
    return line.size() >= layout.back().first;
}

const SiteLayout* layout_of(std::string_view line) {
    if (line.size() == kWideSiteLength && fits(line, kWideSite)) return &kWideSite;
    if (line.size() == kSiteLength && fits(line, kSite)) return &kSite;
    const auto numeric = [&](const SiteLayout& layout) {
        for (size_t i = 1; i < layout.size(); ++i) {
            if (!to_double(field(line, layout[i]))) return false;
        }
        return fits(line, layout);
    };
    if (numeric(kSite)) return &kSite;
    if (numeric(kWideSite)) return &kWideSite;
    return fits(line, kSite) ? &kSite : nullptr;
}

template <class T>
bool number(std::string_view line, const Field& at, std::optional<T> (*parse)(std::string_view),
            T& value, const RowPlace& place) {
    const std::string_view text = field(line, at);
    const auto parsed = parse(text);
    if (!parsed) {
        return malformed(place, std::string(at.name) + " '" + std::string(text) + "' in columns " +
                                    std::to_string(at.first) + " to " + std::to_string(at.last) +
                                    " is not a number");
    }
    value = *parsed;
    return true;
}

// A coordinate; the table has a null of its own.
bool coordinate(std::string_view line, const Field& at, double& value, const RowPlace& place) {
    constexpr double null = -999.0;
    if (!number(line, at, to_double, value, place)) return false;
    if (value == null) value = kNull;
    return true;
}

bool parse_site(std::string_view line, const RowPlace& place, Site& row) {
    const SiteLayout* layout = layout_of(line);
    if (!layout) {
        return malformed(place, "not a site row: its fields do not stand in the columns of CSS3.0");
    }
    row.sta = field(line, (*layout)[0]);
    return number(line, (*layout)[1], to_long, row.ondate, place) &&
           number(line, (*layout)[2], to_long, row.offdate, place) &&
           coordinate(line, (*layout)[3], row.lat, place) &&
           coordinate(line, (*layout)[4], row.lon, place) &&
           coordinate(line, (*layout)[5], row.elev, place);
}

bool parse_affiliation(std::string_view line, const RowPlace& place, Affiliation& row) {
    if (!fits(line, kAffiliation)) {
        return malformed(place,
                         "not an affiliation row: its fields do not stand in the columns of "
                         "CSS3.0");
    }
    row.net = field(line, kAffiliation[0]);
    row.sta = field(line, kAffiliation[1]);
    return true;
}

/// Hands every line that is text to `use` until that returns false.
template <class Use>
Read read_lines(const std::string& path, Use use) {
    const auto text = read_text(path);
    if (!text) return Read::absent;
    std::string_view line;
    for (Lines lines(*text); lines.next(line);) {
        const RowPlace place{path, lines.number()};
        if (!is_text(line, place) || !use(line, place)) return Read::malformed;
    }
    return Read::good;
}

template <class Row>
Read read_rows(const std::string& path, bool (*parse)(std::string_view, const RowPlace&, Row&),
               Tables& tables) {
    return read_lines(path, [&](std::string_view line, const RowPlace& place) {
        Row row;
        return parse(line, place, row) && add(tables, std::move(row), place);
    });
}

bool add_field(std::string_view line, const Field& at, Kind kind, const RowPlace& place,
               Rows& rows) {
    long integer = 0;
    double real = 0.0;
    switch (kind) {
        case Kind::text:
            rows.add_text(field(line, at));
            break;
        case Kind::integer:
            if (!number(line, at, to_long, integer, place)) return false;
            rows.add_integer(integer);
            break;
        case Kind::real:
            if (!number(line, at, to_double, real, place)) return false;
            rows.add_real(real);
            break;
    }
    return true;
}

size_t width_of(const Schema& schema) {
    size_t width = schema.columns.size() - 1;
    for (const Column& column : schema.columns) width += column.width;
    return width;
}

// A column between fields that is not blank, or text behind the last field: the row was written by
// another layout.
bool add_row(std::string_view line, const Schema& schema, const RowPlace& place, Rows& rows) {
    const size_t width = width_of(schema);
    if (line.size() > width && !trimmed(line.substr(width)).empty()) {
        return malformed(place, "longer than " + std::to_string(width) + " columns: not " +
                                    schema.name + " of CSS3.0");
    }
    size_t first = 1;
    for (const Column& column : schema.columns) {
        const Field at{column.name, first, first + column.width - 1};
        first = at.last + 2;
        if (line.size() > at.last && line[at.last] != ' ') {
            return malformed(place, "column " + std::to_string(at.last + 1) +
                                        " is not blank: not " + schema.name + " of CSS3.0");
        }
        if (!add_field(line, at, column.kind, place, rows)) return false;
    }
    return true;
}

}  // namespace

Read read_css(const std::string& prefix, std::string_view table, Tables& tables) {
    const std::string path = prefix + "." + std::string(table);
    if (table == "site") return read_rows(path, parse_site, tables);
    return read_rows(path, parse_affiliation, tables);
}

Read read_css(const std::string& prefix, const Schema& schema, Rows& rows) {
    return read_lines(prefix + "." + schema.name,
                      [&](std::string_view line, const RowPlace& place) {
                          return add_row(line, schema, place, rows);
                      });
}

}  // namespace velorix::db
