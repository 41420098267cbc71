// Distance windows of the blocks, so that a single question looks only where an answer can be.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/ttcalc/ray_table.h"
#include "platform/ttcalc/segment.h"

namespace velorix::tt {
namespace {

// Sources between two rows are covered by both rows' windows up to the interpolation's own error.
constexpr double kMargin = 1e-3;  // rad

}  // namespace

// Window for a source at the row's level and a receiver at the surface.
Window RayTable::block_window(const Block& block, int row) const {
    const int level = level_of_row_[static_cast<size_t>(row)];
    const Window everywhere{0.0, 2.0 * std::numbers::pi};
    if (level < block.start_level || block.reach < std::max(level, profile_.surface_level)) {
        return everywhere;
    }
    const Station source{level, false, {}}, surface{profile_.surface_level, false, {}};
    Window window{kNoBoundary, -kNoBoundary};
    Ray previous{};
    for (int i = block.first; i < block.first + block.count; ++i) {
        const Leg a = leg_to(block, i, source), b = leg_to(block, i, surface);
        const Ray ray{p(i), a.x + b.x, a.t + b.t};
        window.nearest = std::min(window.nearest, ray.x);
        window.farthest = std::max(window.farthest, ray.x);
        if (i > block.first) {
            const Window between = Segment(previous, ray, shape(i - 1)).window();
            window.nearest = std::min(window.nearest, between.nearest);
            window.farthest = std::max(window.farthest, between.farthest);
        }
        previous = ray;
    }
    window.nearest -= kMargin;
    window.farthest += kMargin;
    if (block.kind == RayKind::kDiffracted) window.farthest = std::numbers::pi + kMargin;
    return window;
}

// A ray upward from anywhere between this row and the next covers at most the shells between them
// at grazing incidence, and what its largest ray parameter covers above.
double RayTable::farthest_up_from(int row) const {
    const int low = level_of_row_[static_cast<size_t>(row)];
    const int end = std::min(row + 1, static_cast<int>(level_of_row_.size()) - 1);
    const int high = level_of_row_[static_cast<size_t>(end)];
    if (high > profile_.surface_level) return 2.0 * std::numbers::pi;
    double steepest = 0.0, x = 0.0;
    for (int k = low; k < high; ++k) {
        const Shell& shell = profile_.shell(k);
        const double grazing = std::min(shell.bottom.eta, shell.top.eta);
        steepest = std::max({steepest, shell.bottom.eta, shell.top.eta});
        x += shell_leg(shell.bottom, shell.top, grazing).x;
    }
    const Station from{high, false, {}}, surface{profile_.surface_level, false, {}};
    return x + leg_between(from, surface, std::min(steepest, largest_p(from, surface))).x + kMargin;
}

// The PKP branch runs from the core's surface (far, shallow) over its nearest distance, the
// caustic, to the inner core (far again, steep).
double RayTable::find_caustic(int row) const {
    const Station source{level_of_row_[static_cast<size_t>(row)], false, {}};
    const Station surface{profile_.surface_level, false, {}};
    double nearest = kNoBoundary, caustic = 0.0;
    for (const Block& block : blocks_) {
        if (block.branch != Branch::kOuterNear || block.reach < source.level) continue;
        const Station end = block.reach < surface.level ? source : surface;
        Ray previous{};
        for (int i = block.first; i < block.first + block.count; ++i) {
            const Leg a = leg_to(block, i, source), b = leg_to(block, i, end);
            const Ray ray{p(i), a.x + b.x, a.t + b.t};
            if (ray.x < nearest) {
                nearest = ray.x;
                caustic = ray.p;
            }
            if (i > block.first) {
                const Segment segment(previous, ray, shape(i - 1));
                const double w = segment.x2 != 0.0 ? -segment.x1 / (2.0 * segment.x2) : 0.0;
                if (w > 0.0 && w < 1.0 && segment.x + 0.5 * w * segment.x1 < nearest) {
                    nearest = segment.x + 0.5 * w * segment.x1;
                    caustic = segment.at(w).p;
                }
            }
            previous = ray;
        }
    }
    return caustic;
}

void RayTable::fill_windows() {
    const int rows = static_cast<int>(level_of_row_.size());
    windows_.reserve(static_cast<size_t>(rows + 1) * blocks_.size());
    for (int row = 0; row < rows; ++row) {
        for (const Block& block : blocks_) windows_.push_back(block_window(block, row));
        farthest_up_.push_back(farthest_up_from(row));
        caustic_p_.push_back(find_caustic(row));
    }
    windows_.resize(windows_.size() + blocks_.size(), {0.0, 2.0 * std::numbers::pi});
}

}  // namespace velorix::tt
