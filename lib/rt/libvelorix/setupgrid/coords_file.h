#ifndef VELORIX_SETUPGRID_COORDS_FILE_H
#define VELORIX_SETUPGRID_COORDS_FILE_H
// Coordinates files: plain text, one point a line: latitude, longitude (degrees), depth (km).
#ifdef __cplusplus
extern "C" {
#endif

/** Points read from a coordinates file, in file order. */
typedef struct Coords {
    int npoints;    ///< points stored
    int size;       ///< capacity of each array, points
    double* lat;    ///< degrees
    double* lon;    ///< degrees
    double* depth;  ///< km
    double* prob;   ///< one more value per point, 0
} Coords;

/**
 * Reads a coordinates file.
 * @param[in]  filename path
 * @param[out] grid     null at once, the new record on success; release it with coords_free
 * @param[in]  depth    km, for points whose line holds two numbers only
 * @return 0, or -1 after a logged line with nothing left allocated
 */
int read_coords(const char* filename, Coords** grid, double depth);

/** Releases a record, null included. 0 always. */
int coords_free(Coords* g);

#ifdef __cplusplus
}
#endif
#endif
