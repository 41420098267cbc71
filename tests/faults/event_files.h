#ifndef VELORIX_TESTS_FAULTS_EVENT_FILES_H
#define VELORIX_TESTS_FAULTS_EVENT_FILES_H
// Stations, grids and picks of one earthquake, as small as a whole run of the programs needs.
#include <gtest/gtest.h>

#include <string>

#include "velorix.h"

namespace velorix_test {

inline constexpr const char* kSixStations =
    "#Network | Station | Latitude | Longitude | Elevation | SiteName | StartTime | EndTime\n"
    "XX|AAA|40.1|-110.0|0.0|A|2002-11-19T00:00:00|\n"
    "XX|BBB|39.8|-110.3|0.0|B|2002-11-19T00:00:00|\n"
    "XX|CCC|40.0|-109.6|0.0|C|2002-11-19T00:00:00|\n"
    "XX|DDD|40.4|-110.2|0.0|D|2002-11-19T00:00:00|\n"
    "XX|EEE|39.7|-109.8|0.0|E|2002-11-19T00:00:00|\n"
    "XX|FFF|40.3|-109.7|0.0|F|2002-11-19T00:00:00|\n";
inline constexpr const char* kTwoGrids =
    "[grids.first]\nmode='file'\ncoords_file='points.txt'\nmethod='tttaup'\nmodel='iasp91'\n"
    "compute_P=true\n"
    "[grids.second]\nmode='edp'\nlatr=40\nlonr=-110\nnx=5\nny=5\nxmin=-0.5\nxmax=0.5\nymin=-0.5\n"
    "ymax=0.5\ndepths=[5]\nmethod='tttaup'\nmodel='iasp91'\ncompute_P=true\ncompute_S=true\n";

/// P and S picks of an event at the middle of the mesh of the second grid.
inline std::string picks_of_an_event(const std::string& heaps) {
    std::string bytes = heaps;
    Tbl* grids = nullptr;
    EXPECT_EQ(velorix_read_buffer(bytes.data(), bytes.size(), "grids", &grids), 2);
    const auto* mesh = static_cast<const Velorix*>(gettbl(grids, 1));
    std::string picks = "station,channel,phase,time\n";
    for (int is = 0; mesh && is < mesh->ns; ++is) {
        double p = 0.0, s = 0.0;
        velorix_get_ttimes(mesh, is, 2, 2, 0, &p, &s);
        const std::string code = mesh->stations[is].sta;
        picks += code + ",HHZ,P," + std::to_string(1476403200 + p) + "\n";
        picks += code + ",HHN,S," + std::to_string(1476403200 + s) + "\n";
    }
    freetbl(grids, velorix_release);
    return picks;
}

}  // namespace velorix_test
#endif
