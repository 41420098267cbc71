#ifndef VELORIX_TELEGRID_H
#define VELORIX_TELEGRID_H
/*
 * The embedded global source set: candidate source positions for "utele" grids, about 110 km apart
 * over the whole globe, 28 km where earthquakes happen, with deep layers along the slabs.
 */
#include "velorix.h"

/** Number of records. */
inline constexpr int telegrid_20km_n = 170899;

/**
 * The records, sorted by latitude, longitude and depth: degrees with five decimals (longitudes in
 * (-180, 180], 0 at the poles) and 15, 50, 100, 200, 300 or 600 km. Read-only data.
 */
extern "C" const Source telegrid_20km_sources[telegrid_20km_n];

#endif
