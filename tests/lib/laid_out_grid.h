#ifndef VELORIX_TESTS_LIB_LAID_OUT_GRID_H
#define VELORIX_TESTS_LIB_LAID_OUT_GRID_H
// Grids with hand-made stations, laid out by a builder from parameters given as text.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>

#include "support/log_capture.h"
#include "support/parameters.h"

namespace velorix_test {

struct TestStation {
    const char* sta;
    double lat;
    double lon;
    double elev = 0.0;
};

inline GridPtr grid_with_stations(std::initializer_list<TestStation> list) {
    GridPtr grid(velorix_new());
    grid->ns = static_cast<int32_t>(list.size());
    grid->stsize = grid->ns * static_cast<int32_t>(sizeof(Station));
    grid->stations = static_cast<Station*>(std::calloc(list.size(), sizeof(Station)));
    grid->sta_arr = newarr(nullptr);
    int32_t index = 0;
    for (const TestStation& from : list) {
        Station& station = grid->stations[index];
        station = Station{from.lat, from.lon, from.elev, {}, index, 0};
        std::strncpy(station.sta, from.sta, sizeof station.sta - 1);
        setarr(grid->sta_arr, station.sta, &station);
        ++index;
    }
    return grid;
}

/// Parameters: each value as TOML has it.
using Keys = std::map<std::string, std::string>;

/// A 3 x 3 mesh about (0, 0) that reaches as far as `extent` says to every side.
inline Keys mesh_keys(const std::string& extent, const Keys::value_type& depth) {
    const std::string low = "-" + extent;
    return {{"latr", "0"},          {"lonr", "0"},         {"nx", "3"},           {"ny", "3"},
            {"xmin", low},          {"xmax", extent},      {"ymin", low},         {"ymax", extent},
            {"method", "'tttaup'"}, {"model", "'iasp91'"}, {"compute_P", "true"}, depth};
}

/// The parameters, some of them replaced or, by "", left out.
inline PfPtr changed(Keys keys, const Keys& changes) {
    std::string lines;
    for (const auto& [key, value] : changes) keys[key] = value;
    for (const auto& [key, value] : keys) {
        if (!value.empty()) lines += key + " = " + value + "\n";
    }
    return parameters(lines);
}

struct Refusal {
    Keys changes;
    std::string message;
};

/// The last line of each refusal is its message; `set_up` takes a grid and the changed keys.
template <class SetUp>
void expect_refused(const char* who, SetUp set_up, std::initializer_list<Refusal> refusals) {
    for (const Refusal& refusal : refusals) {
        const GridPtr grid = grid_with_stations({{"A", 0.0, 0.0}});
        const LogCapture log;
        EXPECT_EQ(set_up(*grid, refusal.changes), -1) << refusal.message;
        ASSERT_FALSE(log.empty()) << refusal.message;
        EXPECT_EQ(log.lines().back(), (LogLine{ELOG_LOG, 0, who + refusal.message + "\n"}));
        EXPECT_EQ(grid->ns, 1);
    }
}

/// Packs a grid and fills its tables; throws when either fails.
inline void compute(Velorix& grid, Heap& heap) {
    if (heap.pack(&grid) < 0 || velorix_compute_travel_times(&grid, nullptr) < 0)
        throw std::runtime_error("no times");
}

/// The reader checks every count and size of a record against the others.
inline void expect_readable(const Heap& heap) {
    Tbl* grids = nullptr;
    EXPECT_EQ(velorix_read_buffer(heap.bytes, static_cast<uint64_t>(heap.size), "heap", &grids), 1);
    freetbl(grids, velorix_release);
}

}  // namespace velorix_test
#endif
