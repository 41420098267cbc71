#include "platform/ttcalc/curves.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velorix::tt {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr int kBins = 512;
constexpr double kBinsPerRadian = kBins / kPi;

// A query may miss the end of a branch by rounding.
constexpr double kSlack = 2e-12;  // rad

int bin_of(double distance) {
    return std::clamp(static_cast<int>(distance * kBinsPerRadian), 0, kBins - 1);
}

}  // namespace

Curves::Curves(const Pair& pair, Family family) : family_(family), caustic_p_(pair.caustic_p()) {
    const Profile& profile = pair.table().profile();
    const Lift highest = pair.ends_at_surface() ? Lift(profile, kTopHeight) : Lift();
    add_run(pair, pair.upgoing(), highest);
    for (const Block& block : pair.table().blocks()) add_run(pair, pair.downgoing(block), highest);
    build_index();
}

void Curves::add_run(const Pair& pair, const Run& run, const Lift& highest) {
    for (int i = 0; i < run.count; ++i) {
        const Ray ray = pair.ray(run, i);
        rays_.push_back(ray);
        if (i == 0) continue;
        const Ray& before = rays_[rays_.size() - 2];
        const double shape = pair.shape(run, i - 1);
        Piece piece{Segment(before, ray, shape),
                    0.0,
                    0.0,
                    0.0,
                    static_cast<int>(rays_.size()) - 2,
                    shape,
                    run.branch,
                    run.kind == Run::Kind::kUpgoing,
                    run.flat};
        const Window window = piece.segment.window();
        piece.nearest = window.nearest - kSlack;
        piece.farthest = window.farthest + kSlack;
        if (!highest.is_flat()) piece.highest = highest.leg(before.p).x;
        pieces_.push_back(piece);
    }
}

// Calls visit(bin, entry) for every bin that a piece may answer in, lifted or not.
template <class Visit>
void Curves::each_bin(Visit visit) const {
    for (size_t i = 0; i < pieces_.size(); ++i) {
        const Piece& piece = pieces_[i];
        const double farthest = piece.farthest + piece.highest;
        const uint32_t entry = static_cast<uint32_t>(i) * 2;
        if (piece.nearest <= kPi) {
            for (int b = bin_of(piece.nearest); b <= bin_of(farthest); ++b) visit(b, entry);
        }
        if (farthest > kPi + 1e-9 && piece.branch != Branch::kDiffracted) {
            const double folded = 2.0 * kPi - piece.nearest;
            for (int b = bin_of(2.0 * kPi - farthest); b <= bin_of(folded); ++b)
                visit(b, entry + 1);
        }
    }
}

void Curves::build_index() {
    bin_start_.assign(kBins + 1, 0);
    each_bin([&](int bin, uint32_t) { ++bin_start_[static_cast<size_t>(bin) + 1]; });
    for (size_t b = 0; b < kBins; ++b) bin_start_[b + 1] += bin_start_[b];
    bin_pieces_.resize(bin_start_.back());
    std::vector<uint32_t> next(bin_start_.begin(), bin_start_.end() - 1);
    each_bin(
        [&](int bin, uint32_t entry) { bin_pieces_[next[static_cast<size_t>(bin)]++] = entry; });
}

void Curves::arrivals(const Lift& lift, double distance, std::vector<Arrival>& out) const {
    const size_t bin = static_cast<size_t>(bin_of(distance));
    const bool lifted = !lift.is_flat();
    for (uint32_t at = bin_start_[bin]; at < bin_start_[bin + 1]; ++at) {
        const Piece& piece = pieces_[bin_pieces_[at] / 2];
        const bool long_way = bin_pieces_[at] % 2 != 0;
        const double x = long_way ? 2.0 * kPi - distance : distance;
        if (x < piece.nearest || x > piece.farthest + (lifted ? piece.highest : 0.0)) continue;
        if (piece.flat && !lifted) continue;
        const BranchNames names{family_, piece.branch, piece.upward, long_way, caustic_p_};
        if (lifted) {
            const Ray* ray = &rays_[static_cast<size_t>(piece.ray)];
            add_hits(lifted_segment(ray[0], ray[1], piece.shape, lift), x, names, out);
        } else {
            add_hits(piece.segment, x, names, out);
        }
    }
}

size_t Curves::bytes() const {
    return sizeof(Curves) + pieces_.capacity() * sizeof(Piece) + rays_.capacity() * sizeof(Ray) +
           (bin_start_.capacity() + bin_pieces_.capacity()) * sizeof(uint32_t);
}

}  // namespace velorix::tt
