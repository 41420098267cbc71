#ifndef VELORIX_TESTS_SUPPORT_TINY_GRID_H
#define VELORIX_TESTS_SUPPORT_TINY_GRID_H
// Grids in memory with straight rays through a uniform half-space: 6 km/s for P, 3.5 km/s for S.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "velorix_pvt.h"

namespace velorix_test {

inline constexpr double kKmPerDegree = 111.19;

inline double ray_time(double delta_deg, double depth, double velocity) {
    return std::hypot(delta_deg * kKmPerDegree, depth) / velocity;
}

/// Flat-earth distance, degrees: only has to be the same for the tables and the tests' picks.
inline double flat_distance(double lat1, double lon1, double lat2, double lon2) {
    const double shrink = std::cos(lat1 * 3.141592653589793 / 180);
    return std::hypot(lat2 - lat1, (lon2 - lon1) * shrink);
}

struct TinyGridOptions {
    int mode = VELORIX_MODE_REGULAR;
    int type = VELORIX_TYPE_3D;
    int nx = 7;  // general mesh: nx * ny nodes in one list
    int ny = 5;
    std::vector<double> depths = {5.0};
    double spacing = 0.1;  // degrees between nodes
    bool p_times = true;
    bool s_times = true;
    bool distances = true;
    int ndist = 400;  // distance table: samples 0.01 degrees apart
    std::string name = "tiny";
};

class TinyGrid {
  public:
    TinyGrid(const std::vector<Station>& stations, const TinyGridOptions& options = {})
        : stations_(stations), depths_(options.depths) {
        std::memcpy(grid.name, options.name.data(), std::min<size_t>(options.name.size(), 64));
        grid.magic = VELORIX_MAGIC;
        grid.mode = options.mode;
        grid.type = options.type;
        grid.ns = static_cast<int32_t>(stations.size());
        lay_out(options);
        fill_tables(options);
        index_stations();
    }
    ~TinyGrid() { freearr(grid.sta_arr, nullptr); }
    TinyGrid(const TinyGrid&) = delete;
    TinyGrid& operator=(const TinyGrid&) = delete;

    Velorix grid{};

  private:
    void lay_out(const TinyGridOptions& o) {
        const bool regular = o.mode == VELORIX_MODE_REGULAR;
        grid.nh = o.nx * o.ny;
        grid.nd = regular ? static_cast<int32_t>(depths_.size()) : 1;
        grid.nn = grid.nh * grid.nd;
        grid.nx = regular ? o.nx : 0;
        grid.ny = regular ? o.ny : 0;
        grid.xmin = 0;
        grid.xmax = (o.nx - 1) * o.spacing;
        grid.ymin = 0;
        grid.ymax = (o.ny - 1) * o.spacing;
        for (int i = 0; i < grid.nh; ++i) {
            // On a general mesh depths alternate, so that neighbouring nodes differ.
            const double depth = regular ? depths_[0] : depths_[size_t(i) % depths_.size()];
            const int row = i / o.nx;
            sources_.push_back({row * o.spacing, (i % o.nx) * o.spacing, depth});
        }
        grid.sources = sources_.data();
        grid.depths = depths_.data();
        grid.stations = stations_.data();
    }

    void fill_tables(const TinyGridOptions& o) {
        if (o.type == VELORIX_TYPE_1D) {
            fill_distance_table(o);
        } else {
            fill_pairs();
        }
        grid.P_times = o.p_times ? p_.data() : nullptr;
        grid.S_times = o.s_times ? s_.data() : nullptr;
        grid.distances = o.distances ? distances_.data() : nullptr;
    }

    void fill_pairs() {
        for (int d = 0; d < grid.nd; ++d) {
            for (const Source& source : sources_) {
                const double depth =
                    grid.mode == VELORIX_MODE_REGULAR ? depths_[size_t(d)] : source.depth;
                for (const Station& station : stations_) {
                    const double delta =
                        flat_distance(source.lat, source.lon, station.lat, station.lon);
                    add_sample(delta, depth);
                    distances_.push_back(static_cast<float>(delta));
                }
            }
        }
    }

    void fill_distance_table(const TinyGridOptions& o) {
        grid.ndist = o.ndist;
        for (const double depth : depths_) {
            for (int k = 0; k < o.ndist; ++k) add_sample(0.01 * k, depth);
        }
        for (int k = 0; k < o.ndist; ++k) distances_.push_back(static_cast<float>(0.01 * k));
        for (const Source& source : sources_) {
            for (const Station& station : stations_) {
                const double delta =
                    flat_distance(source.lat, source.lon, station.lat, station.lon);
                const long nearest = std::lround(delta / 0.01);
                offsets_.push_back(static_cast<uint16_t>(std::min<long>(nearest, o.ndist - 1)));
            }
        }
        grid.ttoffsets = offsets_.data();
    }

    void add_sample(double delta, double depth) {
        p_.push_back(static_cast<float>(ray_time(delta, depth, 6.0)));
        s_.push_back(static_cast<float>(ray_time(delta, depth, 3.5)));
    }

    void index_stations() {
        grid.sta_arr = newarr(nullptr);
        for (size_t i = 0; i < stations_.size(); ++i) {
            stations_[i].index = static_cast<int32_t>(i);
            setarr(grid.sta_arr, stations_[i].sta, &stations_[i]);
        }
    }

    std::vector<Station> stations_;
    std::vector<double> depths_;
    std::vector<Source> sources_;
    std::vector<float> p_;
    std::vector<float> s_;
    std::vector<float> distances_;
    std::vector<uint16_t> offsets_;
};

inline Station make_station(const std::string& code, double lat, double lon) {
    Station station{};
    station.lat = lat;
    station.lon = lon;
    code.copy(station.sta, sizeof station.sta - 1);
    return station;
}

/// `n` stations spread irregularly over the mesh of the default options, called S00, S01, ...
inline std::vector<Station> ring_of_stations(int n) {
    std::vector<Station> stations;
    for (int i = 0; i < n; ++i) {
        const double angle = 2.399963 * i;  // golden angle
        const double radius = 0.1 + 0.5 * std::sqrt((i + 0.5) / n);
        std::string code = "S";
        code += static_cast<char>('0' + i / 10 % 10);
        code += static_cast<char>('0' + i % 10);
        if (i >= 100) code += static_cast<char>('a' + i / 100);
        stations.push_back(
            make_station(code, 0.2 + radius * std::sin(angle), 0.3 + radius * std::cos(angle)));
    }
    return stations;
}

/// Picks, their station map and the list for a grid, released together.
class Picks {
  public:
    Picks() : list(newtbl(0)) {}
    ~Picks() {
        freetbl(stao_tbl, nullptr);
        velorix_free_staobs_arr(map);
        freetbl(list, free);
    }
    Picks(const Picks&) = delete;
    Picks& operator=(const Picks&) = delete;

    PickList& add(const std::string& sta, const std::string& chan, const std::string& phase,
                  double time) {
        auto* pick = static_cast<PickList*>(calloc(1, sizeof(PickList)));
        sta.copy(pick->sta, 15);
        chan.copy(pick->chan, 15);
        phase.copy(pick->phase, 15);
        pick->time = time;
        pick->snr = 10;
        pick->arid = -1;
        settbl(list, -1, pick);
        return *pick;
    }
    PickList& operator[](int i) const { return *static_cast<PickList*>(gettbl(list, i)); }
    int size() const { return maxtbl(list); }
    StationObs& station(const char* sta) const {
        return *static_cast<StationObs*>(getarr(map, sta));
    }
    StationObs& listed(int i) const { return *static_cast<StationObs*>(gettbl(stao_tbl, i)); }

    /// Groups the picks and lists them for a grid; returns the number of stations listed.
    int set_up(SearchParams& sp) {
        if (!map) velorix_fill_staobs_tbl(list, &map, 0, 0);
        freetbl(stao_tbl, nullptr);
        stao_tbl = nullptr;
        return velorix_setup_staobs(map, &sp, &stao_tbl);
    }

    Tbl* list;
    Arr* map = nullptr;
    Tbl* stao_tbl = nullptr;
};

/// SearchParams released with their scope.
struct Search {
    explicit Search(Velorix& grid) : sp(velorix_new_search(&grid)) {}
    ~Search() { velorix_free_search(sp); }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;
    SearchParams* operator->() const { return sp; }
    SearchParams& operator*() const { return *sp; }

    SearchParams* sp;
};

/// What velorix_scan_grid delivers.
struct Scan {
    int result = -1;
    double f = 0, ncluster = 0, std = 0, stduw = 0, lat = 0, lon = 0, depth = 0, time = 0;
    int32_t ix = -9, iy = -9, id = -9;

    Scan(SearchParams& sp, Tbl* stao_tbl) {
        result = velorix_scan_grid(&sp, stao_tbl, &f, &ncluster, &std, &stduw, &lat, &lon, &depth,
                                   &time, &ix, &iy, &id);
    }
};

}  // namespace velorix_test
#endif
