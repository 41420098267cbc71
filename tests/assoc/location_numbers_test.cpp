// Numbers of a location: weights, the origin time that outliers do not pull, standard errors.
#include <gtest/gtest.h>

#include <array>
#include <deque>

#include "events/location.h"
#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

constexpr double kOrigin = 1e9;

class LocationNumbers : public testing::Test {
  protected:
    LocationNumbers() { tiny_.grid.ttsize = tiny_.grid.nn * tiny_.grid.ns * 4; }
    void use(const std::string& toml) {
        Parameters parameters;
        ASSERT_TRUE(parameters.parse(toml, "test"));
        ASSERT_TRUE(grids_.add(&tiny_.grid, parameters, 1));
        at_.spot = {8.0, 7.0, 2.0};
        at_.time = kOrigin;
    }
    const SearchGrid& grid() const { return grids_.search_grids()[0]; }
    /// A pick at a station with a residual at the spot.
    void add(int station, char phase, double residual) {
        const Times times = grid().times.times(at_.spot, station);
        Waiting& waiting = waiting_.emplace_back();
        waiting.pick.time = kOrigin + (phase == 'S' ? times.s : times.p) + residual;
        at_.members.push_back({&waiting, station, phase, residual, 1.0, true});
    }

    velorix_test::TinyGrid tiny_{
        network(), {.nx = 19, .ny = 19, .depths = {1, 5, 9, 13, 17}, .spacing = 0.05}};
    GridSet grids_;
    Solution at_;
    std::deque<Waiting> waiting_;
};

TEST_F(LocationNumbers, WeightsFallWithTravelTimeAndWithTheError) {
    use("[events.tiny]\nrefine = 0\n[grids.tiny]\np_deltim = 0.1\ns_deltim = 0.25\n");
    for (int station : {0, 5, 10, 15}) {
        add(station, 'P', 0.0);
        add(station, 'S', 0.0);
    }
    Locator(grid()).locate(at_);
    const double scale = 0.35 * grid().rules.window;
    for (const Member& m : at_.members) {
        const double p = grid().times.times(at_.spot, m.station).p;
        const double sigma = m.phase == 'S' ? 0.25 : 0.1;
        EXPECT_NEAR(m.weight, 1.0 / (sigma * sigma * (1.0 + p * p / (scale * scale))), 1e-9);
    }
    EXPECT_NEAR(at_.time, kOrigin, 1e-6);
}

// The Huber estimate, whose equation is solved here by bisection: residuals beyond 1.5 deviations
// count as 1.5.
TEST_F(LocationNumbers, OutliersPullTheOriginTimeByABoundedAmount) {
    use("[events.tiny]\nrefine = 0\n[grids.tiny]\np_deltim = 0.1\n");
    const double residuals[] = {0.02, -0.03, 0.01, 0.0, 0.05, -0.04, 0.03, 0.6, 2.5};
    for (int i = 0; i < 9; ++i) add(i, 'P', residuals[i]);
    Locator(grid()).locate(at_);
    double low = -1.0, high = 1.0;
    for (int step = 0; step < 60; ++step) {
        const double middle = 0.5 * (low + high);
        double sum = 0.0;
        for (size_t i = 0; i < 9; ++i) {
            const double x = (residuals[i] - middle) / 0.1;
            sum += at_.members[i].weight * std::clamp(x, -1.5, 1.5);
        }
        (sum > 0.0 ? low : high) = middle;
    }
    EXPECT_NEAR(at_.time - kOrigin, low, 0.003) << "after a few rounds of reweighting";
    EXPECT_GT(low, 0.03);
    for (size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(at_.members[i].residual, residuals[i] - (at_.time - kOrigin), 1e-6);
    }
}

TEST_F(LocationNumbers, AUniformSlownessErrorIsSolvedForWithinItsPrior) {
    use("[events.tiny]\nrefine = 0\nvelocity_sigma = 0.05\n[grids.tiny]\np_deltim = 0.1\n"
        "s_deltim = 0.1\n");
    constexpr double kSlower = 0.03;
    for (int station = 0; station < 16; ++station) {
        const Times times = grid().times.times(at_.spot, station);
        add(station, 'P', kSlower * times.p);
        add(station, 'S', kSlower * times.s);
    }
    Locator(grid()).locate(at_);
    EXPECT_NEAR(at_.slowing, kSlower, 0.002);
    EXPECT_NEAR(at_.time, kOrigin, 0.02);
    grids_.search_grids()[0].rules.velocity_sigma = 0.001;
    Locator(grid()).locate(at_);
    EXPECT_LT(at_.slowing, 0.01) << "a stiff model";
    grids_.search_grids()[0].rules.velocity_sigma = 0.0;
    Locator(grid()).locate(at_);
    EXPECT_EQ(at_.slowing, 0.0);
}

TEST_F(LocationNumbers, FindsThePlaceAndSaysWhenItIsOnTheEdge) {
    use("");
    const struct {
        double x, y, z;
        bool edge;
    } cases[] = {{8.4, 7.3, 2.6, false}, {0.0, 6.0, 1.0, true}, {9.0, 18.0, 3.0, true}};
    for (const auto& c : cases) {
        const Spot truth{c.x, c.y, c.z};
        Solution solution;
        solution.spot = {std::clamp(c.x + 1.6, 0.0, 18.0), std::clamp(c.y - 1.2, 0.0, 18.0), 2.0};
        std::deque<Waiting> picks;
        for (int station = 0; station < 16; ++station) {
            for (const char phase : {'P', 'S'}) {
                const Times times = grid().times.times(truth, station);
                picks.emplace_back().pick.time = kOrigin + (phase == 'S' ? times.s : times.p);
                solution.members.push_back({&picks.back(), station, phase, 0.0, 1.0, true});
            }
        }
        Locator(grid()).locate(solution);
        EXPECT_NEAR(solution.spot.x, c.x, 0.13);
        EXPECT_NEAR(solution.spot.y, c.y, 0.13);
        EXPECT_NEAR(solution.spot.z, c.z, 0.26);
        EXPECT_EQ(solution.on_edge, c.edge);
        EXPECT_NEAR(solution.time, kOrigin, 0.05);
    }
}

using Matrix = std::array<std::array<double, 4>, 4>;

// Inverse by cofactors.
double minor_of(const Matrix& a, size_t row, size_t column) {
    double m[3][3];
    for (size_t i = 0, r = 0; i < 4; ++i) {
        if (i == row) continue;
        for (size_t j = 0, c = 0; j < 4; ++j) {
            if (j != column) m[r][c++] = a[i][j];
        }
        ++r;
    }
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

Matrix inverse(const Matrix& a) {
    double determinant = 0.0;
    for (size_t j = 0; j < 4; ++j) determinant += (j % 2 ? -1 : 1) * a[0][j] * minor_of(a, 0, j);
    Matrix out;
    for (size_t i = 0; i < 4; ++i) {
        for (size_t j = 0; j < 4; ++j)
            out[j][i] = ((i + j) % 2 ? -1 : 1) * minor_of(a, i, j) / determinant;
    }
    return out;
}

/// Covariance from the derivatives of straight rays at a place, with what the mesh leaves.
Matrix expected_covariance(const SearchGrid& grid, const Solution& solution, double scale) {
    const Position at = grid.times.position(solution.spot);
    const double shrink = std::cos(at.lat * kPi / 180.0), degree = velorix_test::kKmPerDegree;
    Matrix normal{};
    for (const Member& m : solution.members) {
        const Station& sta = grid.station(m.station);
        const double east = (at.lon - sta.lon) * shrink * degree,
                     north = (at.lat - sta.lat) * degree;
        const double range = std::sqrt(east * east + north * north + at.depth * at.depth);
        const double slowness = 1.0 / (m.phase == 'S' ? 3.5 : 6.0);
        const double row[4] = {slowness * east / range, slowness * north / range,
                               slowness * at.depth / range, 1.0};
        for (size_t i = 0; i < 4; ++i) {
            for (size_t j = 0; j < 4; ++j) normal[i][j] += m.weight * row[i] * row[j];
        }
    }
    Matrix out = inverse(normal);
    for (auto& row : out) {
        for (double& value : row) value *= scale;
    }
    const double left = 0.25 * grid.times.spacing_km(),
                 depth = 0.25 * grid.times.depth_spacing_km();
    out[0][0] += left * left / 12.0;
    out[1][1] += left * left / 12.0;
    out[2][2] += depth * depth / 12.0;
    return out;
}

// Residuals of so many deviations each; below one the a priori errors stand.
TEST_F(LocationNumbers, StandardErrorsAreThoseOfStraightRays) {
    use("[grids.tiny]\np_deltim = 0.1\ns_deltim = 0.2\n");
    at_.spot = {8.3, 7.2, 2.2};
    for (const double deviations : {0.0, 0.5, 2.0}) {
        at_.members.clear();
        for (int station = 0; station < 16; ++station) {
            add(station, 'P', (station % 2 ? 1 : -1) * deviations * 0.1);
            if (station < 9) add(station, 'S', (station % 2 ? -1 : 1) * deviations * 0.2);
            for (Member& m : at_.members) m.weight = m.phase == 'S' ? 25.0 : 100.0;
        }
        const double n = 25.0, scale = std::max(1.0, n * deviations * deviations / (n - 4.0));
        const Matrix expected = expected_covariance(grid(), at_, scale);
        const Uncertainty found = Locator(grid()).uncertainty(at_);
        for (size_t i = 0; i < 4; ++i) {
            for (size_t j = 0; j < 4; ++j) {
                const double size = std::sqrt(expected[i][i] * expected[j][j]);
                EXPECT_NEAR(found.covariance[i][j], expected[i][j], 0.1 * size) << i << j;
            }
        }
        EXPECT_DOUBLE_EQ(found.east, std::sqrt(found.covariance[0][0]));
        EXPECT_DOUBLE_EQ(found.north, std::sqrt(found.covariance[1][1]));
        EXPECT_DOUBLE_EQ(found.depth, std::sqrt(found.covariance[2][2]));
        EXPECT_DOUBLE_EQ(found.time, std::sqrt(found.covariance[3][3]));
    }
    at_.members[0].defining = at_.members[1].defining = false;
    const Uncertainty fewer = Locator(grid()).uncertainty(at_);
    at_.members[0].defining = at_.members[1].defining = true;
    EXPECT_GT(fewer.major, Locator(grid()).uncertainty(at_).major) << "associated only";
}

// Major and minor axes carry the covariance: the same along and across the strike.
TEST_F(LocationNumbers, TheEllipseIsThatOfTheCovariance) {
    use("");
    for (const auto& stations : {std::vector<int>{0, 1, 2, 3, 7},
                                 {0, 5, 10, 15, 11},
                                 {3, 6, 9, 12, 8},
                                 {0, 4, 8, 12, 13}}) {
        at_.members.clear();
        for (int station : stations) add(station, 'P', 0.0);
        for (int station : stations) add(station, 'S', 0.0);
        for (Member& m : at_.members) m.weight = 50.0;
        const Uncertainty u = Locator(grid()).uncertainty(at_);
        const double strike = u.strike * kPi / 180.0;
        const double along[2] = {std::sin(strike), std::cos(strike)};
        const double across[2] = {std::cos(strike), -std::sin(strike)};
        const auto variance = [&](const double(&a)[2], const double(&b)[2]) {
            double sum = 0.0;
            for (size_t i = 0; i < 2; ++i) {
                for (size_t j = 0; j < 2; ++j) sum += a[i] * b[j] * u.covariance[i][j];
            }
            return sum;
        };
        EXPECT_NEAR(variance(along, along), u.major * u.major, 1e-9 * u.major * u.major);
        EXPECT_NEAR(variance(across, across), u.minor * u.minor, 1e-6 * u.major * u.major);
        EXPECT_NEAR(variance(along, across), 0.0, 1e-6 * u.major * u.major);
        EXPECT_GE(u.major, u.minor);
        EXPECT_GE(u.strike, 0.0);
        EXPECT_LT(u.strike, 180.0);
    }
}

TEST_F(LocationNumbers, AnUnrefinedEventHasTheSpreadOfItsCell) {
    use("[events.tiny]\nrefine = 0\n");
    for (int station = 0; station < 8; ++station) add(station, 'P', 0.0);
    for (Member& m : at_.members) m.weight = 10.0;
    const Uncertainty u = Locator(grid()).uncertainty(at_);
    const double spacing = grid().times.spacing_km(), depth = grid().times.depth_spacing_km();
    EXPECT_NEAR(u.major, spacing / std::sqrt(12.0), 1e-9);
    EXPECT_NEAR(u.depth, depth / std::sqrt(12.0), 1e-9);
    EXPECT_NEAR(u.time, 1.0 / std::sqrt(80.0), 1e-9) << "eight picks of weight 10";
    EXPECT_EQ(u.covariance[0][1], 0.0);
    EXPECT_EQ(u.covariance[0][3], 0.0);
}

}  // namespace
}  // namespace velorix::assoc
