#ifndef VELORIX_H
#define VELORIX_H
/*
 * libvelorix: travel-time grids, and the association engine that works on them.
 *
 * Conventions
 *  1. Units: latitudes, longitudes and arc distances in degrees; depths and elevations in km (depth
 *     positive down, elevation positive up); travel times in seconds, absolute times in epoch
 *     seconds. Angles in radians never cross this interface.
 *  2. Results: 0 (or a count) on success, -1 on failure; constructors return a pointer or null.
 *     Every failure is logged through platform/elog before the return; nothing throws.
 *  3. Ownership is said per function. Records from this library are released with the call named
 *     there.
 *  4. Threads: building grids, the travel-time pass and the slowness conversion share process-wide
 *     state and belong to one thread at a time. Queries on a finished grid are safe from any
 * thread.
 *  5. Format: the Velorix record is the 384-byte header of a grid heap (little-endian, IEEE 754).
 *     Changing a field changes the file format.
 */
#include <stdint.h>

#include "platform/containers/containers.h"
#include "platform/pf/pf.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Records ---- */

enum {
    VELORIX_MAGIC = 0x7678676D,  ///< 'vxgm'
    VELORIX_NAME_SIZE = 64       ///< bytes of name, method and model; no terminator when full
};

/** Grid modes: how the nodes are laid out. */
enum { VELORIX_MODE_GENERAL = 1, VELORIX_MODE_REGULAR = 2 };
/** Grid types: one time per node and station, or a distance table per depth with offsets. */
enum { VELORIX_TYPE_3D = 1, VELORIX_TYPE_1D = 2 };

/** A station of a grid; its number `is` in every table is its place in the stations array. */
typedef struct Station {
    double lat;     ///< latitude, degrees
    double lon;     ///< longitude, degrees
    double elev;    ///< elevation, km above sea level
    char sta[16];   ///< station code, NUL-terminated
    int32_t index;  ///< place in the stations array
    int32_t dummy;  ///< reserved, 0
} Station;

/** A horizontal node position; on a general mesh a node. */
typedef struct Source {
    double lat;    ///< latitude, degrees
    double lon;    ///< longitude, degrees
    double depth;  ///< depth, km; on a regular mesh the first depth, not used for the times
} Source;

/** A travel-time grid; also, byte for byte, the header of its heap. */
typedef struct Velorix {
    int32_t magic;    ///< VELORIX_MAGIC
    int32_t size;     ///< bytes of the heap, header included; 0 until packed
    int32_t mode;     ///< VELORIX_MODE_*; -1 in a fresh record
    int32_t type;     ///< VELORIX_TYPE_*; -1 in a fresh record
    int32_t ns;       ///< number of stations
    int32_t nn;       ///< number of nodes: general mesh the sources; regular mesh nx * ny * nd
    int32_t nh;       ///< number of horizontal positions = entries of sources
    int32_t nd;       ///< number of depths = entries of depths; 1 on a general mesh
    int32_t ny;       ///< mesh rows; 0 on a general mesh
    int32_t nx;       ///< mesh columns; 0 on a general mesh
    int32_t ndist;    ///< distance samples of a distance table; 0 otherwise
    int32_t dpsize;   ///< bytes of depths: nd * 8
    int32_t dssize;   ///< bytes of distances; 0 without
    int32_t ttsize;   ///< bytes of one travel-time table
    int32_t srsize;   ///< bytes of sources: nh * 24
    int32_t stsize;   ///< bytes of stations: ns * 48
    int32_t ttosize;  ///< bytes of ttoffsets; 0 without
    int32_t dummy;    ///< reserved, 0
    char name[VELORIX_NAME_SIZE];    ///< grid name, NUL-padded
    char method[VELORIX_NAME_SIZE];  ///< travel-time calculator method, NUL-padded
    char model[VELORIX_NAME_SIZE];   ///< earth model, NUL-padded
    double latr;                     ///< reference latitude, degrees
    double lonr;                     ///< reference longitude, degrees
    double strike;                   ///< azimuth of the mesh's x axis, degrees clockwise from north
    double xmin;  ///< extent along x: degrees of arc, or slowness of a slowness grid
    double xmax;
    double ymin;
    double ymax;
    double* depths;       ///< [nd] km
    float* distances;     ///< distance table: [ndist]; else [nn][ns] degrees; null when absent
    float* P_times;       ///< [nn][ns] or [nd][ndist] seconds; null when absent
    float* S_times;       ///< as P_times
    Source* sources;      ///< [nh]; position of column ix and row iy is iy * nx + ix
    Station* stations;    ///< [ns]
    uint16_t* ttoffsets;  ///< [nh][ns] distance sample numbers; null when absent
    Arr* sta_arr;         ///< station code to its Station
} Velorix;

/**
 * Progress of a travel-time pass.
 * @param name    grid name, NUL-terminated
 * @param genmode 1 on a general mesh, 0 on a regular one
 * @param lat, lon, depth position reached (distance table: 0, distance in degrees, depth)
 * @param percent 0 .. 100 of the grid (general mesh) or of the depth (regular mesh)
 */
typedef void (*velorix_progress)(const char* name, int genmode, double lat, double lon,
                                 double depth, double percent);

/* ---- New, pack, release ---- */

/**
 * A new grid record with its defaults: magic set, mode and type -1, counts and sizes 0, names
 * empty, the seven geometric doubles -999.0, every pointer null. Release it with velorix_free.
 * @return the record, or null after "velorix_new: malloc() error.\n"
 */
Velorix* velorix_new(void);

/**
 * Packs a laid-out record and its arrays into one buffer, the grid heap, and points the record's
 * table pointers into it. The tables are not filled (velorix_compute_travel_times does); padding
 * and tables are zeroed.
 * @param[in,out] grid      a record that a builder has laid out
 * @param[in,out] heap      the caller's buffer, null at first; allocated with malloc and grown as
 *                          needed, released by the caller with free
 * @param[out]    nbytes    size of the heap, bytes
 * @param[in,out] heap_size capacity of the buffer, bytes; 0 at first
 * @return the heap's size; -1 after a logged line (memory, or a size beyond 2147483647 bytes)
 */
int velorix_create_heap(Velorix* grid, char** heap, int32_t* nbytes, int32_t* heap_size);

/**
 * Releases a record of velorix_new or of the heap readers with everything it owns: stations,
 * depths, sources, station map and, for a record read back, its share of the mapped file or buffer.
 * A heap made by velorix_create_heap stays the caller's. Null is fine.
 */
void velorix_free(Velorix* grid);

/* ---- Reading heaps back ---- */

/**
 * Reads every heap of a grid file into usable records: table pointers set, station map rebuilt.
 * The file is mapped privately, not copied. Every count, size, offset and index is checked against
 * the bytes that are there.
 * @param[in]  path  file name
 * @param[out] grids list of Velorix*, in file order; release with freetbl(grids, velorix_release)
 * @return the number of grids; -1 after a logged line that names the file, the byte and what is
 * wrong
 */
int velorix_read_file(const char* path, Tbl** grids);

/**
 * As velorix_read_file, from a buffer that stays the caller's and must outlive the records.
 * @param[in] buffer bytes of one or more heaps, aligned to 8 bytes
 * @param[in] nbytes number of bytes
 * @param[in] label  stands for the file name in messages
 */
int velorix_read_buffer(void* buffer, uint64_t nbytes, const char* label, Tbl** grids);

/** velorix_free in the shape that freetbl takes. */
void velorix_release(void* grid);

/* ---- Stations ---- */

/**
 * Chooses a grid's stations from the `site` table of a station database and fills ns, stsize,
 * stations and sta_arr.
 * @param[in,out] grid   a fresh record
 * @param[in]     dbname station database, as dbopen takes it
 * @param[in]     pf     the grid's parameters: `time` (a time string or "all"; absent: today) and
 *                       `stations` (list of codes; absent: all)
 * @return 0, or -1 after a logged line
 */
int velorix_setup_stations(Velorix* grid, const char* dbname, Pf* pf);

/* ---- Builders: each lays out the nodes of a record whose stations are set ---- */

/** A rotated regular mesh about a reference point ("edp"). 0, or -1 after a logged line. */
int velorix_setup_edp_grid(Velorix* grid, const char* name, Pf* pf);
/** Rings of nodes from a mesh in slowness space ("slow"). 0, or -1 after a logged line. */
int velorix_setup_slowness_grid(Velorix* grid, const char* name, Pf* pf);
/** Positions from the coordinates file of key `coords_file` ("file"). 0, or -1 after a logged line.
 */
int velorix_setup_readfromfile_grid(Velorix* grid, const char* name, Pf* pf);
/**
 * Positions from an array, copied ("utele").
 * @param[in] nsrc number of positions
 * @param[in] srcs [nsrc]
 * @return 0, or -1 after a logged line
 */
int velorix_setup_fromsourcearray_grid(Velorix* grid, const char* name, int nsrc,
                                       const Source* srcs, Pf* pf);

/* ---- Travel times ---- */

/**
 * Fills the tables of a packed grid: first P and first S from every node to every station, and the
 * distances where the grid carries them.
 * @param[in] callback progress function, or null
 * @return 0, or -1 after a logged line
 */
int velorix_compute_travel_times(Velorix* grid, velorix_progress callback);

/* ---- Queries: read only, safe from any thread ---- */

/**
 * P and S travel time from one grid node to one station.
 * @param[in]  is      station number, 0 .. ns-1
 * @param[in]  ix      mesh column, 0 .. nx-1 (general mesh: node number, 0 .. nn-1)
 * @param[in]  iy, id  mesh row and depth number (not used on a general mesh)
 * @param[out] p_time  P travel time, seconds; untouched when the grid has no P table
 * @param[out] s_time  S travel time, seconds; untouched when the grid has no S table
 * @return 0 always; indices are not checked
 */
int velorix_get_ttimes(const Velorix* grid, int32_t is, int32_t ix, int32_t iy, int32_t id,
                       double* p_time, double* s_time);

/** Name of the grid's mode into a buffer of 16 bytes or more. 0, or -1 (logged, buffer untouched).
 */
int velorix_get_mode(const Velorix* grid, char* mode);
/** Name of the grid's type into a buffer of 43 bytes or more. 0, or -1 (logged, buffer untouched).
 */
int velorix_get_type(const Velorix* grid, char* type);

/**
 * Smallest and largest great-circle distance between any position and any station, degrees.
 * @return 0 always; a grid without positions or stations leaves both outputs untouched
 */
int velorix_get_minmax_distance(const Velorix* grid, double* mindistance, double* maxdistance);

/** Smallest and largest P and S times, seconds; -1.0 for a table the grid does not carry. 0 always.
 */
int velorix_get_minmax_ttimes(const Velorix* grid, double* minptime, double* maxptime,
                              double* minstime, double* maxstime);

/* ---- Projection ---- */

/**
 * A point in the mesh's own coordinates: (0, 0) at position 0, (1, 0) at the end of the first row,
 * (0, 1) at the start of the last row.
 * @param[in]  lat, lon     degrees
 * @param[out] xproj, yproj fractions of the mesh's extent; 0 along an axis of a single column or
 *                          row, and 0 on a general mesh
 * @return 0 always
 */
int velorix_project(const Velorix* grid, double lat, double lon, double* xproj, double* yproj);

/** 1 when a point lies within the mesh's extent, bounds included, or the grid is a general mesh;
 * else 0. */
int velorix_inside(const Velorix* grid, double lat, double lon);

#ifdef __cplusplus
}
#endif
#endif
