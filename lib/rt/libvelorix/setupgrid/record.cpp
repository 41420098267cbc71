// A fresh record and its defaults; the end of any record.
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/elog/elog.h"
#include "setupgrid/builder_params.h"
#include "setupgrid/heap_layout.h"
#include "setupgrid/owned_grid.h"
#include "support/grid_view.h"

namespace velorix {

OwnedGrid* new_owned_grid() {
    auto* grid = new (std::nothrow) OwnedGrid{};
    if (!grid) return nullptr;
    grid->magic = VELORIX_MAGIC;
    grid->mode = -1;
    grid->type = -1;
    clear_layout(*grid);
    return grid;
}

bool fits_size_field(const char* who, const char* what, int64_t bytes) {
    if (bytes >= 0 && bytes <= kLargestHeap) return true;
    elog_log(0, "%s: %s of %lld bytes exceeds the limit of %lld bytes.\n", who, what,
             static_cast<long long>(bytes), static_cast<long long>(kLargestHeap));
    return false;
}

}  // namespace velorix

extern "C" Velorix* velorix_new(void) {
    Velorix* grid = velorix::new_owned_grid();
    if (!grid) elog_log(1, "velorix_new: malloc() error.\n");
    return grid;
}

extern "C" void velorix_free(Velorix* grid) {
    if (!grid) return;
    auto* owned = static_cast<velorix::OwnedGrid*>(grid);
    freearr(owned->sta_arr, nullptr);
    if (!owned->backing) {
        std::free(owned->stations);
        std::free(owned->depths);
        std::free(owned->sources);
    }
    delete owned;
}

extern "C" void velorix_release(void* grid) { velorix_free(static_cast<Velorix*>(grid)); }
