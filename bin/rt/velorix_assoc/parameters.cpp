#include "parameters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "text.h"

namespace velorix::assoc {
namespace {

template <class T>
struct Key {
    const char* name;
    T GridRules::*field;
};

constexpr std::array<Key<int>, 6> kCounts{{{"min_p", &GridRules::min_p},
                                           {"min_s", &GridRules::min_s},
                                           {"min_picks", &GridRules::min_picks},
                                           {"min_stations", &GridRules::min_stations},
                                           {"refine", &GridRules::refine},
                                           {"screen_stations", &GridRules::screen_stations}}};
constexpr std::array<Key<double>, 8> kReals{{{"min_coverage", &GridRules::min_coverage},
                                             {"max_scatter", &GridRules::max_scatter},
                                             {"window", &GridRules::window},
                                             {"step", &GridRules::step},
                                             {"velocity_sigma", &GridRules::velocity_sigma},
                                             {"s_doubt", &GridRules::s_doubt},
                                             {"separation_time", &GridRules::separation_time},
                                             {"separation_km", &GridRules::separation_km}}};

struct LabelName {
    const char* name;
    Labels labels;
};
constexpr std::array<LabelName, 3> kLabels{
    {{"trust", Labels::trust}, {"p_first", Labels::p_first}, {"ignore", Labels::ignore}}};

// Median slowness in s/km between a node and its neighbour, over nodes and stations: what a node of
// error costs in time.
double slowness(const GridTimes& times, bool s_wave) {
    std::vector<double> values;
    const Velorix& grid = times.grid();
    const int64_t step = std::max<int64_t>(1, times.nodes() / 200);
    for (int64_t node = 0; node + 1 < times.nodes(); node += step) {
        const Position a = times.position(times.spot_of(node));
        const Position b = times.position(times.spot_of(node + 1));
        const double km = path_between(a, b.lat, b.lon).delta * kKmPerDegree;
        if (km < 0.1 || km > 3.0 * std::max(0.1, times.spacing_km())) continue;
        for (int is = 0; is < grid.ns; is += std::max(1, grid.ns / 50)) {
            const Times ta = times.node_times(node, is), tb = times.node_times(node + 1, is);
            const double difference = s_wave ? ta.s - tb.s : ta.p - tb.p;
            values.push_back(std::fabs(difference) / km);
        }
    }
    if (values.empty()) return s_wave ? 0.3 : 0.17;
    const auto high = values.begin() + static_cast<std::ptrdiff_t>(values.size() * 3 / 4);
    std::nth_element(values.begin(), high, values.end());
    return *high;
}

/// Longest P and S times that matter, s.
struct Reach {
    double p, s;
};

// Of a dense network inside its mesh an event needs the nearest stations only: the times to the
// kNearest-th of them, at four nodes of five. Otherwise (few stations, or a mesh seen from afar)
// all.
Reach reach_of(const GridTimes& times, double max_p, double max_s) {
    constexpr size_t kNearest = 40;
    const Velorix& grid = times.grid();
    int inside = 0;
    for (int is = 0; is < grid.ns; ++is) {
        inside += velorix_inside(&grid, grid.stations[is].lat, grid.stations[is].lon);
    }
    if (!times.regular() || grid.ns < 2 * static_cast<int>(kNearest) || 2 * inside < grid.ns) {
        return {max_p, max_s};
    }
    std::vector<double> p, s, row(static_cast<size_t>(grid.ns));
    const auto nth = [](std::vector<double>& values, size_t n) {
        std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(n),
                         values.end());
        return values[n];
    };
    for (int64_t node = 0; node < times.nodes();
         node += std::max<int64_t>(1, times.nodes() / 300)) {
        for (bool s_wave : {false, true}) {
            for (int is = 0; is < grid.ns; ++is) {
                const Times at = times.node_times(node, is);
                row[static_cast<size_t>(is)] = s_wave ? at.s : at.p;
            }
            (s_wave ? s : p).push_back(nth(row, kNearest));
        }
    }
    return {nth(p, p.size() * 4 / 5), nth(s, s.size() * 4 / 5)};
}

bool read(Pf* node, const char* key, int kind, void* out) {
    return parse_param(node, key, kind, 0, out) >= 0;
}

bool check(const GridRules& r, const std::string& name) {
    const auto refuse = [&](const char* key, const char* what) {
        return fail("events." + name + "." + key + ": " + what);
    };
    for (const auto& key : kCounts) {
        if (r.*key.field < 0) return refuse(key.name, "must not be negative");
    }
    for (const auto& key : kReals) {
        if (!std::isfinite(r.*key.field) || r.*key.field < 0.0) {
            return refuse(key.name, "must be a number, 0 or more");
        }
    }
    // Memory grows with both; the slowest waves around the Earth take hours.
    constexpr double kDay = 86400.0;
    for (const auto& [key, value] : {std::pair("window", r.window), std::pair("step", r.step)}) {
        if (value <= 0.0 || value > kDay) return refuse(key, "must be above 0, at most 86400 s");
    }
    if (r.min_coverage > 1.0) return refuse("min_coverage", "must be at most 1");
    if (r.screen_stations < 1) return refuse("screen_stations", "must be 1 or more");
    return true;
}

}  // namespace

Pf* ParameterFile::section(const char* table, const std::string& name) const {
    Pf *all = nullptr, *node = nullptr;
    if (!root || parse_param(root, table, PF_ARRAY, 0, &all) != 1) return nullptr;
    return parse_param(all, name.c_str(), PF_ARRAY, 0, &node) == 1 ? node : nullptr;
}

void derive_defaults(const GridTimes& times, SearchParams& sp, GridRules& rules) {
    double min_p = 0.0, max_p = 0.0, min_s = 0.0, max_s = 0.0;
    velorix_get_minmax_ttimes(&times.grid(), &min_p, &max_p, &min_s, &max_s);
    const bool with_s = times.grid().S_times != nullptr;
    const Reach reach = reach_of(times, max_p, max_s);
    const double longest = std::max(reach.p, reach.s);
    // An event is at most half a cell's diagonal from a node; models err by about half a percent of
    // the travel time, and by a few tenths of a second near the surface.
    const double offset_km = 0.5 * std::sqrt(2.0) * times.spacing_km();
    const double p_cell = offset_km * slowness(times, false);
    const double s_cell = with_s ? offset_km * slowness(times, true) : 0.0;
    const double p_model = 0.4 + 0.003 * reach.p, s_model = 0.6 + 0.004 * std::max(0.0, reach.s);
    sp.cluster_twin = std::max(0.5, p_model + p_cell + s_cell);
    sp.cluster_prewin = 0.0;
    sp.p_max_resid = p_model + 0.5 * p_cell;
    sp.s_max_resid = s_model + 0.5 * s_cell;
    sp.p_max_resid_sweep = 1.5 * sp.p_max_resid;
    sp.s_max_resid_sweep = 1.5 * sp.s_max_resid;
    sp.p_deltim = 0.25 * sp.p_max_resid;
    sp.s_deltim = 0.25 * sp.s_max_resid;
    sp.try_S = sp.associate_S = with_s ? 1 : 0;
    rules.min_p = 3;
    rules.min_s = 0;
    rules.min_picks = 8;
    rules.min_stations = 4;
    rules.min_coverage = 0.4;
    rules.max_scatter = 0.75 * std::max(sp.p_max_resid, with_s ? sp.s_max_resid : 0.0);
    rules.window = longest + 2.0 * sp.cluster_twin;
    rules.step = rules.window;
    rules.separation_time = std::max(3.0, 3.0 * sp.cluster_twin);
    // Stations that disagree by a model error of a few seconds place one earthquake several nodes
    // apart.
    rules.separation_km = std::max(15.0, 6.0 * times.spacing_km());
    rules.s_doubt = 0.6;
    rules.screen_stations = 40;
}

bool read_grid_rules(const ParameterFile& file, const std::string& name, SearchParams* sp,
                     GridRules& rules) {
    Pf* engine = file.section("grids", name);
    if (engine && velorix_search_from_pf(sp, engine) != 0) return false;
    for (const auto& [key, value] :
         {std::pair("p_max_resid", sp->p_max_resid), std::pair("s_max_resid", sp->s_max_resid)}) {
        if (value < 0.0) return fail("grids." + name + "." + key + ": must not be negative");
    }
    Pf* node = file.section("events", name);
    if (!node) return true;
    std::vector<const char*> known;
    for (const auto& key : kCounts) known.push_back(key.name);
    for (const auto& key : kReals) known.push_back(key.name);
    pf_complain_unknown(node, ("events." + name).c_str(), known.data(),
                        static_cast<int>(known.size()));
    for (const auto& key : kCounts) {
        if (!read(node, key.name, PF_INT, &(rules.*key.field))) return false;
    }
    for (const auto& key : kReals) {
        if (!read(node, key.name, PF_DOUBLE, &(rules.*key.field))) return false;
    }
    return check(rules, name);
}

bool read_program_rules(const ParameterFile& file, ProgramRules& rules) {
    if (!file.root) return true;
    int reuse = 0;
    char* labels = nullptr;
    if (!read(file.root, "reuse_picks", PF_BOOLEAN, &reuse)) return false;
    if (!read(file.root, "phase_labels", PF_STRING, &labels)) return false;
    rules.reuse_picks = reuse != 0;
    if (!labels) return true;
    const std::string text = labels;
    free(labels);
    for (const LabelName& known : kLabels) {
        if (text != known.name) continue;
        rules.labels = known.labels;
        rules.labels_automatic = false;
    }
    if (rules.labels_automatic && text != "auto") {
        return fail("phase_labels '" + text + "' is none of auto, trust, p_first, ignore");
    }
    return true;
}

void complain_unknown_keys(const ParameterFile& file, const std::vector<std::string>& grids) {
    if (!file.root) return;
    constexpr std::array<const char*, 4> kTop{"grids", "events", "reuse_picks", "phase_labels"};
    pf_complain_unknown(file.root, "the parameter file", kTop.data(),
                        static_cast<int>(kTop.size()));
    std::vector<const char*> names;
    for (const std::string& grid : grids) names.push_back(grid.c_str());
    for (const char* table : {"grids", "events"}) {
        Pf* node = nullptr;
        if (parse_param(file.root, table, PF_ARRAY, 0, &node) != 1) continue;
        pf_complain_unknown(node, table, names.data(), static_cast<int>(names.size()));
    }
}

std::string show_program_rules(const ProgramRules& rules) {
    std::string labels = "auto";
    for (const LabelName& known : kLabels) {
        if (!rules.labels_automatic && known.labels == rules.labels) labels = known.name;
    }
    return "phase_labels = \"" + labels + "\"  # auto: p_first when no pick is labelled S\n" +
           "reuse_picks = " + (rules.reuse_picks ? "true" : "false") + "\n";
}

namespace {

std::string quoted(const char* text) {
    std::string out = "\"";
    for (const char* c = text; *c; ++c) {
        if (*c == '"' || *c == '\\') out += '\\';
        out += *c;
    }
    return out + "\"";
}

// The shortest text that reads back as the same number; TOML wants a point or an exponent.
std::string real(double value) {
    for (int digits = 6; digits <= 17; ++digits) {
        std::string text = format("%.*g", digits, value);
        if (number(text) != value) continue;
        return text.find_first_of(".e") == text.npos ? text + ".0" : text;
    }
    return "0.0";
}

void line(std::string& out, const char* key, const std::string& value) {
    out += std::string(key) + " = " + value + "\n";
}
void line(std::string& out, const char* key, int value) { line(out, key, std::to_string(value)); }
void line(std::string& out, const char* key, double value) { line(out, key, real(value)); }
void line(std::string& out, const char* key, const char* value) {
    if (value) line(out, key, quoted(value));
}

void list(std::string& out, const char* key, const std::vector<std::string>& entries) {
    if (entries.empty()) return;
    out += std::string(key) + " = [\n";
    for (const std::string& entry : entries) out += "  " + quoted(entry.c_str()) + ",\n";
    out += "]\n";
}

std::vector<std::string> curve(int n, const weights_* nodes) {
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i)
        out.push_back(real(nodes[i].distance) + " " + real(nodes[i].weight));
    return out;
}

void show_lists(std::string& out, const SearchParams& sp) {
    std::vector<std::string> weights, thresholds, grids;
    for (int i = 0; i < sp.nstation_weights; ++i) {
        const station_weights_& w = sp.station_weights[i];
        std::string entry = w.sta_expr;
        for (double v : {w.p_weight, w.s_weight, w.p_max_resid, w.s_max_resid, w.p_max_resid_sweep,
                         w.s_max_resid_sweep}) {
            entry += " " + real(v);
        }
        weights.push_back(entry);
    }
    for (int i = 0; i < sp.nnsta_thresh; ++i) {
        thresholds.push_back(real(sp.nsta_thresh[i].distance) + " " +
                             std::to_string(sp.nsta_thresh[i].thresh));
    }
    for (int i = 0; i < maxtbl(sp.drop_if_in_grid); ++i) {
        grids.emplace_back(static_cast<const char*>(gettbl(sp.drop_if_in_grid, i)));
    }
    list(out, "station_weights", weights);
    list(out, "p_weights", curve(sp.use_dwt, sp.p_weights));
    list(out, "s_weights", curve(sp.use_dwts, sp.s_weights));
    list(out, "nsta_thresh", thresholds);
    list(out, "drop_if_in_grid", grids);
}

}  // namespace

std::string show_grid_rules(const std::string& name, const SearchParams& sp,
                            const GridRules& rules) {
    std::string out = "\n[events." + quoted(name.c_str()) + "]\n";
    for (const auto& key : kCounts) line(out, key.name, rules.*key.field);
    for (const auto& key : kReals) line(out, key.name, rules.*key.field);
    out += "\n[grids." + quoted(name.c_str()) + "]\n";
    line(out, "cluster_twin", sp.cluster_twin);
    line(out, "cluster_prewin", sp.cluster_prewin);
    line(out, "p_max_resid", sp.p_max_resid);
    line(out, "s_max_resid", sp.s_max_resid);
    line(out, "p_max_resid_sweep", sp.p_max_resid_sweep);
    line(out, "s_max_resid_sweep", sp.s_max_resid_sweep);
    line(out, "p_deltim", sp.p_deltim);
    line(out, "s_deltim", sp.s_deltim);
    line(out, "nxd", sp.nxd);
    line(out, "nyd", sp.nyd);
    line(out, "try_S", sp.try_S);
    line(out, "associate_S", sp.associate_S);
    line(out, "drop_if_on_edge", sp.drop_if_on_edge);
    line(out, "priority", sp.priority);
    line(out, "phase_sifter", sp.phase_sifter);
    line(out, "p_channel_sifter", sp.p_channel_sifter);
    line(out, "s_channel_sifter", sp.s_channel_sifter);
    line(out, "det_tmin", sp.det_tmin);
    line(out, "closest_stations", sp.closest_stations);
    line(out, "use_swt", sp.use_swt);
    line(out, "swt_dist_near", sp.swt_dist_near);
    line(out, "swt_dist_far", sp.swt_dist_far);
    line(out, "swt_wt_near", sp.swt_wt_near);
    line(out, "swt_wt_far", sp.swt_wt_far);
    show_lists(out, sp);
    return out;
}

}  // namespace velorix::assoc
