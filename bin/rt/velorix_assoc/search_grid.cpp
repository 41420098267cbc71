#include "search_grid.h"

#include <algorithm>
#include <cstring>

#include "platform/strmatch/strmatches.h"
#include "text.h"

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

bool SearchGrid::at_work(int station, double time) const {
    const Activity* known = activity[static_cast<size_t>(station)];
    return known ? known->near(time) : alive[static_cast<size_t>(station)] != 0;
}

bool GridSet::load(const std::vector<std::string>& paths, const ParameterFile& file, int threads) {
    for (const std::string& path : paths) {
        Tbl* list = nullptr;
        if (velorix_read_file(path.c_str(), &list) < 0) return fail(path + ": no grids read");
        files_.emplace_back(list);
        for (int i = 0; i < maxtbl(list); ++i) {
            if (!add(static_cast<Velorix*>(gettbl(list, i)), file, threads)) return false;
        }
    }
    return !grids_.empty() || fail("the grid files hold no grid");
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

bool read_station_rules(SearchGrid& grid) {
    grid.stations.resize(static_cast<size_t>(grid.times.grid().ns));
    for (size_t i = 0; i < grid.stations.size(); ++i) {
        StationRule& rule = grid.stations[i];
        const char* code = grid.station(static_cast<int>(i)).sta;
        if (velorix_get_station_weight(grid.search.get(), code, &rule.p_weight, &rule.s_weight,
                                       &rule.p_limit, &rule.s_limit) != 0) {
            return fail("grids." + grid.name + ".station_weights: a pattern is none");
        }
    }
    return true;
}

}  // namespace

bool GridSet::add(Velorix* grid, const ParameterFile& file, int threads) {
    if (!by_name_) by_name_.reset(newarr(nullptr));
    const std::string name(grid->name, strnlen(grid->name, VELORIX_NAME_SIZE));
    if (getarr(by_name_.get(), name.c_str())) {
        return fail("two grids are called '" + name + "'");
    }
    if (grid->ns < 1 || grid->nn < 1 || !grid->P_times) {
        return fail("grid '" + name + "' has no stations, no nodes or no P times");
    }
    SearchGrid& added = grids_.emplace_back(grid, name);
    added.search.reset(velorix_new_search(grid));
    if (!added.search) return false;
    derive_defaults(added.times, *added.search, added.rules);
    if (!read_grid_rules(file, name, added.search.get(), added.rules)) return false;
    added.search->number_threads = threads;
    if (velorix_setup_search(added.search.get()) != 0) return false;
    if (!check_sifters(name, *added.search) || !read_station_rules(added)) return false;
    double max_p = 0.0, min_s = 0.0, max_s = 0.0;
    velorix_get_minmax_ttimes(grid, &added.min_p, &max_p, &min_s, &max_s);
    added.alive.assign(static_cast<size_t>(grid->ns), 0);
    added.activity.assign(static_cast<size_t>(grid->ns), nullptr);
    return setarr(by_name_.get(), name.c_str(), added.search.get()) == 0;
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
