#ifndef VELORIX_PLATFORM_TTCALC_H
#define VELORIX_PLATFORM_TTCALC_H
/** @file
 * Travel-time calculator: arrivals of the P and S families in a spherically symmetric earth.
 *
 * Method "tttaup" is a tau-p calculation (Buland & Chapman 1983, BSSA 73, 1271-1302) on a sphere of
 * radius 6371 km with velocity linear in depth between the model's points.
 */
#include <stdint.h>

#include "platform/containers/containers.h"
#ifdef __cplusplus
extern "C" {
#endif

/** One end of a ray path. */
typedef struct TTPoint {
    double lat;     ///< latitude, degrees
    double lon;     ///< longitude, degrees
    double z;       ///< depth, km, positive downward; a station at elevation e km has z = -e
    double time;    ///< time at the point, seconds; not used
    char name[16];  ///< point name; not used, need not be filled
} TTPoint;

/** A source and a receiver. */
typedef struct TTGeometry {
    TTPoint source;    ///< where the ray starts
    TTPoint receiver;  ///< where it ends
} TTGeometry;

/** One arrival. */
typedef struct TTTime {
    double value;     ///< travel time, seconds
    double deriv[3];  ///< dT/d(distance) s/deg, dT/d(source depth) s/km, 0
    char phase[16];   ///< phase name, NUL-terminated
} TTTime;

/** The horizontal slowness of one arrival at the receiver. */
typedef struct TTSlow {
    double ux;          ///< slowness eastward, s/km at the surface (p in s/rad divided by 6371)
    double uy;          ///< slowness northward, s/km
    double uxderiv[3];  ///< derivatives of ux; 0
    double uyderiv[3];  ///< derivatives of uy; 0
    char phase[16];     ///< phase name, NUL-terminated
} TTSlow;

/**
 * Travel times of all direct, diffracted and core-transmitted arrivals of the P and S families.
 *
 * @param[in]     method   "tttaup"
 * @param[in]     model    a built-in earth model ("iasp91", "ak135", "prem") or a model file; read
 * as at most 64 characters, a terminator is not needed
 * @param[in]     phases   "P,S", "P" or "S"
 * @param[in]     mode     0
 * @param[in]     geometry source and receiver
 * @param[in,out] times    list of TTTime by increasing time; null before the first call. The list
 * and its records belong to the hook, stay valid until the next call with it, and are reused
 * @param[in,out] hook     the calculator's state, null at first; release it with freehook
 * @return the number of arrivals; -1 after a logged line: unknown method or model, a faulty model
 *         file, or a geometry outside the model (not a number, a depth outside the mantle, a
 * receiver higher than 10 km) One hook serves one thread at a time.
 */
int ttcalc(const char* method, const char* model, const char* phases, int mode,
           const TTGeometry* geometry, Tbl** times, Hook** hook);

/**
 * Horizontal slownesses of the same arrivals, in the same order, as a list of TTSlow. x is east and
 * y north at the receiver, in the direction of propagation. Arguments, result and failures as
 * ttcalc.
 */
int ucalc(const char* method, const char* model, const char* phases, int mode,
          const TTGeometry* geometry, Tbl** slows, Hook** hook);

/** Receivers prepared for many sources. */
typedef struct TTReceivers TTReceivers;

/** Where a call for many puts the answers of one family; arrays by receiver. */
typedef struct TTFirst {
    double* time;         ///< travel time, seconds
    double* by_distance;  ///< dT/d(distance), s/deg, negative for the long way round; may be null
    double* by_depth;     ///< dT/d(source depth), s/km; may be null
} TTFirst;

/**
 * Prepares receivers for ttfirst.
 * @param[in] n    number of receivers, 0 or more
 * @param[in] lat, lon [n] coordinates, degrees; copied. When `lon` is null, `lat` holds distances
 *                 from the source instead, degrees; beyond 180 they are those of the shorter way
 * @param[in] elev [n] elevations, km, copied; null: all at the surface
 * @return the receivers, or null after a logged line; release them with ttreceivers_free. Any
 * number of threads may use them at a time.
 */
TTReceivers* ttreceivers_new(int64_t n, const double* lat, const double* lon, const double* elev);

/** Releases receivers. Null is fine. */
void ttreceivers_free(TTReceivers* receivers);

/**
 * First P and first S of one source at many receivers: what ttcalc lists for "P,S", chosen as grids
 * choose. The first P is the earliest arrival whose name does not end in S, beyond 102 degrees the
 * earliest that is not diffracted either; the first S the earliest of the S family. Where none
 * qualifies it is the last arrival of the list.
 *
 * Times are those of ttcalc to 1e-9 s (TTFIRST_TIME_ERROR), derivatives to rounding but where two
 * branches arrive within that time. A pair of depth and receiver's radius that is asked for some
 * thousand times gets a table of what can be first (about 1 ms and 0.4 MB; 12 MiB a hook at most);
 * then a receiver costs about 50 ns for both families, else what ttcalc costs. Receivers at and
 * above the surface share one table of a depth, at whatever elevation.
 *
 * @param[in]     method, model  as for ttcalc
 * @param[in]     source    lat and lon in degrees (unused when the receivers are distances), z in
 * km
 * @param[in]     receivers n receivers
 * @param[out]    p, s      [n] arrays; null for a family that is not wanted. A receiver that ttcalc
 *                          would refuse, or without arrivals, gets NaN, and so does every receiver
 * of a source that ttcalc would refuse: ask ttcalc for the reason
 * @param[out]    distance  [n] degrees, to 1e-10 (TTFIRST_DISTANCE_ERROR); may be null
 * @param[in,out] hook      as for ttcalc, and the same one where both are called
 * @return 0, or -1 after a logged line: unknown method or model, a faulty model file, no memory.
 *         One hook serves one thread at a time.
 */
int ttfirst(const char* method, const char* model, const TTPoint* source,
            const TTReceivers* receivers, TTFirst* p, TTFirst* s, double* distance, Hook** hook);

/** How far a time of ttfirst may be from that of ttcalc, seconds. */
#define TTFIRST_TIME_ERROR 1e-9
/** How far a distance of ttfirst may be from that of dist, degrees. */
#define TTFIRST_DISTANCE_ERROR 1e-10

/**
 * A state for another thread that shares the models which `hook` has open.
 * @return null when memory fails or `hook` is null; release it with freehook, in any order
 */
Hook* ttshare(const Hook* hook);

#ifdef __cplusplus
}
#endif
#endif
