#ifndef VELORIX_SETUPGRID_STATION_CHOICE_H
#define VELORIX_SETUPGRID_STATION_CHOICE_H
// Which rows of a site table are chosen for a grid, by a list or by the table, for a day or for
// all.
#include <cstddef>
#include <new>
#include <vector>

#include "platform/containers/containers.h"
#include "platform/db/db.h"

namespace velorix {

inline constexpr long kEveryDay = -1;

/// What the choice looks at in a row.
struct SiteRow {
    char sta[32];
    long ondate;
    long offdate;

    bool valid_on(long day) const { return ondate <= day && (offdate == -1 || offdate >= day); }
};

/// One choice of stations: the table, the day, and what has been accepted so far.
struct Choice {
    const char* dbname = nullptr;
    Dbptr table{};
    bool today = false;  // for want of a `time`
    long day = kEveryDay;
    std::vector<SiteRow> rows;
    Arr* map = nullptr;          // code to place in `accepted` + 1
    std::vector<long> accepted;  // row numbers
    size_t closed = 0;           // stations whose rows are not valid on the day

    bool has(const char* code) const { return getarr(map, code) != nullptr; }
    void accept(const char* code, long row) {
        accepted.push_back(row);
        if (setarr(map, code, reinterpret_cast<void*>(accepted.size())) < 0) throw std::bad_alloc();
    }
};

/**
 * Fills `accepted` and `map` from the first `count` rows of the table: the listed stations in the
 * order of the list; without a list the rows valid on the day in table order, or for every day each
 * station once, in the order of its first row, with its last row. False after a logged line; throws
 * std::bad_alloc.
 */
bool choose_stations(Choice& choice, long count, const Tbl* list);

}  // namespace velorix

#endif
