// The scan's score plot: the score of every horizontal node in the last full pass.
#include <algorithm>

#include "grsubs/scan_pass.h"
#include "platform/elog/elog.h"
#include "support/c_array.h"

namespace velorix {
namespace {

CArray<float> make_buffer(const char* what, int64_t count) {
    auto buffer = make_c_array<float>(static_cast<size_t>(count));
    if (!buffer) {
        elog_log(1, "velorix_scan_grid_comp: malloc(%s,%ld) error.\n", what,
                 static_cast<long>(count * int64_t{sizeof(float)}));
    }
    return buffer;
}

void fill_axis(float* axis, int n, double from, double to) {
    for (int i = 0; i < n; ++i) {
        axis[i] = static_cast<float>(n > 1 ? from + i * (to - from) / (n - 1) : from);
    }
}

bool make_buffers(SearchParams& sp, int64_t nodes) {
    const Velorix& grid = *sp.velorix;
    auto plot = make_buffer("plot_buffer", nodes);
    if (!plot) return false;
    auto x = make_buffer("x_buffer", grid.nx);
    if (!x) return false;
    auto y = make_buffer("y_buffer", grid.ny);
    if (!y) return false;
    fill_axis(x.get(), grid.nx, grid.xmin, grid.xmax);
    fill_axis(y.get(), grid.ny, grid.ymin, grid.ymax);
    sp.plot_buffer = plot.release();
    sp.x_buffer = x.release();
    sp.y_buffer = y.release();
    return true;
}

}  // namespace

bool prepare_score_plot(SearchParams& sp) {
    const Velorix& grid = *sp.velorix;
    const int64_t nodes = int64_t{grid.nx} * grid.ny;
    const bool wanted =
        sp.bugrid_filename && grid.mode == VELORIX_MODE_REGULAR && grid.type == VELORIX_TYPE_1D;
    if (wanted && !sp.plot_buffer && !make_buffers(sp, nodes)) return false;
    if (sp.plot_buffer) std::fill_n(sp.plot_buffer, nodes, 0.0F);
    return true;
}

}  // namespace velorix
