#include "platform/ttcalc/first_times.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numbers>

#include "platform/geodesy/geodesy.h"
#include "platform/ttcalc/arrival_selection.h"
#include "platform/ttcalc/state.h"

namespace velorix::tt {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr double kPerDegree = 57.29577951308232;  // degrees a radian, as grids have it

// Where the distance itself, or the rule at the end of diffraction, asks for more than a table
// knows.
constexpr double kNearest = 1e-7;         // rad
constexpr double kFarthest = kPi - 2e-3;  // rad
constexpr double kNearLimit = 1e-9;       // rad
// A segment answers from w = 0 to 1; rounding moves w by less than the first. Closer than the
// second to the end of a branch all arrivals are computed.
constexpr double kSlack = 1e-9;
constexpr double kNearEnd = 1e-6;

// Tables of a pair of radii take as long to make as this many receivers take without them.
constexpr size_t kAskedBeforeTable = 1500;
constexpr size_t kVisits = 1024;
// Receivers after which a table that was not used gives way.
constexpr int64_t kUnused = 100000;

// Tables are made for heights up to one of these, km: the lower, the fewer pieces may be first.
double height_class(double highest) {
    if (!(highest > 0.0)) return 0.0;
    for (const double height : {1.0, 2.5, 5.0}) {
        if (highest <= height) return height;
    }
    return kTopHeight;
}

size_t mix(double a, double b) {
    const uint64_t bits = std::bit_cast<uint64_t>(a) * 0x9E3779B97F4A7C15u +
                          std::bit_cast<uint64_t>(b) * 0xC2B2AE3D27D4EB4Fu;
    return static_cast<size_t>(bits ^ (bits >> 29));
}

double great_circle_degrees(const TTGeometry& geometry) {
    const auto radians = [](double degrees) { return degrees * kPi / 180.0; };
    const TTPoint &source = geometry.source, &receiver = geometry.receiver;
    double delta = 0.0;
    dist(radians(receiver.lat), radians(receiver.lon), radians(source.lat), radians(source.lon),
         &delta, nullptr);
    return delta * kPerDegree;
}

}  // namespace

FirstTableCache::FirstTableCache(std::shared_ptr<const ModelRays> rays)
    : rays_(std::move(rays)), visits_(kVisits) {}

bool FirstTableCache::has_room() {
    while (bytes_ > kMostBytes && asked_ - tables_.back().last_use > kUnused) {
        bytes_ -= tables_.back().bytes();
        tables_.pop_back();
    }
    return bytes_ <= kMostBytes;
}

const FirstTables* FirstTableCache::find(double r_low, double r_end, double highest,
                                         size_t receivers) {
    const double height = height_class(highest);
    asked_ += static_cast<int64_t>(receivers);
    const auto same = [&](const FirstTables& t) {
        return t.r_low == r_low && t.r_end == r_end && t.highest == height;
    };
    const auto found = std::ranges::find_if(tables_, same);
    if (found != tables_.end()) {
        tables_.splice(tables_.begin(), tables_, found);
        found->last_use = asked_;
        return &*found;
    }
    Visit& visit = visits_[mix(r_low, r_end) % kVisits];
    if (visit.r_low != r_low || visit.r_end != r_end) visit = {r_low, r_end, 0};
    visit.asked += receivers;
    if (visit.asked <= kAskedBeforeTable || !has_room()) return nullptr;
    const PreparedPair pair = rays_->prepare(r_low, r_end);
    tables_.push_front({r_low, r_end, height, FirstTable(*rays_, pair, First::kP, height),
                        FirstTable(*rays_, pair, First::kS, height), asked_});
    bytes_ += tables_.front().bytes();
    return &tables_.front();
}

/// Scratch of one batch of receivers.
struct FirstTimes::Batch {
    static constexpr size_t kMost = 64;

    struct Best {
        double time[kMost], ray[kMost];
        const FirstPiece* piece[kMost];
    };
    double distance[kMost], height[kMost];
    bool search[kMost];
    Best best[2];
    SegmentItems items;
    uint32_t receiver[SegmentItems::kMost];
    uint32_t piece[SegmentItems::kMost];
    size_t n = 0;
    double eta[2], slowness[2];  // at the surface, by family
};

FirstTimes::FirstTimes(std::shared_ptr<const ModelRays> rays)
    : rays_(rays), tables_(std::move(rays)), batch_(std::make_unique<Batch>()) {
    for (const Family family : {Family::kP, Family::kS}) {
        const Profile& profile = rays_->table(family).profile();
        const RayPoint& surface = profile.shell(profile.surface_level).bottom;
        batch_->eta[static_cast<int>(family)] = surface.eta;
        batch_->slowness[static_cast<int>(family)] = surface.w;
    }
}

FirstTimes::~FirstTimes() = default;

void FirstTimes::fill(State& state, const TTPoint& source, const TTReceivers& receivers, TTFirst* p,
                      TTFirst* s, double* distance) {
    p_ = p;
    s_ = s;
    distance_ = distance;
    count_.all += static_cast<int64_t>(receivers.size());
    const double r_source = kEarthRadius - source.z;
    const bool inside = is_inside(*state.model, source.z) && r_source <= kEarthRadius &&
                        (receivers.by_distance() || is_ordinary(source.lat, source.lon));
    for (const TTReceivers::Group& group : receivers.groups()) {
        const bool usual = inside && is_inside(*state.model, kEarthRadius - group.radius) &&
                           (group.highest == 0.0 || (batch_->eta[0] > 0.0 && batch_->eta[1] > 0.0));
        const FirstTables* tables =
            !usual ? nullptr
                   : tables_.find(std::min(r_source, group.radius),
                                  std::max(r_source, group.radius), group.highest, group.count);
        for (size_t done = 0; done < group.count; done += Batch::kMost) {
            batch(state, source, receivers, tables, group.first + done,
                  std::min(Batch::kMost, group.count - done));
        }
    }
    for (const uint32_t receiver : receivers.odd()) search(state, source, receivers, receiver);
}

void FirstTimes::batch(State& state, const TTPoint& source, const TTReceivers& receivers,
                       const FirstTables* tables, size_t first, size_t count) {
    Batch& b = *batch_;
    if (tables == nullptr) {
        for (size_t i = 0; i < count; ++i)
            search(state, source, receivers, receivers.number(first + i));
        return;
    }
    const UnitVector from =
        receivers.by_distance() ? UnitVector{} : unit_vector(source.lat, source.lon);
    receivers.distances(from, first, count, b.distance);
    std::copy_n(receivers.heights() + first, count, b.height);
    for (size_t i = 0; i < count; ++i) {
        const double x = b.distance[i];
        b.search[i] =
            !(x > kNearest && x < kFarthest) || std::fabs(x - kDiffractedLimit) < kNearLimit;
        if (b.search[i]) b.distance[i] = 1.0;
    }
    const bool lifted = b.height[0] > 0.0;
    if (p_ != nullptr) evaluate(tables->p, lifted, First::kP, count);
    if (s_ != nullptr) evaluate(tables->s, lifted, First::kS, count);
    for (size_t i = 0; i < count; ++i) {
        const uint32_t receiver = receivers.number(first + i);
        const bool open = (p_ != nullptr && b.best[0].piece[i] == nullptr) ||
                          (s_ != nullptr && b.best[1].piece[i] == nullptr);
        if (b.search[i] || open) {
            search(state, source, receivers, receiver);
            continue;
        }
        if (distance_ != nullptr) distance_[receiver] = b.distance[i] * kPerDegree;
        for (int k = 0; k < 2; ++k) {
            TTFirst* out = k == 0 ? p_ : s_;
            if (out == nullptr) continue;
            out->time[receiver] = b.best[k].time[i];
            if (out->by_distance == nullptr && out->by_depth == nullptr) continue;
            const FirstPiece& piece = *b.best[k].piece[i];
            const double ray = piece.long_way ? -b.best[k].ray[i] : b.best[k].ray[i];
            state.source_eta.set(*state.model, kEarthRadius - source.z);
            store(state, out, receiver,
                  {b.best[k].time[i], ray, piece.family, piece.branch, piece.upward},
                  kEarthRadius - receivers.geometry(source, receiver).receiver.z);
        }
    }
}

// The earliest of every entry that may be it.
void FirstTimes::evaluate(const FirstTable& table, bool lifted, First which, size_t count) {
    Batch& b = *batch_;
    Batch::Best& best = b.best[static_cast<int>(which)];
    for (size_t i = 0; i < count; ++i) {
        best.time[i] = kInfinite;
        best.piece[i] = nullptr;
    }
    b.n = 0;
    for (size_t i = 0; i < count; ++i) {
        const double x = b.distance[i], height = b.height[i];
        for (const FirstEntry& entry : table.at(x)) {
            if (x < entry.lo + height * entry.lo_slope || x > entry.hi + height * entry.hi_slope)
                continue;
            if (b.n == SegmentItems::kMost) flush(table, lifted, which);
            b.receiver[b.n] = static_cast<uint32_t>(i);
            b.piece[b.n++] = entry.piece;
        }
    }
    flush(table, lifted, which);
}

void FirstTimes::flush(const FirstTable& table, bool lifted, First which) {
    Batch& b = *batch_;
    SegmentItems& items = b.items;
    for (size_t k = 0; k < b.n; ++k) {
        const FirstPiece& piece = table.piece(b.piece[k]);
        const double x = b.distance[b.receiver[k]];
        items.distance[k] = piece.long_way ? 2.0 * kPi - x : x;
        if (lifted) {
            const int family = static_cast<int>(piece.family);
            items.pa[k] = piece.a.p;
            items.xa[k] = piece.a.x;
            items.ta[k] = piece.a.t;
            items.pb[k] = piece.b.p;
            items.xb[k] = piece.b.x;
            items.tb[k] = piece.b.t;
            items.shape[k] = piece.shape;
            items.height[k] = b.height[b.receiver[k]];
            items.eta[k] = b.eta[family];
            items.slowness[k] = b.slowness[family];
        } else {
            items.p[k] = piece.flat.p;
            items.p1[k] = piece.flat.p1;
            items.p2[k] = piece.flat.p2;
            items.x[k] = piece.flat.x;
            items.x1[k] = piece.flat.x1;
            items.x2[k] = piece.flat.x2;
            items.t[k] = piece.flat.t;
        }
    }
    if (lifted) lift_segments(b.n, items);
    evaluate_segments(b.n, items);
    for (size_t k = 0; k < b.n; ++k) take(table, which, k);
    b.n = 0;
}

void FirstTimes::take(const FirstTable& table, First which, size_t item) {
    Batch& b = *batch_;
    const FirstPiece& piece = table.piece(b.piece[item]);
    if (b.items.doubtful[item] != 0.0) return take_doubtful(piece, which, item);
    const double w = b.items.place[item];
    const uint32_t i = b.receiver[item];
    if ((piece.a_ends && std::fabs(w) < kNearEnd) ||
        (piece.b_ends && std::fabs(w - 1.0) < kNearEnd)) {
        b.search[i] = true;
    }
    if (!(w >= -kSlack && w <= 1.0 + kSlack)) return;
    Batch::Best& best = b.best[static_cast<int>(which)];
    if (!(b.items.time[item] < best.time[i])) return;
    best.time[i] = b.items.time[item];
    best.ray[i] = b.items.ray[item];
    best.piece[i] = &piece;
}

// A segment with a caustic: as the full answer has it, and that decides where it touches.
void FirstTimes::take_doubtful(const FirstPiece& piece, First which, size_t item) {
    Batch& b = *batch_;
    const SegmentItems& items = b.items;
    const uint32_t i = b.receiver[item];
    Segment segment = piece.flat;
    segment.p = items.p[item];
    segment.p1 = items.p1[item];
    segment.p2 = items.p2[item];
    segment.x = items.x[item];
    segment.x1 = items.x1[item];
    segment.x2 = items.x2[item];
    segment.t = items.t[item];
    const double x = items.distance[item], c = x - segment.x;
    const double square = segment.x1 * segment.x1 + 4.0 * segment.x2 * c;
    if (std::fabs(square) < kSlack * (segment.x1 * segment.x1 + std::fabs(4.0 * segment.x2 * c))) {
        b.search[i] = true;
        return;
    }
    double w[2];
    const int n = segment.find(x, w);
    Batch::Best& best = b.best[static_cast<int>(which)];
    for (int k = 0; k < n; ++k) {
        if ((piece.a_ends && w[k] < kNearEnd) || (piece.b_ends && w[k] > 1.0 - kNearEnd))
            b.search[i] = true;
        const Hit hit = segment.at(w[k]);
        if (!(hit.t < best.time[i])) continue;
        best.time[i] = hit.t;
        best.ray[i] = hit.p;
        best.piece[i] = &piece;
    }
}

// All arrivals of one receiver.
void FirstTimes::search(State& state, const TTPoint& source, const TTReceivers& receivers,
                        uint32_t receiver) {
    ++count_.searched;
    const TTGeometry geometry = receivers.geometry(source, receiver);
    const double r_source = kEarthRadius - geometry.source.z;
    const double r_receiver = kEarthRadius - geometry.receiver.z;
    state.arrivals.clear();
    const bool inside = set_positions(state, geometry) &&
                        is_inside(*state.model, geometry.source.z) &&
                        is_inside(*state.model, geometry.receiver.z);
    if (inside) {
        state.model->arrivals(std::min(r_source, r_receiver), std::max(r_source, r_receiver),
                              state.distance, true, true, state.arrivals);
        state.source_eta.set(*state.model, r_source);
    }
    const double distance =
        receivers.by_distance() ? geometry.receiver.lon : great_circle_degrees(geometry);
    if (distance_ != nullptr) distance_[receiver] = distance;
    const auto choose = [&](TTFirst* out, auto qualifies) {
        if (out == nullptr) return;
        Arrival chosen{kNone, kNone, Family::kP, Branch::kUp, false};
        for (const Arrival& arrival : state.arrivals) {
            chosen = arrival;
            if (qualifies(phase_name(arrival.family, arrival.branch).data(), distance)) break;
        }
        store(state, out, receiver, chosen, r_receiver);
    };
    choose(p_, qualifies_as_P);
    choose(s_, qualifies_as_S);
}

// REQUIRES: state.source_eta is of the source.
void FirstTimes::store(State& state, TTFirst* out, uint32_t receiver, const Arrival& arrival,
                       double r_receiver) {
    out->time[receiver] = arrival.t;
    if (out->by_distance != nullptr) out->by_distance[receiver] = arrival.p * kDegree;
    if (out->by_depth != nullptr) {
        out->by_depth[receiver] =
            state.source_eta.depth_slowness(arrival.p, arrival.family, arrival.upward, r_receiver);
    }
}

}  // namespace velorix::tt
