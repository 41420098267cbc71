#include "builders.h"

#include <cstring>

#include "telegrid.h"

namespace velorix::tool {
namespace {

int setup_utele(Velorix* grid, const char* name, Pf* pf) {
    return velorix_setup_fromsourcearray_grid(grid, name, telegrid_20km_n, telegrid_20km_sources,
                                              pf);
}

constexpr Builder kBuilders[] = {
    {"edp", velorix_setup_edp_grid, "edp grid ", "velorix_setup_edp_grid() error.\n"},
    {"slow", velorix_setup_slowness_grid, "slowness grid ",
     "velorix_setup_slowness_grid() error.\n"},
    {"file", velorix_setup_readfromfile_grid, "file grid ",
     "velorix_setup_readfromfile_grid() error.\n"},
    {"utele", setup_utele, "utele grid ", "velorix_setup_fromsourcearray_grid() error.\n"}};

}  // namespace

const Builder* find_builder(const char* mode) {
    for (const Builder& builder : kBuilders) {
        if (std::strcmp(mode, builder.mode) == 0) return &builder;
    }
    return nullptr;
}

// Of the header's pointers a reader looks at the four markers of tables; these are the others.
void clear_addresses(char* heap) {
    auto& header = *reinterpret_cast<Velorix*>(heap);
    header.depths = nullptr;
    header.sources = nullptr;
    header.stations = nullptr;
    header.sta_arr = nullptr;
}

}  // namespace velorix::tool
