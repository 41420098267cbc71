#include "setupgrid/builder_params.h"

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "platform/elog/elog.h"
#include "support/grid_name.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

// Where networks share a code, stations are named with both.
void complain_of_networks(const char* who, const Velorix& grid, const std::string& code) {
    std::string names;
    for (const Station& station : stations(grid)) {
        const std::string name = station.sta;
        if (name.ends_with("_" + code)) names += (names.empty() ? "" : ", ") + name;
    }
    if (names.empty()) return;
    elog_complain(0, "%s: Station %s stands for several, name one of: %s.\n", who, code.c_str(),
                  names.c_str());
}

}  // namespace

bool BuilderParams::cannot(const char* key, Naming naming) const {
    elog_log(0, "%s: parse_param(%s) error.\n", who_, naming == Naming::key ? key : "");
    return false;
}

bool BuilderParams::finite(const char* key, double value) const {
    if (std::isfinite(value)) return true;
    elog_log(0, "%s: %s must be finite (%g).\n", who_, key, value);
    return false;
}

bool BuilderParams::real(const char* key, double& value, bool required, Naming naming) const {
    if (parse_param(pf_, key, PF_DOUBLE, required ? 1 : 0, &value) < 0) return cannot(key, naming);
    return finite(key, value);
}

bool BuilderParams::angle(const char* key, double limit, double& value) const {
    if (!real(key, value)) return false;
    if (std::fabs(value) <= limit) return true;
    elog_log(0, "%s: %s must be between %g and %g (%g).\n", who_, key, -limit, limit, value);
    return false;
}

bool BuilderParams::bound(const char* key, double& value, Naming naming) const {
    if (parse_param(pf_, key, PF_DOUBLE, 0, &value) < 0) return cannot(key, naming);
    if (!std::isnan(value)) return true;
    elog_log(0, "%s: %s must be a number (%g).\n", who_, key, value);
    return false;
}

bool BuilderParams::integer(const char* key, int& value, Naming naming) const {
    return parse_param(pf_, key, PF_INT, 1, &value) >= 0 || cannot(key, naming);
}

bool BuilderParams::count(const char* key, int largest, int& value) const {
    if (!integer(key, value, Naming::key)) return false;
    if (value >= 1 && value <= largest) return true;
    elog_log(0, "%s: %s must be between 1 and %d (%d).\n", who_, key, largest, value);
    return false;
}

bool BuilderParams::text(const char* key, Text& value, Naming naming, bool required) const {
    return parse_param(pf_, key, PF_STRING, required ? 1 : 0, out(value)) >= 0 ||
           cannot(key, naming);
}

bool BuilderParams::name(const char* key, Text& value, Naming naming) const {
    if (!text(key, value, naming)) return false;
    complain_if_cut(who_, key, value.get());
    return true;
}

bool BuilderParams::list(const char* key, Tbl*& value) const {
    return parse_param(pf_, key, PF_LIST, 1, &value) >= 0 || cannot(key, Naming::key);
}

bool BuilderParams::flag(const char* key, int& value) const {
    return parse_param(pf_, key, PF_BOOLEAN, 0, &value) >= 0 || cannot(key, Naming::none);
}

bool BuilderParams::reference(const Velorix& grid, double& latr, double& lonr) const {
    Text refsta;
    if (!text("refsta", refsta, Naming::key, false)) return false;
    if (!refsta) return angle("latr", 90.0, latr) && angle("lonr", 360.0, lonr);
    if (!grid.sta_arr) {
        elog_log(0, "%s: Must setup stations first.\n", who_);
        return false;
    }
    const auto* station = static_cast<const Station*>(getarr(grid.sta_arr, refsta.get()));
    if (!station) {
        complain_of_networks(who_, grid, refsta.get());
        elog_log(0, "%s: Cannot find coordinates for %s.\n", who_, refsta.get());
        return false;
    }
    latr = station->lat;
    lonr = station->lon;
    return true;
}

bool BuilderParams::times_wanted(const Wanted& wanted) const {
    if (wanted.P || wanted.S) return true;
    elog_log(0, "%s: Must compute P or S times.\n", who_);
    return false;
}

bool BuilderParams::tables(Velorix& grid) const {
    Wanted wanted;
    if (!flag("compute_P", wanted.P) || !flag("compute_S", wanted.S)) return false;
    mark_times(grid, wanted);
    if (!times_wanted(wanted) || !flag("compute_distances", wanted.distances)) return false;
    mark_distances(grid, wanted);
    return true;
}

void clear_layout(Velorix& grid) {
    constexpr double unset = -999.0;
    for (double* value :
         {&grid.latr, &grid.lonr, &grid.strike, &grid.xmin, &grid.xmax, &grid.ymin, &grid.ymax}) {
        *value = unset;
    }
    grid.ndist = 0;
    grid.dssize = 0;
    grid.ttsize = 0;
    grid.ttosize = 0;
    grid.distances = nullptr;
    grid.P_times = nullptr;
    grid.S_times = nullptr;
    grid.ttoffsets = nullptr;
}

void mark_times(Velorix& grid, const Wanted& wanted) {
    grid.P_times = wanted.P ? presence_marker<float>() : nullptr;
    grid.S_times = wanted.S ? presence_marker<float>() : nullptr;
}

void mark_distances(Velorix& grid, const Wanted& wanted) {
    grid.distances = wanted.distances ? presence_marker<float>() : nullptr;
}

bool pair_table_size(const char* who, int64_t nodes, int32_t ns, int32_t& bytes) {
    int64_t size = 0;
    if (__builtin_mul_overflow(nodes, int64_t{ns} * 4, &size)) size = INT64_MAX;
    if (!fits_size_field(who, "a travel-time table", size)) return false;
    bytes = static_cast<int32_t>(size);
    return true;
}

bool size_point_list(const char* who, Velorix& grid, int64_t nodes) {
    const int64_t srsize = nodes * static_cast<int64_t>(sizeof(Source));
    if (!pair_table_size(who, nodes, grid.ns, grid.ttsize) ||
        !fits_size_field(who, "the position array", srsize)) {
        return false;
    }
    grid.nx = 0;
    grid.ny = 0;
    grid.nd = 1;
    grid.nn = static_cast<int32_t>(nodes);
    grid.nh = grid.nn;
    grid.dpsize = static_cast<int32_t>(sizeof(double));
    grid.srsize = static_cast<int32_t>(srsize);
    if (grid.distances) grid.dssize = grid.ttsize;
    return true;
}

void complain_unknown_keys(const char* who, Pf* pf, const char* name,
                           std::span<const char* const> keys) {
    std::vector<const char*> known{"mode", "time", "stations"};
    known.insert(known.end(), keys.begin(), keys.end());
    complain_if_cut(who, "name", name);
    const std::string where = std::string("grid ") + name;
    pf_complain_unknown(pf, where.c_str(), known.data(), static_cast<int>(known.size()));
}

void complain_if_cut(const char* who, const char* key, const char* text) {
    if (std::strlen(text) <= VELORIX_NAME_SIZE) return;
    elog_complain(0, "%s: %s '%s' is cut to its first %d bytes.\n", who, key, text,
                  VELORIX_NAME_SIZE);
}

void set_names(Velorix& grid, const char* name, const char* method, const char* model) {
    set_name(grid.name, name);
    set_name(grid.method, method);
    set_name(grid.model, model);
}

}  // namespace velorix
