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

// A sum of two doubles and what rounding left out of it (Knuth 1969, TAOCP 2, 4.2.2).
struct Angle {
    double value;
    double rest;

    double sin() const { return std::sin(value) + rest * std::cos(value); }
    double cos() const { return std::cos(value) - rest * std::sin(value); }
};

Angle sum(double a, double b) {
    const double value = a + b;
    const double from_b = value - a;
    return {value, (a - (value - from_b)) + (b - from_b)};
}

// Longitudes -pi and pi name one meridian: as doubles they are not quite a full turn apart.
Angle longitude_difference(double lon1, double lon2) {
    const Angle difference = sum(lon2, -lon1);
    return std::fabs(difference.value) == 2.0 * kPi ? Angle{0.0, difference.rest} : difference;
}

double square(double x) { return x * x; }

}  // namespace

// The angle between two unit vectors from both their cross and dot product keeps full relative
// accuracy for every distance (Vincenty 1975, Survey Review 23, with the flattening set to zero).
// Differences of nearly equal products are taken as sines and cosines of sums of the latitudes, on
// the side where the longitudes are near each other or near opposite, so that nearly coincident and
// nearly antipodal points lose no digits.
extern "C" void dist(double lat1, double lon1, double lat2, double lon2, double* delta,
                     double* az) {
    const Angle dlon = longitude_difference(lon1, lon2);
    const Angle half{0.5 * dlon.value, 0.5 * dlon.rest};
    const double sin1 = std::sin(lat1);
    const double cos1 = std::cos(lat1);
    const double cos2 = std::cos(lat2);

    const double east = cos2 * dlon.sin();
    double north = 0.0;  // cos1 sin2 - sin1 cos2 cos(dlon)
    double along = 0.0;  // sin1 sin2 + cos1 cos2 cos(dlon)
    if (std::fabs(half.sin()) < std::fabs(half.cos())) {
        const double versine = 2.0 * square(half.sin());  // 1 - cos(dlon)
        const Angle dlat = sum(lat2, -lat1);
        north = dlat.sin() + sin1 * cos2 * versine;
        along = dlat.cos() - cos1 * cos2 * versine;
    } else {
        const double vercosine = 2.0 * square(half.cos());  // 1 + cos(dlon)
        const Angle across_pole = sum(lat1, lat2);
        north = across_pole.sin() - sin1 * cos2 * vercosine;
        along = cos1 * cos2 * vercosine - across_pole.cos();
    }
    const double across = std::hypot(east, north);
    *delta = std::atan2(across, along);
    if (az) *az = across == 0.0 ? 0.0 : positive_azimuth(std::atan2(east, north));
}

// The point as a vector in the frame whose x axis lies in the first point's meridian plane; the
// sums of latitude and distance keep its digits near a pole, as above.
extern "C" void latlon(double lat1, double lon1, double delta, double az, double* lat2,
                       double* lon2) {
    const double sin1 = std::sin(lat1);
    const double cos1 = std::cos(lat1);
    const double sind = std::sin(delta);
    double x = 0.0;  // cos1 cosd - sin1 sind cos(az)
    double z = 0.0;  // sin1 cosd + cos1 sind cos(az)
    if (std::cos(az) >= 0.0) {
        const double versine = 2.0 * square(std::sin(0.5 * az));
        const Angle northward = sum(lat1, delta);
        x = northward.cos() + sin1 * sind * versine;
        z = northward.sin() - cos1 * sind * versine;
    } else {
        const double vercosine = 2.0 * square(std::cos(0.5 * az));
        const Angle southward = sum(lat1, -delta);
        x = southward.cos() - sin1 * sind * vercosine;
        z = southward.sin() + cos1 * sind * vercosine;
    }
    const double y = sind * std::sin(az);
    *lat2 = std::atan2(z, std::hypot(x, y));
    *lon2 = wrapped_longitude(lon1 + (x == 0.0 && y == 0.0 ? 0.0 : std::atan2(y, x)));
}
