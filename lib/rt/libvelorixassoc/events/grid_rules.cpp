#include "grid_rules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "../support/say.h"
#include "platform/containers/owners.h"
#include "platform/pf/pf.h"
#include "platform/pf/show.h"

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

std::vector<const char*> grid_rule_keys() {
    std::vector<const char*> keys;
    for (const auto& key : kCounts) keys.push_back(key.name);
    for (const auto& key : kReals) keys.push_back(key.name);
    return keys;
}

bool read_grid_rules(const Parameters& parameters, const std::string& name, SearchParams* sp,
                     GridRules& rules) {
    Pf* engine = parameters.section("grids", name);
    if (engine && velorix_search_from_pf(sp, engine) != 0) return false;
    for (const auto& [key, value] :
         {std::pair("p_max_resid", sp->p_max_resid), std::pair("s_max_resid", sp->s_max_resid)}) {
        if (value < 0.0) return fail("grids." + name + "." + key + ": must not be negative");
    }
    Pf* node = parameters.section("events", name);
    if (!node) return true;
    const std::vector<const char*> known = grid_rule_keys();
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

namespace {

// Fields of the engine's parameters that are held for the program and read here.
constexpr std::array<const char*, 7> kHeld{
    "p_max_resid_sweep", "s_max_resid_sweep", "p_deltim",       "s_deltim",
    "nsta_thresh",       "drop_if_on_edge",   "drop_if_in_grid"};
// Fields of the engine that are set here, whatever a file says.
constexpr std::array<const char*, 2> kOwn{"number_threads", "bugrid_filename"};

bool heeded(const SearchKey& key) {
    const auto named = [&](const char* name) { return std::string_view(key.name) == name; };
    return key.engine != 0 ? std::ranges::none_of(kOwn, named) : std::ranges::any_of(kHeld, named);
}

}  // namespace

void complain_unheeded(const Parameters& parameters, const std::string& name) {
    Pf* node = parameters.section("grids", name);
    if (!node) return;
    const SearchKey* key = nullptr;
    for (int i = 0; (key = velorix_search_key(i)); ++i) {
        if (heeded(*key) || !getarr(pfarr(node), key->name)) continue;
        complain("grids." + name + "." + key->name + ": has no effect here");
    }
}

std::string show_grid_rules(const std::string& name, const SearchParams& sp,
                            const GridRules& rules) {
    const std::string key_of_grid = pf::toml_key(name);
    std::string out = "\n[events." + key_of_grid + "]\n";
    for (const auto& key : kCounts) {
        out += std::string(key.name) + " = " + std::to_string(rules.*key.field) + "\n";
    }
    for (const auto& key : kReals) {
        out += std::string(key.name) + " = " + pf::toml_real(rules.*key.field) + "\n";
    }
    out += "\n[grids." + key_of_grid + "]\n";
    const SearchKey* key = nullptr;
    for (int i = 0; (key = velorix_search_key(i)); ++i) {
        if (!heeded(*key)) continue;
        const OwnedText shown(velorix_show_search(&sp, key->name));
        if (!shown) throw std::bad_alloc();
        out += shown.get();
    }
    return out;
}

}  // namespace velorix::assoc
