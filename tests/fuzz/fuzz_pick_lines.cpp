// The library's pick lines, as far as the event that they make: read, grouped, scanned, associated.
// The first byte says whether lines carry identifiers.
#include <string>

#include "fuzz.h"
#include "support/tiny_grid.h"

namespace {

using velorix_fuzz::require;

void locate(Tbl* picks, bool with_ids) {
    static velorix_test::TinyGrid grid(velorix_test::ring_of_stations(5), {.depths = {5.0, 15.0}});
    const velorix_test::Search search(grid.grid);
    require(velorix_setup_search(search.sp) == 0);
    Arr* map = nullptr;
    Tbl* stations = nullptr;
    Arr* grids = newarr(nullptr);
    setarr(grids, "tiny", search.sp);
    GridResults* result = nullptr;
    if (velorix_fill_staobs_tbl(picks, &map, with_ids, 0) == 0 &&
        velorix_setup_staobs(map, search.sp, &stations) > 0) {
        const velorix_test::Scan found(*search.sp, stations);
        if (found.result == 0 && found.ncluster > 0) {
            velorix_make_result(grids, "tiny", stations, picks, found.std, found.stduw,
                                found.ncluster, found.ix, found.iy, found.id, found.time, found.lat,
                                found.lon, found.depth, &result);
        }
    }
    velorix_free_result(result);
    freearr(grids, nullptr);
    freetbl(stations, nullptr);
    velorix_free_staobs_arr(map);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const velorix_fuzz::Lines lines;
    if (size == 0) return 0;
    const bool with_ids = data[0] % 2 != 0;
    const std::string text(velorix_fuzz::text_of(data + 1, size - 1));
    Pf* pf = nullptr;
    require(pfparse("arrivals = ''", "input", &pf) == 0);
    require(pfput_string(pf, "arrivals", text.c_str()) == 0);
    Tbl* picks = nullptr;
    const int result = velorix_fill_plist(pf, &picks, with_ids);
    require(result == 0 || (result == -1 && lines.number() > 0));
    // A scan's work grows with the square of the picks.
    if (result == 0 && picks && maxtbl(picks) <= 60) locate(picks, with_ids);
    freetbl(picks, std::free);
    pffree(pf);
    return 0;
}
