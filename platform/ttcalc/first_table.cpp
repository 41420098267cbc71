#include "platform/ttcalc/first_table.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "platform/ttcalc/arrival_selection.h"

namespace velorix::tt {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kInfinite = std::numeric_limits<double>::infinity();

// Entries are wider than their pieces by this: what a query has to look at beside an answer.
constexpr double kMargin = 1e-6;  // rad
// A lead that counts: lifted segments err by less than 1e-6 s against the rays they stand for.
constexpr double kLead = 2e-4;  // s
// A longer list is dropped, and all arrivals are computed: beside a source at the surface hardly
// any ray can be ruled out for all heights of a receiver.
constexpr size_t kMostEntries = 40;
// Ends of two runs closer than this are one ray.
constexpr double kSameDistance = 1e-11;  // rad
constexpr double kSameTime = 1e-8;       // s

double slowness_at(double eta2, double p, double r) {
    return std::sqrt(std::max(0.0, eta2 - p * p)) / r;
}

/// The layer above the surface, as one family meets it.
struct Top {
    double eta = 0.0, height = 0.0;
    Lift lift;  // to the height

    Top(const RayTable& table, double highest) : height(highest) {
        const Profile& profile = table.profile();
        eta = profile.shell(profile.surface_level).bottom.eta;
        if (highest > 0.0) lift = Lift(profile, highest);
    }
    double distance(double p) const { return height > 0.0 ? lift.leg(p).x : 0.0; }
    /// Distance per height, at the surface; not less anywhere above it.
    double rate(double p) const {
        const double q = slowness_at(eta * eta, p, kEarthRadius);
        return q > 0.0 ? p / (kEarthRadius * kEarthRadius * q) : kInfinite;
    }
    /// Time of a ray to the height less p0 times the distance; least at p = p0.
    double reduced_time(double p, double p0) const {
        if (!(height > 0.0)) return 0.0;
        if (p > eta) return -kInfinite;
        const Leg leg = lift.leg(p);
        return leg.t - p0 * leg.x;
    }
};

/// Time and slope at a distance of a piece.
struct Place {
    double x, t, p;
};

/// A piece while the table is made.
struct Arc {
    FirstPiece piece;
    double nearest, farthest;  // rad, of the unlifted piece
    FirstEntry entry;
    bool linked = false;  // the next arc goes on where this one ends

    bool folds() const { return piece.flat.x1 * (piece.flat.x1 + 2.0 * piece.flat.x2) < 0.0; }
};

Place place_at(const Arc& arc, double x) {
    const FirstPiece& piece = arc.piece;
    for (const Ray& ray : {piece.a, piece.b}) {
        if (std::fabs(x - ray.x) < kSameDistance) return {ray.x, ray.t, ray.p};
    }
    double w[2];
    const int n = piece.flat.find(x, w);
    Place place{x, kInfinite, 0.0};
    for (int i = 0; i < n; ++i) {
        const Hit hit = piece.flat.at(w[i]);
        if (hit.t < place.t) place = {x, hit.t, hit.p};
    }
    return place;
}

/// Bounds of reduced time.
struct Reduced {
    double least = kInfinite, most = -kInfinite;
    void add(double t, double slack) {
        least = std::min(least, t - slack);
        most = std::max(most, t + slack);
    }
};

class Maker {
  public:
    Maker(const ModelRays& rays, First which, double highest)
        : which_(which), tops_{Top(rays.p, highest), Top(rays.s, highest)}, highest_(highest) {}

    void add_family(const Curves& curves, Family family) {
        add_ways(curves, family, false);
        add_ways(curves, family, true);
    }
    void link();
    void fill(std::vector<FirstPiece>& pieces, std::vector<FirstEntry>& entries,
              std::vector<uint32_t>& bin_start);

  private:
    const Top& top(const Arc& arc) const { return tops_[static_cast<int>(arc.piece.family)]; }
    double limit(Family family, Branch branch) const;
    void add_ways(const Curves& curves, Family family, bool long_way);
    void set_entry(Arc& arc, double most) const;
    Reduced reduced(const Arc& arc, double b0, double b1, double p0) const;
    struct Chain {
        size_t begin = 0, end = 0;  // of the bin's list
        Place middle{0.0, kInfinite, 0.0};
    };
    bool extend(Chain& chain, const std::vector<uint32_t>& list, double b0, double b1) const;
    Chain earliest_chain(const std::vector<uint32_t>& list, double b0, double b1) const;
    void prune(std::vector<uint32_t>& list, double b0, double b1) const;

    First which_;
    Top tops_[2];
    double highest_;
    std::vector<Arc> arcs_;
};

// The distance up to which arrivals of a branch may be first: negative for never.
double Maker::limit(Family family, Branch branch) const {
    const char* name = phase_name(family, branch).data();
    const auto qualifies = [&](double distance) {
        return which_ == First::kP ? qualifies_as_P(name, distance)
                                   : qualifies_as_S(name, distance);
    };
    if (qualifies(180.0)) return kInfinite;
    return qualifies(0.0) ? kDiffractedLimit : -1.0;
}

void Maker::add_ways(const Curves& curves, Family family, bool long_way) {
    const Top& top = tops_[static_cast<int>(family)];
    for (const Curves::Piece& p : curves.pieces()) {
        const double most = limit(family, p.branch);
        if (most < 0.0 || (p.flat && !(highest_ > 0.0))) continue;
        const Ray &a = curves.ray(p.ray), &b = curves.ray(p.ray + 1);
        if (long_way &&
            (p.branch == Branch::kDiffracted || p.farthest + top.distance(a.p) < kPi - kMargin)) {
            continue;
        }
        const Window window = p.segment.window();
        Arc arc{{a, b, p.shape, p.segment, family, p.branch, p.upward, long_way, true, true},
                window.nearest,
                window.farthest,
                {}};
        set_entry(arc, most);
        arcs_.push_back(arc);
    }
}

void Maker::set_entry(Arc& arc, double most) const {
    const Top& up = top(arc);
    FirstEntry& entry = arc.entry;
    entry = {arc.nearest - kMargin, arc.farthest + kMargin, 0.0, 0.0, 0};
    if (highest_ > 0.0) {
        // Distance grows by less and less with height: the chord is below, the tangent above it.
        const double farthest = up.distance(arc.piece.a.p), rate = up.rate(arc.piece.a.p);
        entry.lo_slope = up.distance(arc.piece.b.p) / highest_ * (1.0 - 1e-9);
        if (rate * highest_ < 2.0 * farthest) {
            entry.hi_slope = rate * (1.0 + 1e-9);
        } else {
            entry.hi += farthest;
        }
    }
    if (arc.piece.long_way) {
        entry = {2.0 * kPi - entry.hi, 2.0 * kPi - entry.lo, -entry.hi_slope, -entry.lo_slope, 0};
    }
    if (entry.hi + highest_ * entry.hi_slope > most) {
        entry.hi = most;
        entry.hi_slope = 0.0;
    }
}

void Maker::link() {
    for (size_t i = 0; i + 1 < arcs_.size(); ++i) {
        FirstPiece &here = arcs_[i].piece, &next = arcs_[i + 1].piece;
        if (here.long_way != next.long_way || here.family != next.family) continue;
        if (std::fabs(here.b.x - next.a.x) > kSameDistance ||
            std::fabs(here.b.t - next.a.t) > kSameTime || here.b.p != next.a.p) {
            continue;
        }
        arcs_[i].linked = true;
        here.b_ends = next.a_ends = false;
    }
}

// Bounds of T - p0 (distance - b0) of an arc at the surface, where it can arrive in the bin.
Reduced Maker::reduced(const Arc& arc, double b0, double b1, double p0) const {
    const double lift = top(arc).distance(arc.piece.a.p);
    double begin = b0 - lift, end = b1;
    if (arc.piece.long_way) {
        begin = 2.0 * kPi - b1 - lift;
        end = 2.0 * kPi - b0;
    }
    begin = std::clamp(begin, arc.nearest, arc.farthest);
    end = std::clamp(end, arc.nearest, arc.farthest);
    const FirstPiece& piece = arc.piece;
    Place low = place_at(arc, begin), high = place_at(arc, end);
    double slack = 0.0;
    if (arc.folds() || low.t == kInfinite || high.t == kInfinite) {
        low = {piece.a.x, piece.a.t, piece.a.p};
        high = {piece.b.x, piece.b.t, piece.b.p};
        slack = std::fabs(piece.a.p - piece.b.p) * (arc.farthest - arc.nearest);
    }
    slack += std::fabs(low.p - high.p) * std::fabs(high.x - low.x);
    Reduced bounds;
    for (const Place& place : {low, high}) {
        const double distance = piece.long_way ? 2.0 * kPi - place.x : place.x;
        bounds.add(place.t - p0 * (distance - b0), slack);
    }
    return bounds;
}

// Extends a list's entry over linked neighbours until they answer everywhere in a bin at every
// height.
bool Maker::extend(Chain& chain, const std::vector<uint32_t>& list, double b0, double b1) const {
    const auto arc = [&](size_t k) -> const Arc& { return arcs_[list[k]]; };
    const auto is_over = [&](const Arc& it, const Ray& end, bool near) {
        return near ? end.x + top(it).distance(end.p) <= b0 : end.x >= b1;
    };
    const auto linked = [&](size_t k) { return arc(k).linked && list[k + 1] == list[k] + 1; };
    const bool forward = arc(chain.begin).piece.a.x < arc(chain.begin).piece.b.x;
    while (!is_over(arc(chain.begin), arc(chain.begin).piece.a, forward)) {
        if (chain.begin == 0 || !linked(chain.begin - 1)) return false;
        --chain.begin;
    }
    while (!is_over(arc(chain.end - 1), arc(chain.end - 1).piece.b, !forward)) {
        if (chain.end == list.size() || !linked(chain.end - 1)) return false;
        ++chain.end;
    }
    return std::all_of(list.begin() + static_cast<std::ptrdiff_t>(chain.begin),
                       list.begin() + static_cast<std::ptrdiff_t>(chain.end), [&](uint32_t i) {
                           return arcs_[i].piece.branch != Branch::kDiffracted ||
                                  arcs_[i].entry.hi >= b1;
                       });
}

Maker::Chain Maker::earliest_chain(const std::vector<uint32_t>& list, double b0, double b1) const {
    Chain best;
    const double middle = 0.5 * (b0 + b1);
    for (size_t k = 0; k < list.size(); ++k) {
        const Arc& arc = arcs_[list[k]];
        if (arc.piece.long_way || middle < arc.nearest || middle > arc.farthest) continue;
        Chain chain{k, k + 1, place_at(arc, middle)};
        if (chain.middle.t < best.middle.t && extend(chain, list, b0, b1)) best = chain;
    }
    return best;
}

// Leaves out what a chain is ahead of.
void Maker::prune(std::vector<uint32_t>& list, double b0, double b1) const {
    if (list.size() < 2) return;
    const Chain chain = earliest_chain(list, b0, b1);
    if (chain.end == 0) return;
    const double p0 = chain.middle.p;
    const Top& chain_top = top(arcs_[list[chain.begin]]);
    const double least = chain_top.reduced_time(p0, p0);
    double behind = -kInfinite, gain = 0.0;
    for (size_t k = chain.begin; k < chain.end; ++k) {
        const Arc& arc = arcs_[list[k]];
        behind = std::max(behind, reduced(arc, b0, b1, p0).most);
        for (const double p : {arc.piece.a.p, arc.piece.b.p})
            gain = std::max(gain, chain_top.reduced_time(p, p0) - least);
    }
    const auto is_behind = [&](uint32_t i) {
        const Arc& arc = arcs_[i];
        const double its_least = arc.piece.long_way ? 0.0 : top(arc).reduced_time(p0, p0);
        return reduced(arc, b0, b1, p0).least - behind >
               gain + std::max(0.0, least - its_least) + kLead;
    };
    std::erase_if(list, is_behind);
}

void Maker::fill(std::vector<FirstPiece>& pieces, std::vector<FirstEntry>& entries,
                 std::vector<uint32_t>& bin_start) {
    const size_t bins = FirstTable::bin_of(kPi) + 1;
    std::vector<std::vector<uint32_t>> lists(bins);
    const auto bin = [&](double x) { return FirstTable::bin_of(std::clamp(x, 0.0, kPi)); };
    for (size_t i = 0; i < arcs_.size(); ++i) {
        const FirstEntry& entry = arcs_[i].entry;
        const double lo = entry.lo + highest_ * std::min(0.0, entry.lo_slope);
        const double hi = entry.hi + highest_ * std::max(0.0, entry.hi_slope);
        if (!(lo <= kPi) || !(hi >= 0.0)) continue;
        for (size_t b = bin(lo); b <= bin(hi); ++b) lists[b].push_back(static_cast<uint32_t>(i));
    }
    constexpr uint32_t kUnused = 0xffffffff;
    std::vector<uint32_t> place(arcs_.size(), kUnused);
    bin_start.assign(1, 0);
    for (size_t b = 0; b < bins; ++b) {
        // A little wider: the bin of a distance is found with rounding.
        prune(lists[b], FirstTable::bin_begin(b) - 1e-12,
              std::min(kPi, FirstTable::bin_begin(b + 1)) + 1e-12);
        if (lists[b].size() > kMostEntries) lists[b].clear();
        for (const uint32_t i : lists[b]) {
            if (place[i] == kUnused) {
                place[i] = static_cast<uint32_t>(pieces.size());
                pieces.push_back(arcs_[i].piece);
            }
            entries.push_back(arcs_[i].entry);
            entries.back().piece = place[i];
        }
        bin_start.push_back(static_cast<uint32_t>(entries.size()));
    }
}

}  // namespace

FirstTable::FirstTable(const ModelRays& rays, const PreparedPair& pair, First which,
                       double highest) {
    Maker maker(rays, which, highest);
    maker.add_family(pair.p, Family::kP);
    maker.add_family(pair.s, Family::kS);
    maker.link();
    maker.fill(pieces_, entries_, bin_start_);
    pieces_.shrink_to_fit();
    entries_.shrink_to_fit();
}

}  // namespace velorix::tt
