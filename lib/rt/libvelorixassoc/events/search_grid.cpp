#include "search_grid.h"

#include <algorithm>
#include <array>

#include "../support/fnv.h"
#include "../support/say.h"
#include "../support/text_values.h"
#include "platform/pf/pf.h"
#include "platform/strmatch/strmatches.h"
#include "support/grid_name.h"

namespace velorix::assoc {

int SearchGrid::station_of(const Pick& pick) const {
    const std::string key = pick.network + "." + pick.station;
    const auto known = numbers_.find(key);
    if (known != numbers_.end()) return known->second;
    const Arr* map = times.grid().sta_arr;
    const void* found = nullptr;
    for (const std::string& code : {key, pick.network + "_" + pick.station, pick.station}) {
        if (!found) found = getarr(map, code.c_str());
    }
    const int number = found ? static_cast<const Station*>(found)->index : -1;
    numbers_.emplace(key, number);
    return number;
}

GridSet::GridSet() : owned_(std::make_unique<Owned>()) {}
GridSet::~GridSet() = default;
GridSet::GridSet(GridSet&&) noexcept = default;

std::vector<SearchGrid>& GridSet::search_grids() { return owned_->grids; }
const std::vector<SearchGrid>& GridSet::search_grids() const { return owned_->grids; }
size_t GridSet::size() const { return owned_->grids.size(); }
const Velorix& GridSet::grid(size_t number) const { return owned_->grids[number].times.grid(); }

bool GridSet::load(const std::vector<std::string>& paths, const Parameters& parameters,
                   int threads) {
    for (const std::string& path : paths) {
        Tbl* list = nullptr;
        if (velorix_read_file(path.c_str(), &list) < 0) return fail(path + ": no grids read");
        owned_->files.emplace_back(list);
        for (int i = 0; i < maxtbl(list); ++i) {
            if (!add(static_cast<Velorix*>(gettbl(list, i)), parameters, threads)) return false;
        }
    }
    return size() > 0 || fail("the grid files hold no grid");
}

namespace {

bool matches(const std::string& text, const char* pattern, Hook** hook) {
    return !pattern || strmatches(text.c_str(), pattern, hook) == 1;
}

// A pattern that is none would let no pick through.
bool check_sifters(const std::string& name, SearchParams& sp) {
    const struct {
        const char* key;
        const char* pattern;
        Hook** hook;
    } sifters[] = {{"phase_sifter", sp.phase_sifter, &sp.hook_phase_sifter},
                   {"p_channel_sifter", sp.p_channel_sifter, &sp.hook_p_channel_sifter},
                   {"s_channel_sifter", sp.s_channel_sifter, &sp.hook_s_channel_sifter}};
    for (const auto& sifter : sifters) {
        if (sifter.pattern && strmatches("", sifter.pattern, sifter.hook) < 0) {
            return fail("grids." + name + "." + sifter.key + " is no pattern");
        }
    }
    return true;
}

// The sweep limits widen a station's own in the proportion that they have to the general ones.
double join_limit(double own, double general, double sweep) {
    const double wider = general > 0.0 ? std::max(1.0, sweep / general) : 1.0;
    return std::min(wider * own, std::max(own, sweep));
}

bool read_station_rules(SearchGrid& grid) {
    const SearchParams& sp = *grid.search;
    grid.station_rules.resize(static_cast<size_t>(grid.times.grid().ns));
    for (size_t i = 0; i < grid.station_rules.size(); ++i) {
        StationRule& rule = grid.station_rules[i];
        const char* code = grid.station(static_cast<int>(i)).sta;
        if (velorix_get_station_weight(grid.search.get(), code, &rule.p_weight, &rule.s_weight,
                                       &rule.p_limit, &rule.s_limit) != 0) {
            return fail("grids." + grid.name + ".station_weights: a pattern is none");
        }
        rule.p_join = join_limit(rule.p_limit, sp.p_max_resid, sp.p_max_resid_sweep);
        rule.s_join = join_limit(rule.s_limit, sp.s_max_resid, sp.s_max_resid_sweep);
    }
    return true;
}

}  // namespace

bool GridSet::add(Velorix* grid, const Parameters& parameters, int threads) {
    if (!owned_->by_name) owned_->by_name.reset(newarr(nullptr));
    const std::string name = name_text(grid->name);
    if (getarr(owned_->by_name.get(), name.c_str())) {
        return fail("two grids are called '" + name + "'");
    }
    if (grid->ns < 1 || grid->nn < 1 || !grid->P_times) {
        return fail("grid '" + name + "' has no stations, no nodes or no P times");
    }
    if (velorix_check_times(grid) != 0) return false;
    SearchGrid& added = owned_->grids.emplace_back(grid, name);
    added.search.reset(velorix_new_search(grid));
    if (!added.search) return false;
    derive_defaults(added.times, *added.search, added.rules);
    if (!read_grid_rules(parameters, name, added.search.get(), added.rules)) return false;
    added.search->number_threads = threads;
    if (velorix_setup_search(added.search.get()) != 0) return false;
    if (!check_sifters(name, *added.search) || !read_station_rules(added)) return false;
    double max_p = 0.0, min_s = 0.0, max_s = 0.0;
    velorix_get_minmax_ttimes(grid, &added.min_p, &max_p, &min_s, &max_s);
    return setarr(owned_->by_name.get(), name.c_str(), added.search.get()) == 0;
}

std::vector<std::string> GridSet::names() const {
    std::vector<std::string> out;
    for (const SearchGrid& grid : owned_->grids) out.push_back(grid.name);
    return out;
}

double GridSet::longest_window() const {
    double window = 0.0;
    for (const SearchGrid& grid : owned_->grids) window = std::max(window, grid.rules.window);
    return window;
}

std::string GridSet::show() const {
    std::string out;
    for (const SearchGrid& grid : owned_->grids) {
        out += show_grid_rules(grid.name, *grid.search, grid.rules);
    }
    return out;
}

namespace {

void complain_of_strange_grids(const SearchGrid& grid, const std::vector<std::string>& names) {
    for (int i = 0; i < maxtbl(grid.search->drop_if_in_grid); ++i) {
        const char* other = static_cast<char*>(gettbl(grid.search->drop_if_in_grid, i));
        if (std::find(names.begin(), names.end(), other) != names.end()) continue;
        complain("grids." + grid.name + ".drop_if_in_grid: no grid '" + other + "' in this run");
    }
}

/// Keys above all tables. A grid's rule that stands there by mistake gets the place it belongs to.
void complain_of_keys_above(Pf* root, const std::vector<std::string>& grids) {
    std::vector<std::string> rules;
    for (const std::string& grid : grids) {
        for (const char* key : grid_rule_keys()) rules.push_back("events." + grid + "." + key);
    }
    std::vector<const char*> known{"grids",       "events",       "history",         "lateness",
                                   "reuse_picks", "phase_labels", "stations_at_work"};
    for (const std::string& rule : rules) known.push_back(rule.c_str());
    pf_complain_unknown(root, "the parameter file", known.data(), static_cast<int>(known.size()));
}

}  // namespace

void GridSet::complain_unknown(const Parameters& parameters) const {
    const std::vector<std::string> names = this->names();
    for (const SearchGrid& grid : owned_->grids) {
        complain_of_strange_grids(grid, names);
        complain_unheeded(parameters, grid.name);
    }
    if (!parameters.root()) return;
    complain_of_keys_above(parameters.root(), names);
    std::vector<const char*> known;
    for (const std::string& name : names) known.push_back(name.c_str());
    for (const char* table : {"grids", "events"}) {
        Pf* node = nullptr;
        if (parse_param(parameters.root(), table, PF_ARRAY, 0, &node) != 1) continue;
        pf_complain_unknown(node, table, known.data(), static_cast<int>(known.size()));
    }
}

std::string rules_digest(const GridSet& grids, const StreamRules& rules) {
    const uint64_t hash = fnv1a(show_stream_rules(rules) + grids.show());
    return format("%016llx", static_cast<unsigned long long>(hash));
}

bool has_role(const Waiting& waiting) {
    return std::ranges::any_of(waiting.roles, [](const Role& role) { return role.station >= 0; });
}

void assign_roles(Waiting& waiting, const std::vector<SearchGrid>& grids, Labels labels) {
    const Label label = label_of(waiting.pick.phase);
    waiting.roles.assign(grids.size(), Role());
    for (size_t g = 0; g < grids.size(); ++g) {
        SearchParams* sp = grids[g].search.get();
        Role& role = waiting.roles[g];
        const bool any = labels == Labels::ignore || label == Label::unknown;
        const bool p = any || label == Label::p;
        const bool s = any || label == Label::s || (label == Label::p && labels == Labels::p_first);
        const std::string& channel = waiting.pick.channel;
        const bool phase = matches(waiting.pick.phase, sp->phase_sifter, &sp->hook_phase_sifter);
        role.p = p && phase && matches(channel, sp->p_channel_sifter, &sp->hook_p_channel_sifter);
        role.s = s && phase && matches(channel, sp->s_channel_sifter, &sp->hook_s_channel_sifter);
        role.sifted = role.p != p || role.s != s;
        role.search_s = role.s && sp->try_S != 0;
        role.s = role.s && sp->associate_S != 0;
        role.place = grids[g].station_of(waiting.pick);
        if (role.p || role.s || role.search_s) role.station = role.place;
    }
}

}  // namespace velorix::assoc
