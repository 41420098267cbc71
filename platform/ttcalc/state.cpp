#include "platform/ttcalc/state.h"

#include <cmath>
#include <cstring>

#include "platform/ttcalc/model_files.h"

namespace velorix::tt {

void SineCosine::set(double degrees) {
    if (degrees == angle) return;
    angle = degrees;
    sine = std::sin(degrees * kDegree);
    cosine = std::cos(degrees * kDegree);
}

void SourceEta::set(const OpenModel& open, double r) {
    if (model == &open && radius == r) return;
    model = &open;
    radius = r;
    for (const Family family : {Family::kP, Family::kS}) {
        const RayTable& table = open.table(family);
        const Station end = table.locate(r);
        above[static_cast<int>(family)] = table.eta_above(end);
        below[static_cast<int>(family)] = table.eta_below(end);
    }
}

double SourceEta::depth_slowness(double p, Family family, bool leaves_upward,
                                 double receiver) const {
    const bool upward = leaves_upward && radius <= receiver;
    const double eta = upward ? above[static_cast<int>(family)] : below[static_cast<int>(family)];
    const double vertical = std::sqrt(std::max(0.0, (eta - p) * (eta + p))) / radius;
    return upward ? vertical : -vertical;
}

void State::add_model(const std::string& name, std::shared_ptr<const ModelRays> rays) {
    models.emplace(name, std::make_unique<OwnModel>(std::move(rays)));
}

State& state_of(Hook** hook) {
    if (*hook == nullptr) {
        auto state = std::make_unique<State>();
        *hook = newhook(state.get(), [](void* s) { delete static_cast<State*>(s); });
        if (*hook == nullptr) throw std::bad_alloc();
        state.release();
    }
    return *static_cast<State*>(hookstate(*hook));
}

bool open_model(State& state, const char* model, const char* caller) {
    if (state.model != nullptr && strncmp(state.model_name, model, kModelLength) == 0) return true;
    const std::string name(model, strnlen(model, kModelLength));
    auto found = state.models.find(name);
    if (found == state.models.end()) {
        EarthModel earth;
        std::string error;
        if (!load_model(name, earth, error)) {
            elog_log(0, "%s: %s\n", caller, error.c_str());
            return false;
        }
        state.add_model(name, std::make_shared<ModelRays>(earth));
        found = state.models.find(name);
    }
    state.own = found->second.get();
    state.model = &state.own->open;
    memset(state.model_name, 0, sizeof state.model_name);
    memcpy(state.model_name, name.data(), name.size());
    return true;
}

bool set_positions(State& state, const TTGeometry& geometry) {
    const TTPoint &source = geometry.source, &receiver = geometry.receiver;
    state.source_lat.set(source.lat);
    state.receiver_lat.set(receiver.lat);
    const double lon = (source.lon - receiver.lon) * kDegree;
    const SineCosine &s = state.source_lat, &r = state.receiver_lat;
    // Toward the source, as east and north components at the receiver.
    const double cos_lon = std::cos(lon);
    const double x = s.cosine * std::sin(lon);
    const double y = r.cosine * s.sine - r.sine * s.cosine * cos_lon;
    const double sine = std::sqrt(x * x + y * y);
    state.distance = std::atan2(sine, r.sine * s.sine + r.cosine * s.cosine * cos_lon);
    state.east = sine > 0.0 ? -x / sine : 0.0;
    state.north = sine > 0.0 ? -y / sine : 1.0;
    return std::isfinite(state.distance);
}

}  // namespace velorix::tt
