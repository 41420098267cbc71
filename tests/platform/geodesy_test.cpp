#include "platform/geodesy/geodesy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kRelative = 1e-12;

struct Pair {
    const char* name;
    double lat1, lon1, lat2, lon2;
    double delta, az;
};

// Distances and azimuths in 60-digit arithmetic for the doubles as they stand.
const Pair kPairs[] = {
    {"generic", 0.6, -1.2, -0.3, 2.1, 2.809814416911422146, 5.802190688926078678},
    {"nearly coincident", 0.7, 1.1, 0.7000000009999999, 1.0999999980000001, 1.827548657330359646e-9,
     5.291381619072229219},
    {"nearly coincident across the date line", 0.2, 3.1415926, 0.2, -3.1415926,
     1.050431303987959489e-7, 1.570796316148248273},
    {"nearly antipodal", 0.5, -1.0, -0.499999999, 2.1415926, 3.141592606549694813,
     1.549536278621224292},
    {"near the pole", 1.5707963, 0.3, 1.5707962, -2.5, 1.523063703746539507e-7,
     6.000560488049226725},
    {"across the pole", 1.57, 0.0, 1.57, 3.0, 0.001588663970375426764, 0.07079634916723470425},
    {"south pole to equator", -1.5707963267948966, 0.4, 0.0, 1.0, 1.570796326794896569,
     0.5999999999999999778},
    {"a pico-radian east", 0.0, 0.0, 0.0, 1e-12, 9.999999999999999799e-13, 1.570796326794896619},
};

TEST(Dist, MatchesHighPrecisionReferences) {
    for (const Pair& pair : kPairs) {
        SCOPED_TRACE(pair.name);
        double delta = -1.0;
        double az = -1.0;
        dist(pair.lat1, pair.lon1, pair.lat2, pair.lon2, &delta, &az);
        EXPECT_NEAR(delta, pair.delta, kRelative * pair.delta);
        EXPECT_NEAR(az, pair.az, kRelative * pair.az);
        double alone = -1.0;
        dist(pair.lat1, pair.lon1, pair.lat2, pair.lon2, &alone, nullptr);
        EXPECT_EQ(alone, delta);
    }
}

TEST(Dist, CoincidentPointsAreExactlyZeroApart) {
    for (const double lat : {-kPi / 2, -1.0, 0.0, 0.3, kPi / 2}) {
        for (const double lon : {-kPi, -2.0, 0.0, 1.7, kPi}) {
            double delta = -1.0;
            double az = -1.0;
            dist(lat, lon, lat, lon, &delta, &az);
            EXPECT_EQ(delta, 0.0);
            EXPECT_EQ(az, 0.0);
            dist(lat, -kPi, lat, kPi, &delta, &az);  // the same meridian
            EXPECT_EQ(delta, 0.0);
            EXPECT_EQ(az, 0.0);
        }
    }
}

TEST(Dist, AnAzimuthJustWestOfNorthNeverRoundsToAFullTurn) {
    for (const double west : {1e-9, 1e-15, 1e-16, 1e-17, 1e-300}) {
        double delta = 0.0;
        double az = -1.0;
        dist(0.0, 0.0, 1.0, -west, &delta, &az);
        EXPECT_GE(az, 0.0) << west;
        EXPECT_LT(az, 2.0 * kPi) << west;
    }
}

TEST(Dist, HalfATurnIsTheLargestDistance) {
    double delta = 0.0;
    dist(0.4, 0.3, -0.4, 0.3 - kPi, &delta, nullptr);
    EXPECT_NEAR(delta, kPi, 1e-15);
    dist(kPi / 2, 2.0, -kPi / 2, -1.0, &delta, nullptr);
    EXPECT_NEAR(delta, kPi, 1e-15);
    EXPECT_LE(delta, kPi);
}

// Haversine in extended precision, an arithmetic of its own; beyond a quarter turn from the
// antipode.
double reference_distance(double lat1, double lon1, double lat2, double lon2) {
    const long double pi = std::numbers::pi_v<long double>;
    const auto haversine = [](long double a, long double b, long double dlon) {
        const long double s = std::sin((b - a) / 2);
        const long double t = std::sin(dlon / 2);
        return s * s + std::cos(a) * std::cos(b) * t * t;
    };
    const long double dlon = static_cast<long double>(lon2) - lon1;
    const long double near = haversine(lat1, lat2, dlon);
    if (near <= 0.5L) return static_cast<double>(2 * std::asin(std::sqrt(near)));
    const long double far = haversine(lat1, -static_cast<long double>(lat2), dlon + pi);
    return static_cast<double>(pi - 2 * std::asin(std::sqrt(far)));
}

class RandomPoints {
  public:
    double uniform(double a, double b) { return std::uniform_real_distribution(a, b)(random_); }
    double latitude() { return std::asin(uniform(-1.0, 1.0)); }
    double tiny() { return std::pow(10.0, uniform(-13.0, -1.0)) * uniform(-1.0, 1.0); }

  private:
    std::mt19937 random_{42};
};

TEST(Dist, AgreesWithExtendedPrecisionAtEveryScale) {
    RandomPoints random;
    for (int i = 0; i < 20000; ++i) {
        const double lat1 = random.latitude();
        const double lon1 = random.uniform(-kPi, kPi);
        const bool antipodal = i % 3 == 2;
        double lat2 = i % 3 == 0 ? random.latitude() : (antipodal ? -lat1 : lat1) + random.tiny();
        double lon2 =
            i % 3 == 0 ? random.uniform(-kPi, kPi) : lon1 + (antipodal ? kPi : 0.0) + random.tiny();
        lat2 = std::clamp(lat2, -kPi / 2, kPi / 2);
        double delta = 0.0;
        dist(lat1, lon1, lat2, lon2, &delta, nullptr);
        const double expected = reference_distance(lat1, lon1, lat2, lon2);
        ASSERT_NEAR(delta, expected, kRelative * expected)
            << lat1 << ' ' << lon1 << ' ' << lat2 << ' ' << lon2;
    }
}

TEST(Latlon, IsTheInverseOfDist) {
    RandomPoints random;
    for (int i = 0; i < 20000; ++i) {
        const double lat1 = i % 5 == 0
                                ? std::copysign(kPi / 2 - std::fabs(random.tiny()), i % 2 - 0.5)
                                : random.latitude();
        const double lon1 = random.uniform(-kPi, kPi);
        const double delta = random.uniform(0.01, 3.13);
        const double az = random.uniform(0.0, 2.0 * kPi);
        double lat2 = 0.0;
        double lon2 = 0.0;
        latlon(lat1, lon1, delta, az, &lat2, &lon2);
        ASSERT_GT(lon2, -kPi);
        ASSERT_LE(lon2, kPi);
        double back = 0.0;
        double azimuth = 0.0;
        dist(lat1, lon1, lat2, lon2, &back, &azimuth);
        ASSERT_NEAR(back, delta, 1e-14);
        // Azimuths lose digits only as the end nears the antipode.
        ASSERT_NEAR(std::remainder(azimuth - az, 2.0 * kPi), 0.0, 3e-15 / std::sin(delta));
    }
}

struct Walk {
    const char* name;
    double lat1, lon1, delta, az;
    double lat2, lon2;
};

TEST(Latlon, WalksOverPolesAndTheDateLine) {
    const Walk walks[] = {
        {"nowhere", 0.3, 0.4, 0.0, 1.0, 0.3, 0.4},
        {"longitude -pi comes back as pi", 0.3, -kPi, 0.0, 0.0, 0.3, kPi},
        {"south to the other side of -pi", 0.3, -kPi, 0.1, kPi, 0.2, kPi},
        {"east over the date line", 0.0, 3.0, 0.5, kPi / 2, 0.0, 3.5 - 2.0 * kPi},
        {"west over the date line", 0.0, -3.0, 0.5, 1.5 * kPi, 0.0, 2.0 * kPi - 3.5},
        {"over the north pole", 1.5, 0.4, 0.2, 0.0, kPi - 1.7, 0.4 - kPi},
        {"over the south pole", -1.5, 0.4, 0.2, kPi, 1.7 - kPi, 0.4 - kPi},
        {"a quarter turn east", 0.9, 0.1, kPi / 2, kPi / 2, 0.0, 0.1 + kPi / 2},
        {"from the pole along a meridian", kPi / 2, 0.0, 1.0, kPi / 3, kPi / 2 - 1.0,
         2.0 * kPi / 3},
        {"to the antipode", 0.5, 1.0, kPi, 2.0, -0.5, 1.0 - kPi},
    };
    for (const Walk& walk : walks) {
        SCOPED_TRACE(walk.name);
        double lat = 9.0;
        double lon = 9.0;
        latlon(walk.lat1, walk.lon1, walk.delta, walk.az, &lat, &lon);
        EXPECT_NEAR(lat, walk.lat2, 1e-15);
        EXPECT_NEAR(std::remainder(lon - walk.lon2, 2.0 * kPi), 0.0, 3e-15);
        EXPECT_GT(lon, -kPi);
        EXPECT_LE(lon, kPi);
    }
}

TEST(Latlon, KeepsTheLongitudeOfAPointReachedAtThePole) {
    double lat = 0.0;
    double lon = 0.0;
    latlon(1.0, 0.7, kPi / 2 - 1.0, 0.0, &lat, &lon);
    EXPECT_NEAR(lat, kPi / 2, 1e-15);
    EXPECT_NEAR(lon, 0.7, 1e-15);
}

}  // namespace
