// Locates one event from picks on the grids of a grid file and prints it with its picks.
//
//     locate GRIDFILE PICKS.toml
//
// PICKS.toml holds the list `arrivals` ("station channel phase time snr" a line) and may hold a
// table `search` with search parameters.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "platform/elog/elog.h"
#include "platform/pf/pf.h"
#include "velorix.h"
#include "velorix_pvt.h"

namespace {

template <auto release>
struct Release {
    template <class T>
    void operator()(T* pointer) const {
        release(pointer);
    }
};
void free_grids(Tbl* grids) { freetbl(grids, velorix_release); }
void free_list(Tbl* list) { freetbl(list, nullptr); }
void free_picks(Tbl* picks) { freetbl(picks, std::free); }
void free_names(Arr* arr) { freearr(arr, nullptr); }
void free_map(Arr* map) { velorix_free_staobs_arr(map); }

using Grids = std::unique_ptr<Tbl, Release<free_grids>>;
using List = std::unique_ptr<Tbl, Release<free_list>>;
using Picks = std::unique_ptr<Tbl, Release<free_picks>>;
using Names = std::unique_ptr<Arr, Release<free_names>>;
using StationMap = std::unique_ptr<Arr, Release<free_map>>;
using Parameters = std::unique_ptr<Pf, Release<pffree>>;
using Search = std::unique_ptr<SearchParams, Release<velorix_free_search>>;
using Result = std::unique_ptr<GridResults, Release<velorix_free_result>>;

void print(const GridResults& event) {
    std::printf("%s: time %.3f lat %.4f lon %.4f depth %.1f score %.2f\n", event.grid_name,
                event.time, event.lat, event.lon, event.depth, event.performance);
    std::printf("stations %d defining %d associated %d std %.3f%s\n", event.nsta, event.ndef,
                event.nass, event.std_weighted, event.edge_fault ? " on the edge" : "");
    for (int i = 0; i < maxtbl(event.pick_tbl); ++i) {
        const auto& pick = *static_cast<const PickList*>(gettbl(event.pick_tbl, i));
        if (!pick.associated) continue;
        std::printf("%-5s %-4s %s time %.3f residual %6.3f distance %.3f\n", pick.sta, pick.chan,
                    pick.ophase, pick.time, pick.resid, pick.delta);
    }
}

/// The event on one grid; null after a logged line.
Result locate(Velorix* grid, Pf* search_keys, Tbl* picks) {
    const Search search(velorix_new_search(grid));
    if (!search || (search_keys && velorix_search_from_pf(search.get(), search_keys) < 0) ||
        velorix_setup_search(search.get()) < 0) {
        return nullptr;
    }
    Arr* map = nullptr;
    const int grouped = velorix_fill_staobs_tbl(picks, &map, 0, 0);
    const StationMap stations(map);
    if (grouped < 0) return nullptr;
    Tbl* listed = nullptr;
    const int count = velorix_setup_staobs(map, search.get(), &listed);
    const List stao_tbl(listed);
    if (count < 0) return nullptr;

    double f, score, std_weighted, std_plain, lat, lon, depth, time;
    int32_t ix, iy, id;
    if (velorix_scan_grid(search.get(), listed, &f, &score, &std_weighted, &std_plain, &lat, &lon,
                          &depth, &time, &ix, &iy, &id) < 0) {
        return nullptr;
    }
    const Names searches(newarr(nullptr));
    setarr(searches.get(), "grid", search.get());
    GridResults* result = nullptr;
    velorix_make_result(searches.get(), "grid", listed, picks, std_plain, std_weighted, score, ix,
                        iy, id, time, lat, lon, depth, &result);
    if (result) result->sp = nullptr;  // the parameters go now
    return Result(result);
}

}  // namespace

int main(int argc, char** argv) {
    elog_init(argc, argv);
    if (argc != 3) return std::fputs("usage: locate GRIDFILE PICKS.toml\n", stderr), 1;
    Tbl* read = nullptr;
    if (velorix_read_file(argv[1], &read) < 0) return 1;
    const Grids grids(read);
    Pf* root = nullptr;
    Pf* search_keys = nullptr;
    if (pfread(argv[2], &root) < 0) return 1;
    const Parameters parameters(root);
    if (parse_param(root, "search", PF_ARRAY, 0, &search_keys) < 0) return 1;
    Tbl* list = nullptr;
    const int filled = velorix_fill_plist(root, &list, 0);
    const Picks picks(list);
    if (filled < 0) return 1;
    if (!picks) return elog_log(0, "locate: no arrivals in %s.\n", argv[2]), 1;
    int located = 0;
    for (int i = 0; i < maxtbl(grids.get()); ++i) {
        const Result event =
            locate(static_cast<Velorix*>(gettbl(grids.get(), i)), search_keys, picks.get());
        if (!event) continue;
        print(*event);
        ++located;
    }
    return located > 0 ? 0 : 1;
}
