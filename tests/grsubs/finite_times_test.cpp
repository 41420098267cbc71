// A pick whose time is no number, as a caller's record may have it, changes nothing of a solution.
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>

#include "support/log_capture.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

constexpr double kOrigin = 1515146668.25;

/// Everything that a program takes from an event, as text that differs when a bit does.
std::string solution(Velorix& grid, const char* settings, const std::vector<double>& odd_times) {
    const Search search(grid);
    search->cluster_twin = 0.3;
    const std::string set = settings;
    search->closest_stations = set.find("closest") != set.npos ? 6 : 0;
    search->number_threads = set.find("threads") != set.npos ? 3 : 1;
    search->det_tmin = set.find("det_tmin") != set.npos ? 0.5 : 0.0;
    search->use_swt = set.find("swt") != set.npos;
    search->swt_dist_near = 0.2;
    search->swt_dist_far = 0.5;
    EXPECT_EQ(velorix_setup_search(search.sp), 0);

    Picks picks;
    for (const double time : odd_times) {
        picks.add("S00", "BHZ", "P", time);  // the first observation of the first station
        picks.add("S09", "BHZ", "P", time);  // all that this station has
    }
    for (int is = 0; is < 9; ++is) {
        double p = 0, s = 0;
        velorix_get_ttimes(&grid, is, 3, 2, 0, &p, &s);
        const std::string code = grid.stations[is].sta;
        picks.add(code.c_str(), "BHZ", "P", kOrigin + p + 0.01 * is);
        picks.add(code.c_str(), "BHN", "S", kOrigin + s - 0.01 * is);
        for (const double time : odd_times) picks.add(code.c_str(), "BHE", "S", time);
    }
    const LogCapture log;
    EXPECT_EQ(picks.set_up(*search), 9);
    EXPECT_EQ(log.count(), odd_times.empty() ? 0u : 1u) << log.text();
    const Scan scan(*search, picks.stao_tbl);
    EXPECT_EQ(scan.result, 0);
    Arr* searches = newarr(nullptr);
    setarr(searches, grid.name, search.sp);
    GridResults* result = nullptr;
    EXPECT_EQ(velorix_make_result(searches, grid.name, picks.stao_tbl, picks.list, scan.stduw,
                                  scan.std, scan.f, scan.ix, scan.iy, scan.id, scan.time, scan.lat,
                                  scan.lon, scan.depth, &result),
              0);
    char text[512];
    std::snprintf(text, sizeof text, "%a %a %a %a %d %d %d | %d %a %d %a %d %d %d %a", scan.f,
                  scan.std, scan.stduw, scan.time, scan.ix, scan.iy, scan.id, result->nsta,
                  result->nsta_weighted, result->nsta_ass, result->nsta_ass_weighted, result->ndef,
                  result->nass, result->nsass, result->dmax);
    std::string all = text;
    for (int i = 0; i < maxtbl(result->pick_tbl); ++i) {
        const auto& pick = *static_cast<PickList*>(gettbl(result->pick_tbl, i));
        std::snprintf(text, sizeof text, " | %s %s %a %a %a", pick.sta, pick.ophase, pick.resid,
                      pick.weight, pick.delta);
        all += text;
    }
    for (int i = 0; i < picks.size(); ++i) {
        if (!std::isfinite(picks[i].time)) {
            EXPECT_EQ(picks[i].resid, 999.999);
            EXPECT_EQ(picks[i].used_save, 0);
        }
    }
    velorix_free_result(result);
    freearr(searches, nullptr);
    return all;
}

TEST(FiniteTimes, AreTheOnlyOnesThatTakePart) {
    const std::vector<double> odd = {NAN, HUGE_VAL, -HUGE_VAL};
    for (const int mode : {VELORIX_MODE_REGULAR, VELORIX_MODE_GENERAL}) {
        for (const char* settings :
             {"plain", "closest", "threads", "det_tmin", "swt", "swt closest"}) {
            TinyGrid grid(ring_of_stations(10), {.mode = mode});
            const std::string without = solution(grid.grid, settings, {});
            EXPECT_THAT(without, testing::HasSubstr("S08 S")) << settings;
            EXPECT_EQ(solution(grid.grid, settings, odd), without) << settings;
            for (const double time : odd)
                EXPECT_EQ(solution(grid.grid, settings, {time}), without) << settings << time;
        }
    }
}

// A table that no set-up has gone through.
TEST(FiniteTimes, AloneMakeAnOriginTime) {
    TinyGrid grid(ring_of_stations(2));
    sta_obs2 bad{}, good{};
    bad.time = NAN;
    good.time = 100.0;
    bad.used = good.used = 1;
    sta_obs2* observations[] = {&bad, &good};
    StationObs station{};
    station.obs = observations;
    station.nobs = 2;
    station.p_weight_initial = 1;
    Tbl* table = newtbl(1);
    settbl(table, -1, &station);
    double p = 0, s = 0, etime = 0, std = 0, stduw = 0;
    velorix_get_ttimes(&grid.grid, 0, 1, 1, 0, &p, &s);
    velorix_node_residual(&grid.grid, 1, 1, 0, table, &etime, &std, &stduw, 0);
    EXPECT_NEAR(etime, 100.0 - p, 1e-9);
    EXPECT_EQ(std, 0);
    EXPECT_EQ(stduw, 0);
    freetbl(table, nullptr);
}

}  // namespace
}  // namespace velorix_test
