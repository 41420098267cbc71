#include "platform/geodesy/geodesy.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double kPi = std::numbers::pi;

double positive_azimuth(double az) {
    if (az < 0.0) az += 2.0 * kPi;
    return az >= 2.0 * kPi ? 0.0 : az;
}

double wrapped_longitude(double lon) {
    lon = std::remainder(lon, 2.0 * kPi);
    return lon <= -kPi ? kPi : lon;
}

}  // namespace

// The angle between two unit vectors from both their cross and dot product keeps full relative
// accuracy for every distance (Vincenty 1975, Survey Review 23, with the flattening set to zero).
// Differences of sines are taken as products, so that nearly coincident points lose no digits.
extern "C" void dist(double lat1, double lon1, double lat2, double lon2, double* delta, double* az) {
    const double dlon = lon2 - lon1;
    const double cos1 = std::cos(lat1);
    const double cos2 = std::cos(lat2);
    const double sin1 = std::sin(lat1);
    const double sin_half_dlon = std::sin(0.5 * dlon);
    const double versine = 2.0 * sin_half_dlon * sin_half_dlon;  // 1 - cos(dlon)

    const double east = cos2 * std::sin(dlon);
    // cos1 sin2 - sin1 cos2 cos(dlon), without the cancellation
    const double north = std::sin(lat2 - lat1) + sin1 * cos2 * versine;
    const double across = std::hypot(east, north);
    // sin1 sin2 + cos1 cos2 cos(dlon)
    const double along = std::cos(lat2 - lat1) - cos1 * cos2 * versine;

    *delta = std::atan2(across, along);
    if (az) *az = across == 0.0 ? 0.0 : positive_azimuth(std::atan2(east, north));
}

extern "C" void latlon(double lat1, double lon1, double delta, double az, double* lat2,
                       double* lon2) {
    const double sin1 = std::sin(lat1);
    const double cos1 = std::cos(lat1);
    const double sind = std::sin(delta);
    const double cosd = std::cos(delta);
    const double cosa = std::cos(az);

    // The point in the frame whose x axis lies in the first point's meridian plane.
    const double x = cos1 * cosd - sin1 * sind * cosa;
    const double y = sind * std::sin(az);
    const double z = sin1 * cosd + cos1 * sind * cosa;

    *lat2 = std::atan2(z, std::hypot(x, y));
    *lon2 = wrapped_longitude(lon1 + (x == 0.0 && y == 0.0 ? 0.0 : std::atan2(y, x)));
}
