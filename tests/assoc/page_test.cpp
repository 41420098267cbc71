// The document of a page: whole units by column, stations, outlines and curves of grids.
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "events/grid_times.h"
#include "page/base64.h"
#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

using Json = nlohmann::json;
using velorix_test::TinyGrid;

Event an_event() {
    Event e;
    e.id = "first";
    e.time = 1476403209.0484;
    e.lat = -42.81763;
    e.lon = 179.99994;
    e.depth = 8.0401;
    e.grid = "g<1>";
    e.model = "ak135";
    e.p = 3, e.s = 2, e.defining = 4, e.stations = 5;
    e.scatter = 0.1234, e.scatter_weighted = 0.2345, e.gap = 123.4;
    e.nearest = 0.0123, e.median = 0.2, e.farthest = 1.5;
    e.score = 12.34, e.coverage = 0.567, e.on_edge = true, e.fixed_depth = true;
    e.error.time = 0.12, e.error.depth = 2.5, e.error.major = 1.5, e.error.minor = NAN;
    e.error.strike = 135.5;
    EventPick p;
    p.pick = {e.time + 2.5617, "IV", "T1202", "00", "HHZ", "Pn", "a/b c", 12.5, 71};
    p.phase = 'S';
    p.residual = -0.0539, p.delta = 1.2345, p.esaz = 90.0, p.seaz = 270.5, p.weight = 0.875;
    p.defining = true;
    e.picks = {p};
    LeftOut left;
    left.pick = p.pick;
    left.pick.time += 1.0;
    left.pick.location.clear();
    left.residual = 1.2, left.limit = 0.43;
    e.left_out = {left};
    return e;
}

Json document(PageWriter& page, const std::vector<Event>& events) {
    TextSink sink;
    for (const Event& event : events) EXPECT_TRUE(page.add(event, {&sink}));
    return Json::parse(page.document());
}

TEST(Page, HoldsEventsAndPicksInWholeUnits) {
    PageWriter page("digest");
    const Json all = document(page, {an_event(), an_event()});
    const std::map<std::string, long> event{{"time", 14764032090484},
                                            {"lat", -4281763},
                                            {"lon", 17999994},
                                            {"depth", 8040},
                                            {"fixed_depth", 1},
                                            {"p", 3},
                                            {"s", 2},
                                            {"defining", 4},
                                            {"stations", 5},
                                            {"scatter", 1234},
                                            {"gap", 1234},
                                            {"nearest", 123},
                                            {"median", 2000},
                                            {"farthest", 15000},
                                            {"score", 1234},
                                            {"coverage", 567},
                                            {"on_edge", 1},
                                            {"major", 1500},
                                            {"strike", 1355},
                                            {"depth_error", 2500},
                                            {"time_error", 120},
                                            {"picks", 1},
                                            {"left", 1},
                                            {"scatter_weighted", 2345}};
    for (const auto& [name, value] : event) EXPECT_EQ(all["events"][name][1], value) << name;
    EXPECT_TRUE(all["events"]["minor"][0].is_null()) << "not known";
    const std::map<std::string, long> pick{
        {"travel", 25617}, {"residual", -539},      {"distance", 12345},
        {"azimuth", 9000}, {"back_azimuth", 27050}, {"s", 1},
        {"weight", 875},   {"defining", 1},         {"station", 0}};
    for (const auto& [name, value] : pick) EXPECT_EQ(all["picks"][name][1], value) << name;
    const auto text = [&](const char* table, const char* column) {
        return all["texts"][all[table][column][0].get<size_t>()].get<std::string>();
    };
    EXPECT_EQ(text("events", "grid"), "g<1>");
    EXPECT_EQ(text("picks", "channel"), "00.HHZ");
    EXPECT_EQ(text("left", "channel"), "HHZ");
    EXPECT_EQ(text("picks", "label"), "Pn");
    EXPECT_EQ(text("left", "why"), "beyond_limit");
    EXPECT_EQ(text("left", "reason"), "residual beyond 0.43 s");
    EXPECT_EQ(all["left"]["travel"][0], 35617);
    EXPECT_EQ(all["left"]["limit"][0], 4300);
    EXPECT_EQ(all["texts"].size(),
              std::set<std::string>(all["texts"].begin(), all["texts"].end()).size());
    EXPECT_EQ(page.document().find('<'), std::string::npos);
    EXPECT_EQ(all["run"]["rules"], "digest");
    EXPECT_TRUE(all["run"]["fates"].is_null());
}

TEST(Page, TellsOfRefusalsOnceAndOfTheRun) {
    PageWriter page("");
    Refusal refusal{.time = 1e9,
                    .grid = "g",
                    .best = {1.5, 2.5, 10.0},
                    .score = 3.25,
                    .p = 2,
                    .stations = 2,
                    .verdict = {.lack = Lack::p_picks, .have = 2, .need = 3},
                    .scanned = true};
    page.add_refusal(refusal);
    page.add_refusal(refusal);
    refusal.time += 1.0;
    refusal.scanned = false;
    page.add_refusal(refusal);
    PageRun run{.title = "a title",
                .sources = {"picks.csv"},
                .associated = true,
                .picks_read = 9,
                .refusals = {{Lack::p_picks, 2}},
                .strangers = {{"IV.X", 4}}};
    run.fates.in_events = 5;
    page.set_run(run);
    const Json all = document(page, {});
    EXPECT_EQ(all["refused"]["lat"], Json::parse("[150000, null]"));
    EXPECT_EQ(all["refused"]["score"], Json::parse("[325, null]"));
    EXPECT_EQ(all["title"], "a title");
    EXPECT_EQ(all["run"]["fates"]["in_events"], 5);
    EXPECT_EQ(all["run"]["picks_read"], 9);
    EXPECT_EQ(all["run"]["strangers"], Json::parse("[[\"IV.X\", 4]]"));
    EXPECT_EQ(all["run"]["refusals"][0][1], 2);
}

TEST(Page, StationsStandWhereGridsSayOrWherePicksPutThem) {
    TinyGrid tiny({velorix_test::make_station("AAA", 1.0, 2.0),
                   velorix_test::make_station("IV_BBB", 3.0, 4.0)});
    tiny.grid.stations[0].elev = 0.75;
    PageWriter page("");
    page.add_grid(tiny.grid);
    Event event = an_event();
    event.lat = event.lon = 0.0;
    event.picks.assign(4, event.picks[0]);
    event.picks[0].pick.station = "AAA";
    event.picks[0].delta = 0.1;  // near, and yet the grid knows better
    event.picks[1].pick.station = "BBB";
    event.picks[2].pick.network = "XX";  // another network's station of the same code
    event.picks[2].pick.station = "AAA";
    event.picks[3].delta = 10.0;
    event.left_out.clear();
    const Json all = document(page, {event});
    EXPECT_EQ(all["picks"]["station"], Json::parse("[0, 1, 2, 3]"));
    EXPECT_EQ(all["stations"]["name"],
              Json::parse(R"(["IV.AAA", "IV.BBB", "XX.AAA", "IV.T1202"])"));
    EXPECT_EQ(all["stations"]["lat"], Json::parse("[100000, 300000, 100000, 0]"));
    EXPECT_NEAR(all["stations"]["lon"][3].get<double>(), 1e6, 1.0) << "10 degrees east";
    EXPECT_EQ(all["stations"]["elevation"], Json::parse("[750, 0, 750, null]"));
}

TEST(Page, OutlinesFollowTheEdgeOfAMesh) {
    for (const auto& [nx, ny] : {std::pair(7, 5), {40, 35}}) {
        TinyGrid tiny(network(), {.nx = nx, .ny = ny, .spacing = 0.1});
        PageWriter page("");
        page.add_grid(tiny.grid);
        const Json outline = document(page, {})["grids"][0]["outline"];
        std::set<std::pair<int, int>> points;
        for (size_t i = 0; i < outline.size(); i += 2) {
            const int lon = outline[i], lat = outline[i + 1];
            EXPECT_TRUE(lon == 0 || lat == 0 || lon == (nx - 1) * 10000 || lat == (ny - 1) * 10000);
            points.emplace(lon, lat);
        }
        for (const auto& corner : {std::pair(0, 0), {nx - 1, 0}, {nx - 1, ny - 1}, {0, ny - 1}})
            EXPECT_TRUE(points.contains({corner.first * 10000, corner.second * 10000})) << nx;
        EXPECT_EQ(outline[0], outline[outline.size() - 2]) << "closed";
        EXPECT_EQ(outline[1], outline[outline.size() - 1]);
        EXPECT_GE(points.size(), nx == 7 ? 20u : 60u);
        EXPECT_LE(points.size(), 90u);
    }
}

/// Straight rays: how far a curve is from them at most, and whether it goes on with distance.
void check_curve(const Json& curve, double depth, double least, double most) {
    const Json& distance = curve["distance"];
    ASSERT_EQ(distance.size(), curve["p"].size());
    ASSERT_GT(distance.size(), 20u);
    EXPECT_EQ(curve["depth"], std::lround(depth * 1000.0));
    EXPECT_NEAR(distance.front().get<double>() / 1e4, least, 1e-3);
    EXPECT_NEAR(distance.back().get<double>() / 1e4, most, 1e-3);
    for (size_t i = 0; i < distance.size(); ++i) {
        const double at = distance[i].get<double>() / 1e4;
        EXPECT_NEAR(curve["p"][i].get<double>() / 1e3, ray_time(at, depth, 6.0), 0.03) << at;
        EXPECT_NEAR(curve["s"][i].get<double>() / 1e3, ray_time(at, depth, 3.5), 0.06) << at;
        EXPECT_GE(distance[i], distance[i > 0 ? i - 1 : 0]);
    }
}

TEST(Page, CurvesAreThoseOfTheTables) {
    const std::vector<Station> stations = network();
    TinyGrid mesh(stations, {.nx = 19, .ny = 19, .depths = {1, 9, 17}, .spacing = 0.05});
    TinyGrid list(
        stations,
        {.mode = VELORIX_MODE_GENERAL, .nx = 12, .ny = 12, .depths = {3, 21, 12}, .spacing = 0.07});
    for (const TinyGrid* tiny : {&mesh, &list}) {
        PageWriter page("");
        page.add_grid(tiny->grid);
        const Json curves = document(page, {})["grids"][0]["curves"];
        double least = 1e9, most = 0.0;
        for (int i = 0; i < tiny->grid.nh; ++i) {
            for (const Station& station : stations) {
                const Source& at = tiny->grid.sources[i];
                const double d =
                    path_between({at.lat, at.lon, 0.0}, station.lat, station.lon).delta;
                least = std::min(least, d);
                most = std::max(most, d);
            }
        }
        if (tiny == &mesh) {
            ASSERT_EQ(curves.size(), 3u);
            for (size_t i = 0; i < 3; ++i)
                check_curve(curves[i], 1.0 + 8.0 * static_cast<double>(i), least, most);
        } else {
            // Twelve groups by depth, of twelve nodes each: four of each of the three depths.
            ASSERT_EQ(curves.size(), 12u);
            for (size_t i = 0; i < 12; ++i)
                EXPECT_EQ(curves[i]["depth"], i < 4 ? 3000 : i < 8 ? 12000 : 21000);
        }
    }
}

TEST(Page, NodesHaveTheTimesOfTheirTables) {
    TinyGrid tiny(network(), {.nx = 4, .ny = 3, .depths = {2, 8}});
    PageWriter page("");
    page.add_grid(tiny.grid, true);
    const Json table = document(page, {})["grids"][0]["table"];
    ASSERT_EQ(table["number"].size(), 24u);
    EXPECT_EQ(table["number"][13], 13);
    EXPECT_EQ(table["lon"][14], 20000) << "column 2";
    EXPECT_EQ(table["lat"][17], 10000) << "row 1";
    EXPECT_EQ(table["depth"][12], 8000);
    for (const auto& [name, times] :
         {std::pair("p", tiny.grid.P_times), {"s", tiny.grid.S_times}}) {
        std::string bytes(24 * 16 * sizeof(float), '\0');
        std::memcpy(bytes.data(), times, bytes.size());
        EXPECT_EQ(table[name], base64(bytes)) << name;
    }
    EXPECT_EQ(base64("Man"), "TWFu");  // RFC 4648
    EXPECT_EQ(base64("fooba"), "Zm9vYmE=");
    EXPECT_EQ(base64("foob"), "Zm9vYg==");
    TinyGrid large(network(), {.nx = 200, .ny = 200, .depths = {2, 8}});
    PageWriter thinned("");
    thinned.add_grid(large.grid, true);
    const Json few = document(thinned, {})["grids"][0]["table"];
    EXPECT_EQ(few["number"].size(), 20000u)
        << "every second row and column: 320,000 times of 1,280,000";
    EXPECT_EQ(few["number"][1], 2);
    EXPECT_EQ(few["number"][100], 400);
}

}  // namespace
}  // namespace velorix::assoc
