#include "setupgrid/builder_params.h"

#include <cstring>
#include <string>
#include <vector>

#include "platform/elog/elog.h"
#include "support/grid_view.h"
#include "support/text.h"

namespace velorix {

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
