// Local frames about a reference point, and a point's place relative to a mesh.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "laid_out_grid.h"
#include "velorix_pvt.h"

namespace {

using namespace velorix_test;

constexpr long double kRadian = 3.141592653589793238L / 180.0L;

struct Offsets {
    double east;
    double north;
};

Offsets offsets(double lat1, double lon1, double lat2, double lon2) {
    Offsets result{};
    latlon2xydel(lat1, lon1, lat2, lon2, &result.east, &result.north);
    return result;
}

TEST(LocalFrame, OffsetsPointEastAndNorth) {
    const struct {
        const char* name;
        double lat1, lon1, lat2, lon2, east, north;
    } cases[] = {
        {"same point", 12.0, 34.0, 12.0, 34.0, 0.0, 0.0},
        {"due north", 10.0, 20.0, 11.0, 20.0, 0.0, 1.0},
        {"due south", 10.0, 20.0, 7.0, 20.0, 0.0, -3.0},
        {"east on the equator", 0.0, 20.0, 0.0, 21.0, 1.0, 0.0},
        {"west on the equator", 0.0, 20.0, 0.0, -10.0, -30.0, 0.0},
        {"across the date line", 0.0, 179.5, 0.0, -179.5, 1.0, 0.0},
        {"across the north pole", 89.0, 0.0, 89.0, 180.0, 0.0, 2.0},
        {"to the south pole", -88.0, 77.0, -90.0, 0.0, 0.0, -2.0},
        {"a quarter turn", 0.0, 0.0, 0.0, 90.0, 90.0, 0.0},
    };
    for (const auto& c : cases) {
        const Offsets got = offsets(c.lat1, c.lon1, c.lat2, c.lon2);
        EXPECT_NEAR(got.east, c.east, 1e-12) << c.name;
        EXPECT_NEAR(got.north, c.north, 1e-12) << c.name;
    }
}

TEST(LocalFrame, ZeroOffsetsReturnTheReferencePointUnchanged) {
    double lat = 0.0;
    double lon = 0.0;
    xydel2latlon(91.5, 361.25, 0.0, 0.0, &lat, &lon);
    EXPECT_EQ(lat, 91.5);
    EXPECT_EQ(lon, 361.25);
}

// The spherical sine and cosine rules in extended precision, against offsets of up to 170 degrees.
TEST(LocalFrame, PointsAgreeWithSphericalTrigonometry) {
    std::mt19937 random(20240611);
    std::uniform_real_distribution<double> lats(-89.9, 89.9);
    std::uniform_real_distribution<double> lons(-180.0, 180.0);
    std::uniform_real_distribution<double> dels(-120.0, 120.0);
    for (int i = 0; i < 2000; ++i) {
        const double lat1 = lats(random);
        const double lon1 = lons(random);
        const double east = dels(random);
        const double north = dels(random);
        double lat = 0.0;
        double lon = 0.0;
        xydel2latlon(lat1, lon1, east, north, &lat, &lon);
        const long double delta = std::hypot(1.0L * east, 1.0L * north) * kRadian;
        const long double az = std::atan2(1.0L * east, 1.0L * north);
        const long double sin1 = std::sin(lat1 * 1.0L * kRadian);
        const long double cos1 = std::cos(lat1 * 1.0L * kRadian);
        const long double want_lat =
            std::asin(sin1 * std::cos(delta) + cos1 * std::sin(delta) * std::cos(az)) / kRadian;
        const long double dlon =
            std::atan2(std::sin(delta) * std::sin(az),
                       cos1 * std::cos(delta) - sin1 * std::sin(delta) * std::cos(az)) /
            kRadian;
        ASSERT_NEAR(lat, static_cast<double>(want_lat), 1e-9) << lat1 << ' ' << lon1;
        ASSERT_NEAR(std::remainder(lon - lon1 - static_cast<double>(dlon), 360.0), 0.0, 1e-9);
        ASSERT_TRUE(lon > -180.0 && lon <= 180.0) << lon;
    }
}

TEST(LocalFrame, OffsetsSurviveTheRoundTrip) {
    for (const double lat : {-90.0, -89.9999, -45.0, 0.0, 60.0, 89.9999, 90.0}) {
        for (const double lon : {-180.0, -179.99, 0.0, 123.0, 180.0}) {
            for (const Offsets want : {Offsets{0.01, 0.0}, Offsets{-3.0, 4.0}, Offsets{0.0, -20.0},
                                       Offsets{-70.0, -70.0}, Offsets{1e-7, 1e-7}}) {
                double lat2 = 0.0;
                double lon2 = 0.0;
                xydel2latlon(lat, lon, want.east, want.north, &lat2, &lon2);
                EXPECT_TRUE(lon2 > -180.0 && lon2 <= 180.0) << lon2;
                const Offsets got = offsets(lat, lon, lat2, lon2);
                // Longitudes of points within 1e-4 degree of a pole carry few digits of direction.
                const double tolerance = std::fabs(lat2) > 89.999 ? 1e-7 : 1e-9;
                EXPECT_NEAR(got.east, want.east, tolerance) << lat << ' ' << lon;
                EXPECT_NEAR(got.north, want.north, tolerance) << lat << ' ' << lon;
            }
        }
    }
}

GridPtr mesh(const std::string& reference, int nx, int ny, double strike) {
    GridPtr grid = grid_with_stations({{"A", 0.0, 0.0}});
    const PfPtr pf = parameters(
        reference + "\nstrike = " + std::to_string(strike) + "\nnx = " + std::to_string(nx) +
        "\nny = " + std::to_string(ny) +
        "\nxmin = -2.0\nxmax = 3.0\nymin = -1.0\nymax = 1.5\ndepths = [5]\nmethod = \"tttaup\"\n"
        "model = \"iasp91\"\ncompute_P = true\n");
    EXPECT_EQ(velorix_setup_edp_grid(grid.get(), "mesh", pf.get()), 0);
    return grid;
}

TEST(Project, MeshPositionsFallOnTheirFractions) {
    for (const char* reference :
         {"latr = 0.0\nlonr = 0.0", "latr = 47.0\nlonr = 180.0", "latr = 47.0\nlonr = -180.0",
          "latr = 90.0\nlonr = 0.0", "latr = -90.0\nlonr = 33.0", "latr = 89.5\nlonr = -120.0",
          "latr = -89.9\nlonr = 179.9"}) {
        for (const double strike : {90.0, 0.0, 37.0, 200.0, -45.0}) {
            const GridPtr grid = mesh(reference, 6, 4, strike);
            for (int iy = 0; iy < 4; ++iy) {
                for (int ix = 0; ix < 6; ++ix) {
                    const Source& at = grid->sources[iy * 6 + ix];
                    ASSERT_TRUE(std::fabs(at.lat) <= 90.0 && at.lon > -180.0 && at.lon <= 180.0)
                        << at.lat << ' ' << at.lon;
                    double x = 0.0;
                    double y = 0.0;
                    EXPECT_EQ(velorix_project(grid.get(), at.lat, at.lon, &x, &y), 0);
                    EXPECT_NEAR(x, ix / 5.0, 1e-10) << reference << " strike " << strike;
                    EXPECT_NEAR(y, iy / 3.0, 1e-10) << reference << " strike " << strike;
                }
            }
        }
    }
}

TEST(Project, AnAxisWithoutLengthGivesZero) {
    const struct {
        const char* name;
        int nx, ny;
        double x;
    } cases[] = {{"one column", 1, 4, 0.0}, {"one row", 6, 1, 0.8}, {"one position", 1, 1, 0.0}};
    for (const auto& c : cases) {
        const GridPtr grid = mesh("latr = 0.0\nlonr = 0.0", c.nx, c.ny, 90.0);
        double x = -1.0;
        double y = -1.0;
        velorix_project(grid.get(), -1.0, 2.0, &x, &y);
        EXPECT_NEAR(x, c.x, 1e-3) << c.name;
        EXPECT_EQ(y, 0.0) << c.name;
    }
}

TEST(Inside, CountsTheBoundsAndEverythingOfAGeneralMesh) {
    const GridPtr grid = mesh("latr = 0.0\nlonr = 0.0", 6, 4, 90.0);
    const struct {
        const char* name;
        double lat, lon;
        int inside;
    } cases[] = {{"middle", 0.2, 0.3, 1},
                 {"first corner", grid->sources[0].lat, grid->sources[0].lon, 1},
                 {"beyond x", 0.0, 3.1, 0},
                 {"before x", 0.0, -2.1, 0},
                 {"beyond y", 1.6, 0.0, 0},
                 {"before y", -1.1, 0.0, 0},
                 {"antipode", -0.2, 179.7, 0},
                 {"just within", 1.4, 2.9, 1}};
    for (const auto& c : cases)
        EXPECT_EQ(velorix_inside(grid.get(), c.lat, c.lon), c.inside) << c.name;
    grid->mode = VELORIX_MODE_GENERAL;
    EXPECT_EQ(velorix_inside(grid.get(), 80.0, 170.0), 1);
    const GridPtr column = mesh("latr = 0.0\nlonr = 0.0", 1, 4, 90.0);
    EXPECT_EQ(velorix_inside(column.get(), 80.0, 170.0), 1);
}

}  // namespace
