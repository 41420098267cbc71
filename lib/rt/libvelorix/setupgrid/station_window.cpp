#include "setupgrid/station_window.h"

#include <new>
#include <vector>

#include "platform/elog/elog.h"
#include "setupgrid/builder_params.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

constexpr double kOpen = 1e10;  // percent; a bound that nobody has set

struct Window {
    double pxstamin = -kOpen;
    double pxstamax = kOpen;
    double pystamin = -kOpen;
    double pystamax = kOpen;

    bool open() const {
        return pxstamin == -kOpen && pxstamax == kOpen && pystamin == -kOpen && pystamax == kOpen;
    }
    /// x and y as fractions of the extents; one that is not a number never fails a test.
    bool holds(double x, double y) const {
        return !(x < pxstamin / 100.0) && !(x > pxstamax / 100.0) && !(y < pystamin / 100.0) &&
               !(y > pystamax / 100.0);
    }
};

bool read_window(Pf* pf, Window& window) {
    struct Bound {
        const char* key;
        double* value;
    };
    for (const Bound& bound :
         {Bound{"pxstamin", &window.pxstamin}, Bound{"pxstamax", &window.pxstamax},
          Bound{"pystamin", &window.pystamin}, Bound{"pystamax", &window.pystamax}}) {
        if (parse_param(pf, bound.key, PF_DOUBLE, 0, bound.value) >= 0) continue;
        elog_log(0, "velorix_setup_edp_grid: parse_param(%s) error.\n", bound.key);
        return false;
    }
    return true;
}

struct FreeMap {
    void operator()(Arr* map) const { freearr(map, nullptr); }
};

bool replace_stations(Velorix& grid, const std::vector<Station>& staying) {
    CArray<Station> list = make_c_array<Station>(staying.size());
    if (!list) throw std::bad_alloc();
    std::unique_ptr<Arr, FreeMap> map(newarr(nullptr));
    if (!map) {
        elog_log(0, "velorix_setup_edp_grid: newarr() error.\n");
        return false;
    }
    for (size_t i = 0; i < staying.size(); ++i) {
        list[i] = staying[i];
        list[i].index = static_cast<int32_t>(i);
        if (setarr(map.get(), list[i].sta, &list[i]) < 0) throw std::bad_alloc();
    }
    freearr(grid.sta_arr, nullptr);
    std::free(grid.stations);
    grid.sta_arr = map.release();
    grid.stations = list.release();
    grid.ns = static_cast<int32_t>(staying.size());
    grid.stsize = grid.ns * static_cast<int32_t>(sizeof(Station));
    return true;
}

}  // namespace

bool apply_station_window(Velorix& grid, Pf* pf) {
    Window window;
    if (!read_window(pf, window)) return false;
    if (window.open()) return true;
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
