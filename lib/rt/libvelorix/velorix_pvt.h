#ifndef VELORIX_PVT_H
#define VELORIX_PVT_H
/** @file
 * What the library's units share and most callers never see; the engine's records.
 */
#include "platform/pmtcomp/pmtcomp.h"
#include "velorix.h"
#ifdef __cplusplus
extern "C" {
#endif

/* ---- Shared by the units ---- */

extern Hook* hook;  ///< state of the travel-time calculator, shared by every grid of the process;
                    ///< the shared library keeps it to itself

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

/* ---- Engine records ---- */

/** A station count asked of a distance range; for the calling program. */
typedef struct nsta_thresh_entry_ {
    double distance;  ///< degrees
    int thresh;       ///< stations
} nsta_thresh_entry_;

/** A station weight pattern. */
typedef struct station_weights_ {
    const char* sta_expr;      ///< pattern on station names; with '_': on "network_code"
    double p_weight;           ///< initial P weight of matching stations
    double s_weight;           ///< initial S weight of matching stations
    double p_max_resid;        ///< largest P residual for association, s
    double s_max_resid;        ///< largest S residual for association, s
    double p_max_resid_sweep;  ///< for the calling program
    double s_max_resid_sweep;  ///< for the calling program
    Hook* match_hook;          ///< compiled pattern; null at first
} station_weights_;

/** A node of a curve of weight against distance; nodes stand in increasing distance. */
typedef struct weights_ {
    double distance;  ///< degrees
    double weight;    ///< at this distance
    double slope;     ///< weight per degree on the segment that starts here
} weights_;

/** One pick. */
struct PickList {
    char sta[16];               ///< station code
    char chan[16];              ///< channel code
    char phase[16];             ///< as picked
    char ophase[16];            ///< as associated: "P", "S" or empty
    double time;                ///< epoch seconds
    double snr;                 ///< signal-to-noise ratio
    double resid;               ///< s; 0 until an association pass, 999.999 from its first step
    double delta;               ///< station distance, degrees
    double seaz;                ///< station to event, degrees, 0 .. 360
    double esaz;                ///< event to station, degrees, 0 .. 360
    double weight;              ///< the station's node weight for the phase; 1.0 without a station
    int64_t arid;               ///< arrival identifier; -1 without
    int defining;               ///< 1: associated, and in the cluster of the solution
    int associated;             ///< 1: the pick of its station and phase
    int used;                   ///< non-zero: taken by an event
    int used_save;              ///< the pass's proposal for `used`
    int defining_P;             ///< in the solution's cluster as P
    int defining_S;             ///< in the solution's cluster as S
    StationObs* stao;           ///< null when the pick was left out
    struct sta_obs2* stao_obs;  ///< null when the pick was left out
};

/** One observation. */
typedef struct sta_obs2 {
    int64_t arid;        ///< set only when picks carry identifiers
    double time;         ///< epoch seconds
    double snr;          ///< signal-to-noise ratio
    double resid;        ///< at the node last evaluated, s
    double resid_save;   ///< for the calling program
    int useforP;         ///< 1: may serve as P
    int useforS;         ///< 1: may serve as S
    int used;            ///< at the current node: 0 no, 1 as P, 2 as S
    int used_save;       ///< for the calling program
    char phase[16];      ///< as picked
    char chan[16];       ///< channel code
    PickList* plist;     ///< its pick; null when the pick was released
    StationObs* parent;  ///< its station
} sta_obs2;

/** All observations of one station. */
struct StationObs {
    char sta[16];             ///< first, so that the record also serves as its station's name
    double lat;               ///< degrees
    double lon;               ///< degrees
    double elev;              ///< km
    double p_weight_initial;  ///< before distance weighting; 0 when left out
    double s_weight_initial;  ///< the same for S
    double distance;          ///< from the current node, degrees
    double p_weight;          ///< at the current node
    double s_weight;          ///< at the current node
    int is;                   ///< number in the grid; -1 when left out
    int used;                 ///< 1: excluded at the current node
    int nobs_orig;            ///< entries of obs_orig
    int nobs;                 ///< entries of obs in use
    int defining_P;           ///< for the calling program
    int defining_S;           ///< for the calling program
    PickList* minresid_P;     ///< the pick associated as P
    PickList* minresid_S;     ///< the pick associated as S
    sta_obs2* obs_orig;       ///< [nobs_orig] in the order of the picks, owned
    sta_obs2** obs;           ///< [nobs_orig] the selected ones, owned
    int obs_capacity;         ///< entries that obs_orig and obs have room for; 0: nobs_orig
};

/** One cell of the cluster search. */
typedef struct bufsort {
    double* data_ptr;    ///< its candidate
    double* weight_ptr;  ///< null when unweighted
    int group_index;     ///< station and phase
    int subgroup_index;  ///< observation
    int used;            ///< in the best cluster so far
    int used_tmp;        ///< in the cluster being scored
} bufsort;

/** More workers than this are a mistake; each takes memory of its own. */
enum { VELORIX_MOST_THREADS = 4096 };

/**
 * Scratch and best-so-far node of one worker. Workers leave out nodes that cannot beat the best
 * score of any of them: after a pass of several threads only the fields of the worker with the
 * largest zmax stand for its whole share of the nodes.
 */
struct SearchThread {
    int thread_index;        ///< place in threads_tbl
    int cycle;               ///< threaded passes taken part in
    SearchParams* sp;        ///< the parameters it works by
    Tbl* stao_tbl;           ///< the worker's own copy of the stations
    int backproj_nbuf;       ///< capacity of the six arrays
    double* backproj_buf;    ///< origin-time candidates; after a call 0.0 outside the best cluster
    double* backproj_wt;     ///< their weights
    int* backproj_group;     ///< one per station and phase
    int* backproj_subgroup;  ///< one per observation
    int* backproj_ptype;     ///< 'P' or 'S'
    sta_obs2** backproj_staobs_p;   ///< observations
    int cluster_nbuf;               ///< cluster handles: empty between calls
    bufsort* cluster_buf;           ///< null between calls
    int cluster_ngrp;               ///< 0 between calls
    double** cluster_group_ptr;     ///< null between calls
    int cluster_nsubgrp;            ///< 0 between calls
    double** cluster_subgroup_ptr;  ///< null between calls
    double zmax;                    ///< best score; -1e20 before the first node
    double f;                       ///< the same
    double std;                     ///< square root of the best node's variance, s
    double ncluster;                ///< the same as zmax
    double etime;                   ///< the best node's origin time, epoch seconds
    int ixmax;                      ///< column; general mesh: node number
    int iymax;                      ///< row; general mesh: node number
    struct SearchScratch* scratch;  ///< the library's own; null at first
};

/** Parameters and state of the search of one grid. */
struct SearchParams {
    Velorix* velorix;                 ///< grid searched
    double cluster_twin;              ///< width of the cluster window, s
    double cluster_prewin;            ///< length of the pre-window, s
    double p_max_resid;               ///< default largest P residual for association, s
    double s_max_resid;               ///< default largest S residual for association, s
    double p_max_resid_sweep;         ///< for the calling program
    double s_max_resid_sweep;         ///< for the calling program
    double p_deltim;                  ///< for the calling program
    double s_deltim;                  ///< for the calling program
    int nxd;                          ///< columns of the block searched at further depths
    int nyd;                          ///< rows
    int try_S;                        ///< non-zero: back-project as S too
    int associate_S;                  ///< non-zero: S picks may be associated
    int reprocess_S;                  ///< for the calling program
    int nnsta_thresh;                 ///< entries of nsta_thresh
    nsta_thresh_entry_* nsta_thresh;  ///< for the calling program
    int drop_if_on_edge;              ///< for the calling program
    int no_output;                    ///< for the calling program
    int priority;                     ///< against other grids that contain a solution
    Tbl* drop_if_in_grid;             ///< for the calling program: grid names
    char* phase_sifter;               ///< pattern or null: phases used
    char* p_channel_sifter;           ///< pattern or null: channels that may serve as P
    char* s_channel_sifter;           ///< pattern or null: channels that may serve as S
    double det_tmin;          ///< smallest time between two P of a station, s; 0 or less: none
    char* auth;               ///< for the calling program
    char* dtype;              ///< for the calling program
    char* algorithm;          ///< for the calling program
    char* relocate;           ///< for the calling program
    int use_swt;              ///< non-zero: station-density weighting
    int use_only_relocation;  ///< for the calling program
    int dont_apply_weights_for_relocation;  ///< for the calling program
    int drop_original_if_relocation_fails;  ///< for the calling program
    double drop_relocation_depth;           ///< for the calling program
    Pf* relocate_params;                    ///< for the calling program
    double orphan_time_range;               ///< for the calling program
    int closest_stations;                   ///< use only so many nearest stations; 0: all
    int nstation_weights;                   ///< entries of station_weights
    station_weights_* station_weights;      ///< tried in order
    Arr* station_weights_arr;       ///< cache: name to pattern entry, or to 1 (no match); null: no
                                    ///< patterns
    double swt_dist_near;           ///< density weighting: near up to, degrees
    double swt_dist_far;            ///< far from, degrees
    double swt_wt_near;             ///< count of a near neighbour
    double swt_wt_far;              ///< count of a far neighbour
    int use_dwt;                    ///< entries of p_weights
    weights_* p_weights;            ///< P weight against distance
    int use_dwts;                   ///< entries of s_weights
    weights_* s_weights;            ///< S weight against distance
    double sta_defining_xmin;       ///< for the calling program
    double sta_defining_xmax;       ///< for the calling program
    double sta_defining_ymin;       ///< for the calling program
    double sta_defining_ymax;       ///< for the calling program
    Arr* sta_defining_arr;          ///< null, or: only stations with an entry take part
    Tbl* origin_cache;              ///< for the calling program
    int origin_cache_maxsize;       ///< for the calling program
    double origin_lat_tolerance;    ///< for the calling program
    double origin_lon_tolerance;    ///< for the calling program
    double origin_depth_tolerance;  ///< for the calling program
    double origin_time_tolerance;   ///< for the calling program
    int number_threads;             ///< 1 (the calling thread) .. VELORIX_MOST_THREADS
    Pmtcomp* threads;               ///< work splitter
    Tbl* threads_tbl;               ///< SearchThread per worker, one at least
    int idepth;                     ///< depth number being scanned
    int plot;                       ///< for the calling program
    int fail;                       ///< for the calling program
    char* bugrid_filename;          ///< not null: keep the score plot
    int bugrid_fd;                  ///< for the calling program
    float* x_buffer;                ///< [nx] score plot: column coordinates, owned
    float* y_buffer;                ///< [ny] row coordinates, owned
    float* plot_buffer;             ///< [ny][nx] scores, owned
    double plist_time_min;          ///< for the calling program
    double plist_time_max;          ///< for the calling program
    int recursion_cycle;            ///< for the calling program
    char grid_type_string[128];     ///< text of the scan step
    Hook* hook_phase_sifter;        ///< compiled patterns; null at first
    Hook* hook_p_channel_sifter;    ///< compiled pattern
    Hook* hook_s_channel_sifter;    ///< compiled pattern
    struct SearchOwned* owned;      ///< the library's own; null in parameters made by hand
};

/** The solution of one grid. */
struct GridResults {
    char* grid_name;           ///< owned
    SearchParams* sp;          ///< the grid's parameters
    Tbl* stao_tbl;             ///< stations at the solution: a deep copy, owned
    Tbl* pick_tbl;             ///< picks with used_save set; the list is owned, the picks are not
    int nsta;                  ///< stations with a used observation
    double nsta_weighted;      ///< sum of their initial P weights
    int nsta_ass;              ///< stations with an associated pick
    double nsta_ass_weighted;  ///< sum of their initial P weights
    int ndef;                  ///< defining picks
    int nass;                  ///< associated picks, defining ones included
    int nsass;                 ///< S associations as velorix_setup_plist counts them
    double performance;        ///< score
    double std;                ///< residual scatter, s
    double std_weighted;       ///< weighted, s
    int priority_fault;        ///< 1: inside another grid of higher priority
    int edge_fault;            ///< 1: on the edge of a regular mesh
    int grid_ix;               ///< the solution's column; general mesh: node number
    int grid_iy;               ///< its row; general mesh: node number
    int grid_id;               ///< its depth number
    double time;               ///< origin time, epoch seconds
    double lat;                ///< degrees
    double lon;                ///< degrees
    double depth;              ///< km
    double dmax;               ///< largest distance to a station with a used observation, degrees
    int use;                   ///< for the calling program
    int fail;                  ///< for the calling program
    char grade[4];             ///< for the calling program
};

#ifdef __cplusplus
}

/* ---- Engine functions that the units share: C++ names, so that they clash with nobody's ---- */

/// A deep copy of a station list, or null after a logged line. Copied observations keep their pick
/// and parent references. Release it with freetbl(list, velorix_free_staobs).
Tbl* velorix_copy_stao_tbl(Tbl* stao_tbl);

/// A station's initial weights and residual limits from the first pattern that matches it. Outputs
/// may be null. 0, or -1 after a logged line (a bad pattern); an unusable name ends the process.
int velorix_get_station_weight(SearchParams* sp, const char* sta, double* p_weight,
                               double* s_weight, double* p_max_resid, double* s_max_resid);

/// Divides every listed station's initial weights by the count of its neighbours. 0, or -1.
int velorix_setup_swt(Arr* stao_arr, SearchParams* sp);

/// Sets p_weight and s_weight of a station at a node. `goff` is the node-station pair's place in
/// the grid's distance table. 0 always.
int getweights(const SearchParams* sp, StationObs* stao, int64_t goff);

/// Weight at a distance (degrees) on a curve of `npts` nodes.
double get_weight(double distance, int npts, const weights_* weights);

/// Orders two list entries (addresses of StationObs pointers) by distance: 1, -1 or 0.
int mydistcompare(const void* a, const void* b, void* user);

/// Orders two cells by value: 1, -1 or 0.
int mycmp(const bufsort* a, const bufsort* b);

/// The tightest cluster of `npts` values: at most one of a group and of a subgroup within `dwin`
/// seconds after its first value. Values outside it become 0.0. The three handle pairs are empty
/// afterwards. 0, or -1 after a logged line.
int find_cluster(int npts, double* data, double* weight, const int* group_index,
                 const int* subgroup_index, double dwin, double prewin, double* ncluster,
                 double* dcluster, double* dclusterwin, int* nbuf, bufsort** buf_ptr, int* ngrp,
                 double*** group_ptr_ptr, int* nsubgrp, double*** subgroup_ptr_ptr);

/// One full pass over a depth (general mesh: over all nodes). 0, or -1 after a logged line.
int velorix_scan_grid_comp(SearchParams* sp, Tbl* stao_tbl, int32_t idepth, double* f,
                           double* ncluster, double* std, double* time, int32_t* ix, int32_t* iy,
                           double* zmax);
#endif
#endif
