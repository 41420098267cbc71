#ifndef VELORIX_PVT_H
#define VELORIX_PVT_H
/* What the library's units share and most callers never see; the engine's records. */
#include "velorix.h"
#ifdef __cplusplus
extern "C" {
#endif

/* ---- Shared by the units ---- */

extern Hook* hook;  ///< state of the travel-time calculator, shared by every grid of the process

/**
 * Offsets of a point from a reference point in the azimuthal equidistant frame about it.
 * All angles in degrees; xdel east, ydel north, degrees of arc.
 */
void latlon2xydel(double xlat1, double xlon1, double xlat2, double xlon2, double* xdel,
                  double* ydel);
/** The inverse of latlon2xydel. */
void xydel2latlon(double xlat1, double xlon1, double xdel, double ydel, double* xlat2,
                  double* xlon2);

/**
 * The epicentral distance at which the first P-type arrival has a horizontal slowness.
 * @param[in]  model, sdepth, relev earth model, source depth (km) and receiver elevation (km); used
 * by the first call of the process only, which builds the table
 * @param[in]  slowness horizontal slowness, s/km
 * @param[out] distance degrees; -1.0 when there is none
 * @param[out] slowout  the table's slowness there, s/km; -1.0 when there is none
 * @return 0; -1 when the table could not be built
 */
int slow2d(const char* model, double sdepth, double relev, double slowness, double* distance,
           double* slowout);

#ifdef __cplusplus
}
#endif
#endif
