#ifndef VELORIX_PLATFORM_TTCALC_H
#define VELORIX_PLATFORM_TTCALC_H
/** @file
 * Travel-time calculator: arrivals of the P and S families in a spherically symmetric earth.
 *
 * Method "tttaup" is a tau-p calculation (Buland & Chapman 1983, BSSA 73, 1271-1302) on a sphere of
 * radius 6371 km with velocity linear in depth between the model's points.
 */
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

#ifdef __cplusplus
}
#endif
#endif
