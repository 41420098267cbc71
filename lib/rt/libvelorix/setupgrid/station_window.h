#ifndef VELORIX_SETUPGRID_STATION_WINDOW_H
#define VELORIX_SETUPGRID_STATION_WINDOW_H
#include "velorix.h"

namespace velorix {

/**
 * Keeps only the stations inside the window that the keys pxstamin, pxstamax, pystamin and pystamax
 * give in percent of the mesh's extents. The grid's sizes are left as they are.
 * @return false after a logged line; the stations are then as before. Throws std::bad_alloc.
 */
bool apply_station_window(Velorix& grid, Pf* pf);

}  // namespace velorix

#endif
