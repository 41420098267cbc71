#include "setupgrid/station_window.h"

#include <cmath>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "setupgrid/builder_params.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

bool replace_stations(Velorix& grid, const std::vector<Station>& staying) {
    CArray<Station> list = make_c_array<Station>(staying.size());
    if (!list) throw std::bad_alloc();
    OwnedArr map(newarr(nullptr));
    if (!map) {
        elog_log(1, "velorix_setup_edp_grid: newarr() error.\n");
        return false;
    }
    for (size_t i = 0; i < staying.size(); ++i) {
        list[i] = staying[i];
        list[i].index = static_cast<int32_t>(i);
        if (setarr(map.get(), list[i].sta, &list[i]) < 0) throw std::bad_alloc();
    }
    freearr(grid.sta_arr, nullptr);
    grid.sta_arr = map.release();
    replace_array(grid.stations, std::move(list));
    grid.ns = static_cast<int32_t>(staying.size());
    grid.stsize = grid.ns * static_cast<int32_t>(sizeof(Station));
    return true;
}

}  // namespace

bool read_station_window(const BuilderParams& params, StationWindow& window) {
    constexpr auto named = BuilderParams::Naming::key;
    return params.bound("pxstamin", window.pxstamin, named) &&
           params.bound("pxstamax", window.pxstamax, named) &&
           params.bound("pystamin", window.pystamin, named) &&
           params.bound("pystamax", window.pystamax, named);
}

bool apply_station_window(Velorix& grid, const StationWindow& window) {
    std::vector<Station> staying;
    for (const Station& station : stations(grid)) {
        double x = 0.0;
        double y = 0.0;
        velorix_project(&grid, station.lat, station.lon, &x, &y);
        if (window.holds(x, y)) staying.push_back(station);
    }
    if (staying.size() == stations(grid).size()) return true;
    return replace_stations(grid, staying);
}

}  // namespace velorix
