// Local frames about a reference point, and a point's place relative to a mesh.
#include <cmath>
#include <utility>

#include "laid_out_grid.h"
#include "velorix_pvt.h"

namespace {

using namespace velorix_test;

struct Offsets {
    double east;
    double north;
};

Offsets offsets(double lat1, double lon1, double lat2, double lon2) {
    Offsets result{};
    latlon2xydel(lat1, lon1, lat2, lon2, &result.east, &result.north);
    return result;
}

TEST(LocalFrame, PointsEastAndNorthEvenToTheReferenceItselfOrAPole) {
    double lat = 0.0;
    double lon = 0.0;
    xydel2latlon(91.5, 361.25, 0.0, 0.0, &lat, &lon);
    EXPECT_TRUE(lat == 91.5 && lon == 361.25);
    const struct {
        double lat1, lon1, lat2, lon2, east, north;
    } cases[] = {{12.0, 34.0, 12.0, 34.0, 0.0, 0.0},
                 {0.0, 20.0, 0.0, -10.0, -30.0, 0.0},
                 {-88.0, 77.0, -90.0, 0.0, 0.0, -2.0}};
    for (const auto& c : cases) {
        const Offsets got = offsets(c.lat1, c.lon1, c.lat2, c.lon2);
        EXPECT_NEAR(got.east, c.east, 1e-12) << c.lat2;
        EXPECT_NEAR(got.north, c.north, 1e-12) << c.lat2;
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

GridPtr mesh(Keys changes) {
    changes.merge(Keys{
        {"nx", "6"}, {"ny", "4"}, {"xmin", "-2"}, {"xmax", "3"}, {"ymin", "-1"}, {"ymax", "1.5"}});
    const PfPtr pf = changed(mesh_keys("0", {"depths", "[5]"}), changes);
    GridPtr grid = grid_with_stations({{"A", 0.0, 0.0}});
    EXPECT_EQ(velorix_setup_edp_grid(grid.get(), "mesh", pf.get()), 0);
    return grid;
}

TEST(Project, MeshPositionsFallOnTheirFractions) {
    const std::pair<const char*, const char*> references[] = {
        {"0", "0"},    {"47", "180"},    {"47", "-180"},    {"90", "0"},
        {"-90", "33"}, {"89.5", "-120"}, {"-89.9", "179.9"}};
    for (const auto& [latr, lonr] : references) {
        for (const char* strike : {"90", "0", "37", "200", "-45"}) {
            const GridPtr grid = mesh({{"latr", latr}, {"lonr", lonr}, {"strike", strike}});
            for (int i = 0; i < 24; ++i) {
                const Source& at = grid->sources[i];
                ASSERT_TRUE(std::fabs(at.lat) <= 90.0 && at.lon > -180.0 && at.lon <= 180.0)
                    << at.lat << ' ' << at.lon;
                const int column = i % 6, row = i / 6;
                double x = 0.0;
                double y = 0.0;
                EXPECT_EQ(velorix_project(grid.get(), at.lat, at.lon, &x, &y), 0);
                EXPECT_NEAR(x, column / 5.0, 1e-10) << latr << " strike " << strike;
                EXPECT_NEAR(y, row / 3.0, 1e-10) << latr << " strike " << strike;
            }
        }
    }
}

TEST(Inside, CountsTheBoundsAndEverythingOfAGeneralMesh) {
    const GridPtr grid = mesh({});
    const Source& corner = grid->sources[0];
    const struct {
        double lat, lon;
        int inside;
    } cases[] = {{0.2, 0.3, 1},    {corner.lat, corner.lon, 1},
                 {0.0, 3.1, 0},    {0.0, -2.1, 0},
                 {1.6, 0.0, 0},    {-1.1, 0.0, 0},
                 {-0.2, 179.7, 0}, {1.4, 2.9, 1}};
    for (const auto& c : cases)
        EXPECT_EQ(velorix_inside(grid.get(), c.lat, c.lon), c.inside) << c.lat << ' ' << c.lon;
    grid->mode = VELORIX_MODE_GENERAL;
    EXPECT_EQ(velorix_inside(grid.get(), 80.0, 170.0), 1);
    double x = -7.0, y = -7.0;
    EXPECT_EQ(velorix_project(grid.get(), 0.2, 0.3, &x, &y), 0);
    EXPECT_TRUE(x == 0.0 && y == 0.0) << "a list has no axes";
    const GridPtr column = mesh({{"nx", "1"}});
    EXPECT_EQ(velorix_inside(column.get(), 80.0, 170.0), 1);
}

}  // namespace
