#ifndef VELORIX_H
#define VELORIX_H
/** @file
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
    double xmin;          ///< extent along x: degrees of arc, or slowness of a slowness grid
    double xmax;          ///< greatest x
    double ymin;          ///< least y
    double ymax;          ///< greatest y
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
 * Station set-up and builders want a record of this call: they replace (and release) what an
 * earlier call put into it.
 * @return the record, or null after "velorix_new: malloc() error.\n" (with the system's error text)
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
 * The header in the heap keeps the presence markers, and addresses of this process that a reader
 * ignores. Packing is done once per record; a caller that reuses the buffer for the next grid has
 * written this one before.
 * @return the heap's size; -1 after a logged line: a size beyond 2147483647 bytes (buffer, capacity
 * and record as they were), no memory for a new buffer (`*heap` is null), or no memory to grow it
 * (the old buffer is released, `*heap` null, `*heap_size` 0)
 */
int velorix_create_heap(Velorix* grid, char** heap, int32_t* nbytes, int32_t* heap_size);

/**
 * Releases a record of velorix_new or of the heap readers with everything it owns: stations,
 * depths, sources, station map and, for a record read back, its share of the mapped file or buffer.
 * A heap made by velorix_create_heap stays the caller's. The record may be in any state, also after
 * a failed call. Null is fine. Records of one file may be released in any order; the last one
 * unmaps the file.
 */
void velorix_free(Velorix* grid);

/* ---- Reading heaps back ---- */

/**
 * Reads every heap of a grid file into usable records: table pointers set, station map rebuilt.
 * A regular file is mapped privately, not copied (do not shorten it while it is in use); pipes and
 * standard input are read into memory. Every count, size, offset and index is checked against the
 * bytes that are there, and no byte may be left over: one faulty grid refuses the file. Writing to
 * a record's arrays changes the process's copy only.
 * @param[in]  path  file name; "-" reads standard input
 * @param[out] grids list of one Velorix* or more, in file order; null on failure. Release it with
 *                   freetbl(grids, velorix_release)
 * @return the number of grids; -1 after a logged line, "velorix_read_file: <path>: byte <n>: ..."
 * for a fault of the contents, else the failed call with the system's error text
 */
int velorix_read_file(const char* path, Tbl** grids);

/**
 * As velorix_read_file, from a buffer that stays the caller's and must outlive the records. The
 * records' arrays lie in it; the buffer itself is not changed.
 * @param[in]  buffer bytes of one or more heaps, aligned to 8 bytes
 * @param[in]  nbytes number of bytes
 * @param[in]  label  stands for the file name in messages
 * @param[out] grids  as for velorix_read_file
 * @return the number of grids; -1 after a logged line, also for a buffer that is not aligned
 */
int velorix_read_buffer(void* buffer, uint64_t nbytes, const char* label, Tbl** grids);

/** velorix_free in the shape that freetbl takes. */
void velorix_release(void* grid);

/* ---- Stations ---- */

/**
 * Chooses a grid's stations from the `site` table of a station database and fills ns, stsize,
 * stations and sta_arr. A row is valid on its ondate, its offdate and the days between.
 *  - `stations` given: the stations of the list, in its order, each by its first row in the table
 *    that is valid on the day; for "all" by its row of greatest ondate (the first of equals). A
 *    station without such a row is complained of and left out; a name that comes twice is a
 *    failure, and so is a bare code that several stations of an FDSN text, NET_STA each, share.
 *  - no list, a day: every row valid on the day, in table order; two of one station are a failure.
 *  - no list, "all": every station once, in the order of first rows, by its last row.
 * @param[in,out] grid   a record of velorix_new
 * @param[in]     dbname station database, as dbopen takes it
 * @param[in]     pf     the grid's parameters: `time` (a time string or exactly "all"; absent:
 *                       today) and `stations` (list of codes; absent: all)
 * Without `time` one line tells how many stations are left out because they are not open today.
 * @return 0; -1 after a logged line: a parameter, the database or a row cannot be read, a row that
 * was chosen has a null or a value out of its range, a time cannot be decoded, a code is longer
 * than 15 characters, a station comes twice, none is left, no memory. The record then has no
 * stations (untouched when the failure came before the choice); sta_arr holds what had been chosen,
 * without stations behind it, and is released with the record.
 */
int velorix_setup_stations(Velorix* grid, const char* dbname, Pf* pf);

/*
 * ---- Builders: each lays out the nodes of a record whose stations are set ----
 *
 * They fill mode, type, counts, sizes, geometry, names, sources and depths, and put the presence
 * marker, the address 1, into the pointer of each table that the grid is to carry (P_times,
 * S_times, distances, ttoffsets; null: not carried); velorix_create_heap turns the markers into
 * tables. All read the parameters `method` and `model` (both required, for the calculator) and
 * `compute_P`, `compute_S` (booleans, at least one true), and complain of keys that nobody reads. A
 * table or array beyond 2147483647 bytes is refused. After a failure the record is to be released.
 */

/**
 * A rotated regular mesh about a reference point ("edp"). 0, or -1 after a logged line. Complains,
 * with the mesh's corners, of extents that run backwards or look like kilometres or coordinates,
 * and of nodes far from every station; and of `depths` that are not one number each.
 */
int velorix_setup_edp_grid(Velorix* grid, const char* name, Pf* pf);
/**
 * Rings of nodes from a mesh in slowness space ("slow"). 0, or -1 after a logged line. Complains
 * when the process's conversion table was built for another model or depth.
 */
int velorix_setup_slowness_grid(Velorix* grid, const char* name, Pf* pf);
/**
 * Positions from a coordinates file ("file"): one node a line, "latitude longitude [depth]" in
 * degrees and km, depth 0 when absent; a line that does not start with two numbers is skipped, a
 * blank one is a failure. Reads `coords_file` (required) and `compute_distances` (boolean).
 * @param[in,out] grid a record of velorix_new with its stations set
 * @param[in]     name the grid's name; its first 64 bytes are kept
 * @param[in]     pf   the grid's parameters
 * @return 0, also for a file without nodes; -1 after a logged line, also for a point that is not
 * finite or has |latitude| > 90 or |longitude| > 360
 */
int velorix_setup_readfromfile_grid(Velorix* grid, const char* name, Pf* pf);
/**
 * Positions from an array, copied in order ("utele"). Reads `compute_distances` (boolean).
 * @param[in,out] grid a record of velorix_new with its stations set
 * @param[in]     name the grid's name; its first 64 bytes are kept
 * @param[in]     nsrc number of positions, 0 or more
 * @param[in]     srcs [nsrc], taken as they are; may be null when nsrc is 0
 * @param[in]     pf   the grid's parameters
 * @return 0, or -1 after a logged line
 */
int velorix_setup_fromsourcearray_grid(Velorix* grid, const char* name, int nsrc,
                                       const Source* srcs, Pf* pf);

/* ---- Travel times ---- */

/**
 * Fills the tables of a packed grid: first P and first S from every node to every station, and the
 * distances where the grid carries them. Of the calculator's arrivals, by increasing time, the
 * first P is the first whose phase does not end in S, the first S the first that neither starts nor
 * ends in P; beyond 102 degrees diffracted P and sPdiff do not count. When none qualifies the last
 * arrival is taken. Nodes are split among pmtcomp_threads() threads, which changes nothing that can
 * be seen; `callback` is called from the calling thread, for some thousand pairs at a time. Beside
 * the tables the pass takes 7 MB and some 15 MB a thread.
 * @param[in,out] grid     a packed record; only its tables are written
 * @param[in]     callback progress function, or null; called after each node of a general mesh,
 * each position of a depth layer, each sample of a distance table
 * @return 0; -1 after a logged line: unknown mode, a faulty VELORIX_THREADS, a failure of the
 * calculator, or a pair without any arrival (the line names node and station). Entries before the
 * failing one are filled, the others stay as they were.
 */
int velorix_compute_travel_times(Velorix* grid, velorix_progress callback);

/* ---- Queries: read only, safe from any thread ---- */

/**
 * P and S travel time from one grid node to one station.
 * @param[in]  grid    a packed or loaded grid
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

/**
 * Whether the tables of a grid hold what a travel-time pass can have computed: times from 0 to 3600
 * s, longer than any first P or S takes through the Earth, and distances from 0 to 180 degrees. A
 * table that was damaged on its way may read back as whole; check it before you trust results to
 * it.
 * @param[in] grid a packed or loaded grid
 * @return 0; -1 after a logged line that names the grid, the first entry at fault with its node and
 *         station, and its value
 */
int velorix_check_times(const Velorix* grid);

/* ---- Projection ---- */

/**
 * A point in the mesh's own coordinates: (0, 0) at position 0, (1, 0) at the end of the first row,
 * (0, 1) at the start of the last row.
 * @param[in]  grid         the grid
 * @param[in]  lat, lon     degrees
 * @param[out] xproj, yproj fractions of the mesh's extent; 0 along an axis of a single column or
 *                          row, and 0 on a general mesh
 * @return 0 always
 */
int velorix_project(const Velorix* grid, double lat, double lon, double* xproj, double* yproj);

/** 1 when a point lies within the mesh's extent, bounds included, or the grid is a general mesh;
 * else 0. */
int velorix_inside(const Velorix* grid, double lat, double lon);

/* ---- Association engine: its records are laid out in velorix_pvt.h ---- */

typedef struct SearchParams SearchParams;
typedef struct SearchThread SearchThread;
typedef struct PickList PickList;
typedef struct StationObs StationObs;
typedef struct GridResults GridResults;

/* ---- Search parameters: make, fill, set up, release ---- */

/**
 * Search parameters for a grid, with defaults that suit a local network: cluster window and
 * pre-window 2 s, residual limits 2 s (P) and 3 s (S), blocks of 11 x 11 columns and rows (or the
 * mesh, when smaller), S tried and associated when the grid has S times, one thread, everything
 * else off.
 * @param[in] grid a usable grid; must outlive the parameters
 * @return the parameters, or null after a logged line; release them with velorix_free_search
 */
SearchParams* velorix_new_search(Velorix* grid);

/**
 * Fills parameters from a table whose keys are named as the fields of SearchParams; absent keys
 * leave their fields. Lists: `station_weights` ("pattern p_weight s_weight p_max_resid s_max_resid
 * [p_max_resid_sweep s_max_resid_sweep]" a line), `p_weights` and `s_weights` ("distance weight" a
 * line, joined by straight lines), `nsta_thresh` ("distance count" a line), `sta_defining_arr` and
 * `drop_if_in_grid` (names). A list replaces what an earlier call read.
 * @param[in,out] sp parameters of velorix_new_search
 * @param[in]     pf parameter node; must outlive the parameters when it holds `relocate_params`
 * @return 0; -1 after a logged line that names the key (fields read before it keep their new
 * values)
 */
int velorix_search_from_pf(SearchParams* sp, Pf* pf);

/** A key of velorix_search_from_pf. */
typedef struct SearchKey {
    const char* name;  ///< of the key, and of the field of SearchParams
    const char* type;  ///< "real", "integer", "boolean", "string", "list" or "table"
    const char* unit;  ///< of its numbers, "" where they have none
    const char* text;  ///< what it is for, in one line
    int engine;        ///< 1: the engine reads it; 0: it is held for the calling program
} SearchKey;

/**
 * The keys of velorix_search_from_pf one by one: those that a program shows, documents, or warns of
 * when it does not heed them.
 * @param[in] i 0, 1, ...
 * @return key number i, constant for the life of the process; null behind the last one
 */
const SearchKey* velorix_search_key(int i);

/**
 * Parameters as the text of a TOML table, which velorix_search_from_pf reads back to the same
 * values: a line "key = value" for each key, in the order of velorix_search_key; texts and lists
 * that are not set have none.
 * @param[in] sp  parameters
 * @param[in] key the one key to show, null: all of them
 * @return the text, "" when nothing is to be shown, released with free; null after a logged line
 * (no memory)
 */
char* velorix_show_search(const SearchParams* sp, const char* key);

/**
 * Checks parameters and makes the scan's threads and scratch, once, after the fields are set and
 * before the first scan. Refused: cluster_twin not above 0, nxd or nyd outside 1 .. nx, 1 .. ny of
 * a regular mesh, number_threads outside 1 .. 4096 or other than in an earlier call, try_S or
 * associate_S on a grid without S times, curves out of order, anything not finite. Warned of: a
 * grid with S times only; closest_stations, p_weights or s_weights on a grid without distances.
 * Patterns get their cache (station_weights_arr).
 * @return 0, or -1 after a logged line
 */
int velorix_setup_search(SearchParams* sp);

/**
 * Releases parameters of velorix_new_search with their threads, scratch, score plot, caches and all
 * that velorix_search_from_pf read; the grid and what a caller put in by hand stay. Null is fine.
 */
void velorix_free_search(SearchParams* sp);

/** velorix_free_search in the shape that freetbl and freearr take. */
void velorix_release_search(void* sp);

/**
 * Releases a SearchThread, its scratch and its station table copy. Only for threads that a caller
 * made by hand (zeroed, from calloc); velorix_free_search releases its own. Null is fine.
 */
void velorix_free_search_thread(void* thread);

/* ---- Picks and station observations ---- */

/**
 * Reads picks from the list `arrivals` of a parameter node: one a line, "station channel phase time
 * snr", or with an arrival identifier in front. Codes have at most 15 characters, times are epoch
 * seconds.
 * @param[in]  pf_phases node with the list
 * @param[out] picktbl list of PickList*, null when there are no lines; release it with
 *                     freetbl(picktbl, free)
 * @param[in]  dbloc2  non-zero: lines start with an arrival identifier
 * @return 0; -1 after a logged line that quotes the unreadable one (the picks before it are in the
 *         list)
 */
int velorix_fill_plist(Pf* pf_phases, Tbl** picktbl, int dbloc2);

/**
 * Groups picks by station, one observation a pick in the order of the list. Picks whose time is not
 * finite are grouped, but take no part in anything; a complaint tells their number.
 * @param[in]     picktbl   picks; they must outlive the map
 * @param[in,out] stao_arr  map from station name to StationObs, made when null, extended otherwise;
 *                          release it with velorix_free_staobs_arr. A map left without any station
 *                          is released and set to null; an empty pick list releases the map without
 *                          its stations, which stay the caller's
 * @param[in]     dbloc2    non-zero: observations carry arrival identifiers
 * @param[in]     reprocess non-zero: picks already part of a solution (`used`) are left out
 * @return 0, or -1 after a logged line (what was grouped before stays)
 */
int velorix_fill_staobs_tbl(Tbl* picktbl, Arr** stao_arr, int dbloc2, int reprocess);

/**
 * Both steps at once. The picks are released; the observations' pick references are null, so that
 * such a map can be scanned but its picks not associated.
 * @return 0, or -1 after a logged line
 */
int velorix_fill_staobs(Pf* pf_phases, Arr** stao_arr, int dbloc2);

/**
 * The stations of a map that take part in a search of one grid, with their selected observations
 * (phase_sifter, channel sifters, det_tmin), coordinates, numbers and initial weights.
 * @param[in,out] stao_arr station map; its records carry the selection of the last grid set up
 * @param[in,out] sp       parameters; the pattern caches grow
 * @param[out]    stao_tbl list of the map's StationObs in key order; release with freetbl(list, 0).
 *                         Untouched when the map is null. After a failure it holds the stations
 *                         listed before; null when memory failed for the list itself
 * @return number of stations listed, or -1 after a logged line
 */
int velorix_setup_staobs(Arr* stao_arr, SearchParams* sp, Tbl** stao_tbl);

/** As velorix_setup_staobs, selecting the observations whose picks are associated (exactly 1). */
int velorix_setup_staobs_from_plist(Arr* stao_arr, SearchParams* sp, Tbl** stao_tbl);

/** Releases one StationObs that no map owns. Null is fine. */
void velorix_free_staobs(void* stao);
/** Releases a station map with its records. 0 always. Null is fine. */
int velorix_free_staobs_arr(Arr* stao_arr);
/** Commits an association pass: every pick's `used` becomes its `used_save`. 0 always. */
int velorix_cleanup_plist(Tbl* plist_tbl);

/* ---- Search ---- */

/**
 * Score of one node: observations are back-projected to origin times, and the best cluster of them
 * marks its members (`used` 1 as P, 2 as S).
 * @param[in,out] sp        parameters that velorix_setup_search has accepted
 * @param[in]  thread_index place in sp's threads_tbl of the scratch to use; one caller at a time
 * each
 * @param[in]  ix, iy, id   node, as velorix_get_ttimes numbers it
 * @param      stao_tbl     stations, null: the thread's own. Afterwards in order of distance from
 * the node when closest_stations is set and the grid carries distances.
 * @param[out] etime        origin time, epoch seconds: weighted mean of the members' origin times
 * @param[out] cluster_width variance found by the cluster search, s^2
 * @param[out] ncluster     score: count (or weight) of members, less the pre-window penalty, plus a
 *                          tightness bonus of at most 0.9
 * @param[out] std          weighted variance of the members about etime, s^2
 * @return 0, or -1 after a logged line (outputs and marks undefined). A call whose scratch has
 * grown to its size does not allocate.
 */
int velorix_node_backproj(SearchParams* sp, int32_t thread_index, int32_t ix, int32_t iy,
                          int32_t id, Tbl* stao_tbl, double* etime, double* cluster_width,
                          double* ncluster, double* std);

/**
 * Origin time, scatter or residuals at a node from the marks of the last back-projection.
 * @param[in]     grid  the grid
 * @param[in]     ix, iy, id node, as velorix_get_ttimes numbers it
 * @param[in,out] stao_tbl stations with their marks; residuals are written into their observations
 * @param[in,out] etime origin time, epoch seconds: output when compute_resids is 0, else input
 * @param[out]    std   weighted standard deviation, s; untouched when compute_resids is set
 * @param[out]    stduw unweighted standard deviation, s; may be null
 * @param[in]     compute_resids 0: etime, std, stduw; else the residual of every observation,
 * unused ones as P
 * @return 0 always; a table without observations gives etime 0
 */
int velorix_node_residual(const Velorix* grid, int32_t ix, int32_t iy, int32_t id, Tbl* stao_tbl,
                          double* etime, double* std, double* stduw, int32_t compute_resids);

/**
 * The node at which the picks agree best. A general mesh is scored node by node. A regular mesh is
 * scored in full at the first depth, in a block of nxd x nyd that follows the best node at the
 * further depths, and in full again at the best of them. Ties go to the first node.
 * @param[in,out] sp       parameters that velorix_setup_search has accepted; grid_type_string gets
 *                         " final depth" appended when a final pass runs (reset it before a scan)
 * @param[in,out] stao_tbl stations of velorix_setup_staobs; its observations then carry the
 *                         solution's marks and residuals
 * @param[out] f, ncluster score of the node (both); 0 when nothing could be scored
 * @param[out] std, stduw  weighted and unweighted standard deviation of the residuals, s
 * @param[out] lat, lon, depth position, degrees and km
 * @param[out] time        origin time, epoch seconds
 * @param[out] ix, iy, id  column, row, depth number; a general mesh: node number, -1, -1
 * @return 0; -1 after a logged line (no stations, an unusable grid, a failed pass; outputs
 * undefined)
 */
int velorix_scan_grid(SearchParams* sp, Tbl* stao_tbl, double* f, double* ncluster, double* std,
                      double* stduw, double* lat, double* lon, double* depth, double* time,
                      int32_t* ix, int32_t* iy, int32_t* id);

/**
 * Scores nodes ioffset .. ioffset + number - 1 at sp's idepth: what every worker of a scan runs.
 * @param[in]     ioffset   first node
 * @param[in]     number    how many nodes
 * @param[in,out] user_data a SearchThread with its thread_index, sp and stao_tbl set
 * @return 0, or -1 after a logged line
 */
int64_t velorix_comp_sub(int32_t ioffset, int32_t number, void* user_data);

/* ---- Association and results ---- */

/**
 * Decides, pick by pick, phase, residual, weight, association and definition for a solution. Picks
 * with `used` set are passed over. A pick that is taken has used_save 1 (velorix_cleanup_plist
 * commits).
 * @param[in,out] stao_tbl  stations as velorix_scan_grid left them
 * @param[in,out] plist_tbl the picks the stations were made from
 * @param[in]     sp        the grid's parameters
 * @param[in]     etime     origin time, epoch seconds
 * @param[in]     elat, elon position, degrees
 * @param[in]     ix, iy, id node
 * @return number of S associations made or confirmed, net of displacements
 */
int velorix_setup_plist(Tbl* stao_tbl, Tbl* plist_tbl, SearchParams* sp, double etime, double elat,
                        double elon, int32_t ix, int32_t iy, int32_t id);

/**
 * Associates the picks of a solution (velorix_setup_plist) and gathers the result.
 * @param[in]     sp_arr   SearchParams by grid name, every grid of the search: a location inside
 *                         another grid of higher priority is a priority fault
 * @param[in]     gridname the solution's grid
 * @param[in,out] stao_tbl stations as velorix_scan_grid left them
 * @param[in]     ptbl     picks; the result lists those with used_save set, of earlier events too
 * @param[in]     std, std_weighted, performance unweighted and weighted scatter (s), score
 * @param[in]     eix, eiy, eid node of the solution
 * @param[in]     etime, elat, elon, edepth origin time (epoch seconds), degrees, km
 * @param[in,out] res      null: a record is made; else the one there is refilled. Release it with
 *                         velorix_free_result. Untouched when the grid is unknown; the refilled
 *                         record is left empty, a new one not handed out, after other failures.
 * @return 0, or -1 after a logged line
 */
int velorix_make_result(Arr* sp_arr, const char* gridname, Tbl* stao_tbl, Tbl* ptbl, double std,
                        double std_weighted, double performance, int32_t eix, int32_t eiy,
                        int32_t eid, double etime, double elat, double elon, double edepth,
                        GridResults** res);

/** Releases a result; the picks stay the caller's. Null is fine. */
void velorix_free_result(GridResults* res);

#ifdef __cplusplus
}
#endif
#endif
