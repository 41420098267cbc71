#include "setupgrid/station_choice.h"

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "platform/elog/elog.h"

namespace velorix {
namespace {

bool read_row(Choice& choice, long number) {
    SiteRow row{};
    choice.table.record = number;
    if (dbgetv(choice.table, nullptr, "sta", row.sta, "ondate", &row.ondate, "offdate",
               &row.offdate, static_cast<char*>(nullptr)) == dbINVALID) {
        elog_log(0, "velorix_setup_stations: dbgetv(%s.site) error.\n", choice.dbname);
        return false;
    }
    choice.rows.push_back(row);
    return true;
}

// The row of one listed station among its rows in table order; -1 when none is suitable.
long row_of_listed(const Choice& choice, const std::vector<long>& candidates) {
    long best = -1;
    long newest = -999999999;
    for (const long number : candidates) {
        const SiteRow& row = choice.rows[static_cast<size_t>(number)];
        if (choice.day != kEveryDay) {
            if (row.valid_on(choice.day)) return number;
        } else if (row.ondate > newest) {
            newest = row.ondate;
            best = number;
        }
    }
    return best;
}

// The names of the stations whose code alone is `name`, in a table that knows codes alone.
std::string stations_of_code(Dbptr table, const std::vector<SiteRow>& rows, const char* name) {
    std::set<std::string> names;
    for (size_t i = 0; i < rows.size(); ++i) {
        char code[32];
        table.record = static_cast<long>(i);
        if (dbgetv(table, nullptr, "code", code, static_cast<char*>(nullptr)) == dbINVALID) break;
        if (std::strcmp(code, name) == 0) names.insert(rows[i].sta);
    }
    std::string text;
    for (const std::string& each : names) text += (text.empty() ? "" : ", ") + each;
    return text;
}

// A listed name that no row bears: left out, but refused when it could be any of several stations.
bool pass_over(const Choice& choice, const char* name) {
    const std::string choices = stations_of_code(choice.table, choice.rows, name);
    if (!choices.empty()) {
        elog_log(0,
                 "velorix_setup_stations: Station %s stands for several in %s, list one of: %s.\n",
                 name, choice.dbname, choices.c_str());
        return false;
    }
    elog_complain(0, "velorix_setup_stations: Cannot find site row for station %s.\n", name);
    if (const char* dot = std::strchr(name, '.')) {
        elog_complain(
            0,
            "velorix_setup_stations: Codes stand without network in %s: list %s, or %.*s_%s "
            "where networks share it.\n",
            choice.dbname, dot + 1, static_cast<int>(dot - name), name, dot + 1);
    }
    return true;
}

bool read_rows(Choice& choice, long count) {
    choice.rows.reserve(static_cast<size_t>(count));
    for (long i = 0; i < count; ++i) {
        if (!read_row(choice, i)) return false;
    }
    return true;
}

bool choose_listed(Choice& choice, const Tbl* list) {
    std::unordered_map<std::string, std::vector<long>> rows_of;
    for (size_t i = 0; i < choice.rows.size(); ++i) {
        rows_of[choice.rows[i].sta].push_back(static_cast<long>(i));
    }
    for (int i = 0; i < maxtbl(list); ++i) {
        const char* name = static_cast<const char*>(gettbl(list, i));
        const auto found = rows_of.find(name);
        if (found == rows_of.end()) {
            if (!pass_over(choice, name)) return false;
            continue;
        }
        const long row = row_of_listed(choice, found->second);
        if (row < 0) {
            ++choice.closed;
            elog_complain(0, "velorix_setup_stations: Cannot find site row for station %s.\n",
                          name);
            continue;
        }
        if (choice.has(name)) {
            elog_log(0,
                     "velorix_setup_stations: Station %s appears twice in the stations list (or "
                     "db).\n",
                     name);
            return false;
        }
        choice.accept(name, row);
    }
    return true;
}

// Every station once, in the order of its first row, with its last row.
bool choose_every_day(Choice& choice) {
    for (size_t i = 0; i < choice.rows.size(); ++i) {
        const char* code = choice.rows[i].sta;
        const auto place = reinterpret_cast<uintptr_t>(getarr(choice.map, code));
        if (place == 0) {
            choice.accept(code, static_cast<long>(i));
        } else {
            choice.accepted[place - 1] = static_cast<long>(i);
        }
    }
    return true;
}

bool choose_day(Choice& choice) {
    std::unordered_set<std::string_view> codes;
    for (size_t i = 0; i < choice.rows.size(); ++i) {
        const SiteRow& row = choice.rows[i];
        codes.insert(row.sta);
        if (!row.valid_on(choice.day)) continue;
        if (choice.has(row.sta)) {
            elog_log(0, "velorix_setup_stations: Station %s appears twice in the db.\n", row.sta);
            return false;
        }
        choice.accept(row.sta, static_cast<long>(i));
    }
    choice.closed = codes.size() - choice.accepted.size();
    return true;
}

// Old picks want the stations of their day, which a grid of today may lack.
void complain_of_closed(const Choice& choice) {
    if (!choice.today || choice.closed == 0) return;
    elog_complain(
        0,
        "velorix_setup_stations: %zu stations of %s are left out, they are not open today, "
        "and no time is given.\n",
        choice.closed, choice.dbname);
}

}  // namespace

bool choose_stations(Choice& choice, long count, const Tbl* list) {
    if (!read_rows(choice, count)) return false;
    const bool chosen = list                      ? choose_listed(choice, list)
                        : choice.day == kEveryDay ? choose_every_day(choice)
                                                  : choose_day(choice);
    if (chosen) complain_of_closed(choice);
    return chosen;
}

}  // namespace velorix
