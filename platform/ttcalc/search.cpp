// A single answer without preparing whole curves: for depths that are asked for a few times only.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/ttcalc/curves.h"

namespace velorix::tt {
namespace {

constexpr double kPi = std::numbers::pi;

class Search {
  public:
    Search(const Pair& pair, Family family, const Lift& lift, double distance,
           std::vector<Arrival>& out)
        : pair_(pair), family_(family), lift_(lift), distance_(distance), out_(out) {}

    void run() {
        search_upgoing();
        const std::span<const Block> blocks = pair_.table().blocks();
        for (size_t b = 0; b < blocks.size(); ++b) {
            const Window window = block_window(blocks[b], static_cast<int>(b));
            const bool direct = contains(window, distance_);
            const bool folded = contains(window, 2.0 * kPi - distance_);
            if (direct || folded) search_block(blocks[b], direct, folded);
        }
    }

  private:
    static bool contains(const Window& window, double x) {
        return window.nearest <= x && x <= window.farthest;
    }

    Window block_window(const Block& block, int index) const {
        const RayTable& table = pair_.table();
        Window window = table.window(pair_.row(), index);
        if (block.start_level > pair_.low().level) {
            // The source is inside the turning layer: up to it and back, and on to the surface.
            window = {0.0, table.farthest_up(pair_.row()) + 2.0 * block.widest_x};
        }
        if (!lift_.is_flat()) window.farthest += block.highest_x;
        return window;
    }

    Ray lifted(const Run& run, int i) const {
        Ray ray = pair_.ray(run, i);
        if (!lift_.is_flat()) {
            const Leg leg = lift_.leg(ray.p);
            ray.x += leg.x;
            ray.t += leg.t;
        }
        return ray;
    }

    void add(const Run& run, const Segment& segment, double x, bool long_way) {
        add_hits(
            segment, x,
            {family_, run.branch, run.kind == Run::Kind::kUpgoing, long_way, pair_.caustic_p()},
            out_);
    }

    // Distance falls from the first ray of the run to the last, so that halving finds the interval.
    void search_upgoing() {
        const double farthest = pair_.table().farthest_up(pair_.row()) +
                                (lift_.is_flat() ? 0.0 : lift_.leg(pair_.largest_p()).x);
        if (distance_ > farthest) return;
        const Run run = pair_.upgoing();
        if (run.count < 2 || (run.flat && lift_.is_flat())) return;
        int low = 0, high = run.count - 1;
        Ray first = lifted(run, low), last = lifted(run, high);
        if (distance_ > first.x + 1e-12) return;
        while (high - low > 1) {
            const int middle = (low + high) / 2;
            const Ray ray = lifted(run, middle);
            (ray.x >= distance_ ? low : high) = middle;
            (ray.x >= distance_ ? first : last) = ray;
        }
        add(run, Segment(first, last, pair_.shape(run, low)), distance_, false);
    }

    void search_block(const Block& block, bool direct, bool folded) {
        const Run run = pair_.downgoing(block);
        if (run.count < 2) return;
        folded = folded && run.kind != Run::Kind::kDiffracted;
        const int row = pair_.row();
        const bool windows = run.kind == Run::Kind::kSampled && pair_.table().covers(block, row);
        Ray before{};
        int ready = -1;  // the ray that `before` holds
        for (int i = 1; i < run.count; ++i) {
            if (windows && !may_hold(block, block.first + i, direct, folded)) continue;
            if (ready != i - 1) before = lifted(run, i - 1);
            const Ray ray = lifted(run, i);
            const Segment segment(before, ray, pair_.shape(run, i - 1));
            if (direct) add(run, segment, distance_, false);
            if (folded) add(run, segment, 2.0 * kPi - distance_, true);
            before = ray;
            ready = i;
        }
    }

    // Whether the interval that ends with a sample can reach the distance, from the table's rows
    // above and below the source alone. A caustic inside goes beyond both ends by less than the
    // margin.
    bool may_hold(const Block& block, int sample, bool direct, bool folded) const {
        const RayTable& table = pair_.table();
        const Window a = table.sample_window(pair_.row(), sample - 1);
        const Window b = table.sample_window(pair_.row(), sample);
        const double margin = 1e-4 + std::fabs(a.nearest - b.nearest);
        const double lift = lift_.is_flat() ? 0.0 : block.highest_x;
        const Window window{std::min(a.nearest, b.nearest) - margin,
                            std::max(a.farthest, b.farthest) + margin + lift};
        return (direct && contains(window, distance_)) ||
               (folded && contains(window, 2.0 * kPi - distance_));
    }

    const Pair& pair_;
    Family family_;
    const Lift& lift_;
    double distance_;
    std::vector<Arrival>& out_;
};

}  // namespace

void search_arrivals(const Pair& pair, Family family, const Lift& lift, double distance,
                     std::vector<Arrival>& out) {
    Search(pair, family, lift, distance, out).run();
}

}  // namespace velorix::tt
