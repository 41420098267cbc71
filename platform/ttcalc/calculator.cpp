#include "platform/ttcalc/calculator.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace velorix::tt {
namespace {

// Preparing the curves of a depth takes as long as this many single searches.
constexpr int kSearchesBeforePreparing = 8;
constexpr size_t kVisits = 256;

size_t mix(double value) {
    const uint64_t bits = std::bit_cast<uint64_t>(value) * 0x9E3779B97F4A7C15u;
    return static_cast<size_t>(bits ^ (bits >> 29));
}

// Few arrivals, nearly sorted: insertion beats anything cleverer. Neighbouring segments can both
// meet a distance at their common sample; the second copy of such an arrival is dropped.
void sort_by_time(std::vector<Arrival>& arrivals) {
    for (size_t i = 1; i < arrivals.size(); ++i) {
        const Arrival moving = arrivals[i];
        size_t j = i;
        for (; j > 0 && arrivals[j - 1].t > moving.t; --j) arrivals[j] = arrivals[j - 1];
        arrivals[j] = moving;
    }
    const auto same = [](const Arrival& a, const Arrival& b) {
        return b.t - a.t < 1e-9 && a.branch == b.branch && a.family == b.family &&
               std::fabs(a.p - b.p) < 1e-6;
    };
    arrivals.erase(std::unique(arrivals.begin(), arrivals.end(), same), arrivals.end());
}

// A source at the receiver: T = 0, also where no ray leaves horizontally and comes back.
void add_zero_arrival(const Pair& pair, Family family, std::vector<Arrival>& out) {
    for (const Arrival& arrival : out) {
        if (arrival.family == family && arrival.t < 1e-9) return;
    }
    const Run up = pair.upgoing();
    if (up.count > 0) out.push_back({0.0, up.p_top, family, up.branch, true});
}

}  // namespace

size_t PairCache::KeyHash::operator()(const Key& key) const {
    return mix(key.r_low) ^ (mix(key.r_high) >> 7);
}

const PreparedPair* PairCache::find(double r_low, double r_high) {
    const auto place = places_.find({r_low, r_high});
    if (place == places_.end()) return nullptr;
    order_.splice(order_.begin(), order_, place->second);
    return place->second->get();
}

const PreparedPair* PairCache::insert(std::unique_ptr<PreparedPair> pair) {
    const PreparedPair* kept = pair.get();
    order_.push_front(std::move(pair));
    places_[{kept->r_low, kept->r_high}] = order_.begin();
    bytes_ += kept->bytes();
    while (bytes_ > kMostBytes && order_.size() > 1) {
        const PreparedPair& oldest = *order_.back();
        bytes_ -= oldest.bytes();
        places_.erase({oldest.r_low, oldest.r_high});
        order_.pop_back();
    }
    return kept;
}

ModelRays::ModelRays(const EarthModel& model)
    : earth(model),
      p(earth, Family::kP),
      s(earth, Family::kS),
      deepest(std::min(model.cmb, kEarthRadius - p.profile().radius(1))) {}

PreparedPair ModelRays::prepare(double r_low, double r_high) const {
    const Pair p_pair(p, earth, r_low, r_high), s_pair(s, earth, r_low, r_high);
    return {r_low, r_high, Curves(p_pair, Family::kP), Curves(s_pair, Family::kS)};
}

OpenModel::OpenModel(const EarthModel& earth) : OpenModel(std::make_shared<ModelRays>(earth)) {}

OpenModel::OpenModel(std::shared_ptr<const ModelRays> rays)
    : rays_(std::move(rays)), visits_(kVisits) {}

// True once a depth has been asked for so often that preparing it pays.
bool OpenModel::asked_often(double r_low) {
    Visit& visit = visits_[mix(r_low) % kVisits];
    if (visit.r_low != r_low) visit = {r_low, 0};
    return ++visit.count > kSearchesBeforePreparing;
}

const PreparedPair* OpenModel::prepare(double r_low, double r_high, bool at_surface) {
    if (latest_ != nullptr && latest_->r_low == r_low && latest_->r_high == r_high) return latest_;
    if (const PreparedPair* found = cache_.find(r_low, r_high)) return latest_ = found;
    if (at_surface && !asked_often(r_low)) return nullptr;
    latest_ = cache_.insert(std::make_unique<PreparedPair>(rays_->prepare(r_low, r_high)));
    return latest_;
}

void OpenModel::arrivals(double r_low, double r_high, double distance, bool want_p, bool want_s,
                         std::vector<Arrival>& out) {
    out.clear();
    const RayTable &p_table = rays_->p, &s_table = rays_->s;
    const bool lifted = r_low <= kEarthRadius && r_high > kEarthRadius;
    const double height = lifted ? r_high - kEarthRadius : 0.0;
    if (height != lift_height_) {
        p_lift_ = Lift(p_table.profile(), height);
        s_lift_ = Lift(s_table.profile(), height);
        lift_height_ = height;
    }
    const double end = lifted ? kEarthRadius : r_high;
    const PreparedPair* prepared = prepare(r_low, end, end == kEarthRadius);
    if (prepared != nullptr) {
        if (want_p) prepared->p.arrivals(p_lift_, distance, out);
        if (want_s) prepared->s.arrivals(s_lift_, distance, out);
    } else {
        if (want_p)
            search_arrivals(Pair(p_table, rays_->earth, r_low, end), Family::kP, p_lift_, distance,
                            out);
        if (want_s)
            search_arrivals(Pair(s_table, rays_->earth, r_low, end), Family::kS, s_lift_, distance,
                            out);
    }
    if (r_low == r_high && distance < 1e-12) {
        if (want_p) add_zero_arrival(Pair(p_table, rays_->earth, r_low, end), Family::kP, out);
        if (want_s) add_zero_arrival(Pair(s_table, rays_->earth, r_low, end), Family::kS, out);
    }
    sort_by_time(out);
}

}  // namespace velorix::tt
