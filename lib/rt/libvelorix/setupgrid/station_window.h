#ifndef VELORIX_SETUPGRID_STATION_WINDOW_H
#define VELORIX_SETUPGRID_STATION_WINDOW_H
#include "setupgrid/builder_params.h"
#include "velorix.h"

namespace velorix {

/// Bounds on a station's place along the mesh's axes, percent of its extents, inclusive.
struct StationWindow {
    static constexpr double kOpen = 1e10;  // a bound that nobody has set

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

/// Reads the window's keys; false after a logged line.
bool read_station_window(const BuilderParams& params, StationWindow& window);

/**
 * Removes the stations that lie outside the window from a laid-out mesh; addresses of its station
 * array and map are then no longer valid. False after a logged line; throws std::bad_alloc.
 */
bool apply_station_window(Velorix& grid, const StationWindow& window);

}  // namespace velorix

#endif
