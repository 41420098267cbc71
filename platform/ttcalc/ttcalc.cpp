#include "platform/ttcalc/ttcalc.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <numbers>
#include <string>
#include <vector>

#include "platform/elog/elog.h"
#include "platform/ttcalc/calculator.h"
#include "platform/ttcalc/model_files.h"

namespace {

using namespace velorix::tt;

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr size_t kModelLength = 64;
constexpr double kHighest = kTopHeight;  // km

// An answer's records and the list of them. Records keep their place, so the list is extended,
// never rewritten, while it grows.
template <class Record>
struct Answer {
    std::vector<Record> records;
    Tbl* list = nullptr;

    ~Answer() { freetbl(list, nullptr); }

    bool resize(size_t n) {
        if (list == nullptr) list = newtbl(32);
        if (list == nullptr) return false;
        if (static_cast<size_t>(maxtbl(list)) == n && records.size() >= n) return true;
        if (records.size() < n || static_cast<size_t>(maxtbl(list)) > n) clrtbl(list);
        if (records.size() < n) records.resize(n + 16);
        for (size_t i = static_cast<size_t>(maxtbl(list)); i < n; ++i) {
            if (settbl(list, static_cast<int>(i), &records[i]) < 0) return false;
        }
        return true;
    }
};

// Sine and cosine of the latest angle asked for: nodes and stations repeat.
struct SineCosine {
    double angle = 0.0, sine = 0.0, cosine = 1.0;

    void set(double degrees) {
        if (degrees == angle) return;
        angle = degrees;
        sine = std::sin(degrees * kDegree);
        cosine = std::cos(degrees * kDegree);
    }
};

// Eta at the source in the layers above and below it, of the latest depth asked for.
struct SourceEta {
    const OpenModel* model = nullptr;
    double radius = 0.0;
    double above[2] = {}, below[2] = {};  // by family

    void set(const OpenModel& open, double r) {
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

    // dT/d(source depth), s/km: the vertical slowness at the source, negative for a ray that leaves
    // it downward. A ray arrives at the upper end from below, whichever way it left the lower one.
    double depth_slowness(const Arrival& arrival, double receiver) const {
        const bool upward = arrival.upward && radius <= receiver;
        const int family = static_cast<int>(arrival.family);
        const double eta = upward ? above[family] : below[family];
        const double vertical =
            std::sqrt(std::max(0.0, (eta - arrival.p) * (eta + arrival.p))) / radius;
        return upward ? vertical : -vertical;
    }
};

struct State {
    std::map<std::string, std::unique_ptr<OpenModel>> models;
    OpenModel* model = nullptr;
    char model_name[kModelLength + 1] = "";
    SineCosine source_lat, receiver_lat;
    SourceEta source_eta;
    double distance = 0.0;           // rad
    double east = 0.0, north = 0.0;  // direction of propagation at the receiver
    std::vector<Arrival> arrivals;
    Answer<TTTime> times;
    Answer<TTSlow> slows;
};

State* state_of(Hook** hook) {
    if (*hook == nullptr) {
        auto state = std::make_unique<State>();
        *hook = newhook(state.get(), [](void* s) { delete static_cast<State*>(s); });
        if (*hook == nullptr) throw std::bad_alloc();
        state.release();
    }
    return static_cast<State*>(hookstate(*hook));
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
        found = state.models.emplace(name, std::make_unique<OpenModel>(earth)).first;
    }
    state.model = found->second.get();
    memset(state.model_name, 0, sizeof state.model_name);
    memcpy(state.model_name, name.data(), name.size());
    return true;
}

bool set_positions(State& state, const TTGeometry& geometry, const char* caller) {
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
    if (std::isfinite(state.distance)) return true;
    elog_log(0, "%s: a coordinate is not a number: source %g %g, receiver %g %g\n", caller,
             source.lat, source.lon, receiver.lat, receiver.lon);
    return false;
}

bool check_depth(const OpenModel& model, const char* what, double z, const char* caller) {
    if (z >= -kHighest && z <= model.deepest()) return true;
    if (std::isnan(z)) {
        elog_log(0, "%s: the %s's depth is not a number\n", caller, what);
    } else if (z < 0.0) {
        elog_log(0, "%s: the %s is %g km above the surface, the limit is %g km\n", caller, what, -z,
                 kHighest);
    } else {
        elog_log(0, "%s: the %s at %g km is below the mantle, which ends at %g km\n", caller, what,
                 z, model.deepest());
    }
    return false;
}

// The arrivals of a call, in state.arrivals.
bool calculate(State& state, const char* method, const char* model, const char* phases,
               const TTGeometry& geometry, const char* caller) {
    if (strcmp(method, "tttaup") != 0) {
        elog_log(0, "%s: unknown method '%.64s', only tttaup is known\n", caller, method);
        return false;
    }
    const bool want_p = strcmp(phases, "P,S") == 0 || strcmp(phases, "P") == 0;
    const bool want_s = strcmp(phases, "P,S") == 0 || strcmp(phases, "S") == 0;
    if (!want_p && !want_s) {
        elog_log(0, "%s: unknown phase list '%.64s', it is P,S or P or S\n", caller, phases);
        return false;
    }
    if (!open_model(state, model, caller) || !set_positions(state, geometry, caller)) return false;
    OpenModel& open = *state.model;
    if (!check_depth(open, "source", geometry.source.z, caller) ||
        !check_depth(open, "receiver", geometry.receiver.z, caller)) {
        return false;
    }
    const double source = kEarthRadius - geometry.source.z;
    const double receiver = kEarthRadius - geometry.receiver.z;
    open.arrivals(std::min(source, receiver), std::max(source, receiver), state.distance, want_p,
                  want_s, state.arrivals);
    return true;
}

template <class Call>
int guarded(const char* caller, Call call) noexcept {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        elog_log(1, "%s: malloc() error.\n", caller);
    } catch (const std::exception& failure) {
        elog_log(0, "%s: %s\n", caller, failure.what());
    }
    return -1;
}

int fill_times(State& state, const TTGeometry& geometry, Tbl** times) {
    const size_t n = state.arrivals.size();
    if (!state.times.resize(n)) throw std::bad_alloc();
    const double receiver = kEarthRadius - geometry.receiver.z;
    state.source_eta.set(*state.model, kEarthRadius - geometry.source.z);
    for (size_t i = 0; i < n; ++i) {
        const Arrival& arrival = state.arrivals[i];
        TTTime& time = state.times.records[i];
        time.value = arrival.t;
        time.deriv[0] = arrival.p * kDegree;
        time.deriv[1] = state.source_eta.depth_slowness(arrival, receiver);
        time.deriv[2] = 0.0;
        memcpy(time.phase, phase_name(arrival.family, arrival.branch).data(), sizeof time.phase);
    }
    *times = state.times.list;
    return static_cast<int>(n);
}

int fill_slows(State& state, Tbl** slows) {
    const size_t n = state.arrivals.size();
    if (!state.slows.resize(n)) throw std::bad_alloc();
    for (size_t i = 0; i < n; ++i) {
        const Arrival& arrival = state.arrivals[i];
        TTSlow& slow = state.slows.records[i];
        const double slowness = arrival.p / kEarthRadius;
        slow = {slowness * state.east, slowness * state.north, {0, 0, 0}, {0, 0, 0}, {}};
        memcpy(slow.phase, phase_name(arrival.family, arrival.branch).data(), sizeof slow.phase);
    }
    *slows = state.slows.list;
    return static_cast<int>(n);
}

}  // namespace

extern "C" int ttcalc(const char* method, const char* model, const char* phases, int,
                      const TTGeometry* geometry, Tbl** times, Hook** hook) {
    return guarded("ttcalc", [&] {
        State& state = *state_of(hook);
        if (!calculate(state, method, model, phases, *geometry, "ttcalc")) return -1;
        return fill_times(state, *geometry, times);
    });
}

extern "C" int ucalc(const char* method, const char* model, const char* phases, int,
                     const TTGeometry* geometry, Tbl** slows, Hook** hook) {
    return guarded("ucalc", [&] {
        State& state = *state_of(hook);
        if (!calculate(state, method, model, phases, *geometry, "ucalc")) return -1;
        return fill_slows(state, slows);
    });
}
