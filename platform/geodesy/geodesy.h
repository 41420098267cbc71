#ifndef VELORIX_PLATFORM_GEODESY_H
#define VELORIX_PLATFORM_GEODESY_H
/** @file
 * Great circles on the sphere. Every angle is in radians; azimuths run clockwise from north.
 */
#ifdef __cplusplus
extern "C" {
#endif

/**
 * Great-circle distance and azimuth from a first point to a second.
 * @param[in]  lat1, lon1 first point
 * @param[in]  lat2, lon2 second point
 * @param[out] delta distance, 0 .. pi, accurate to 1e-12 relative also for nearly coincident,
 * nearly antipodal and polar points
 * @param[out] az    azimuth at the first point toward the second, 0 .. 2 pi (2 pi excluded); 0 for
 *                   coincident points. May be null.
 */
void dist(double lat1, double lon1, double lat2, double lon2, double* delta, double* az);

/**
 * The point reached from a first point by going `delta` along azimuth `az`.
 * @param[in]  lat1, lon1 first point
 * @param[in]  delta distance
 * @param[in]  az   azimuth at the first point, clockwise from north
 * @param[out] lat2 latitude, -pi/2 .. pi/2
 * @param[out] lon2 longitude in (-pi, pi]
 */
void latlon(double lat1, double lon1, double delta, double az, double* lat2, double* lon2);

#ifdef __cplusplus
}
#endif
#endif
