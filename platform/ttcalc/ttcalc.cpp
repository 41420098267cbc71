#include "platform/ttcalc/ttcalc.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <numbers>
#include <sstream>

#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"
#include "platform/ttcalc/builtin_models.h"
#include "platform/ttcalc/prepared.h"

namespace {
using namespace velorix::tt;

constexpr double kDegree = std::numbers::pi / 180.0;

struct Model {
    EarthModel earth;
    std::unique_ptr<RayTable> tables[2];
    double key[2] = {-1, -1};
    std::unique_ptr<Prepared> prepared[2];
};

struct State {
    std::map<std::string, std::unique_ptr<Model>> models;
    std::vector<Arrival> found;
    std::vector<TTTime> times;
    std::vector<TTSlow> slows;
    Tbl* times_list = nullptr;
    Tbl* slows_list = nullptr;
};

const char* kNames[2][11] = {
    {"p", "Pg", "Pb", "Pn", "P", "Pdiff", "PKiKP", "PKPdf", "PKP", "PKPbc", "PKPab"},
    {"s", "Sg", "Sb", "Sn", "S", "Sdiff", "SKiKS", "SKIKS", "SKS", "SKS", "SKS"}};

Model* open_model(State& state, const std::string& name) {
    auto it = state.models.find(name);
    if (it != state.models.end()) return it->second.get();
    std::string error;
    auto model = std::make_unique<Model>();
    std::string_view text = builtin_model(name);
    if (text.empty() || !parse_model(text, ModelFormat::kTvel, name, model->earth, error)) {
        elog_log(0, "ttcalc: unknown model '%s'\n", name.c_str());
        return nullptr;
    }
    model->tables[0] = std::make_unique<RayTable>(model->earth, Family::kP);
    model->tables[1] = std::make_unique<RayTable>(model->earth, Family::kS);
    return (state.models[name] = std::move(model)).get();
}

}  // namespace

static int compute(const char* method, const char* model_name, const char* phases,
                   const TTGeometry* g, Hook** hook, double* azimuth) {
    if (!*hook) *hook = newhook(new State, [](void* s) { delete static_cast<State*>(s); });
    State& state = *static_cast<State*>(hookstate(*hook));
    if (strcmp(method, "tttaup") != 0) {
        elog_log(0, "ttcalc: unknown method '%s'\n", method);
        return -1;
    }
    Model* model = open_model(state, std::string(model_name, strnlen(model_name, 64)));
    if (!model) return -1;
    double delta = 0, az = 0;
    dist(g->receiver.lat * kDegree, g->receiver.lon * kDegree, g->source.lat * kDegree,
         g->source.lon * kDegree, &delta, &az);
    *azimuth = az + std::numbers::pi;
    const double a = kEarthRadius - g->source.z, b = kEarthRadius - g->receiver.z;
    if (!(delta >= 0) || !(std::max(a, b) <= kEarthRadius + kTopHeight) ||
        !(std::min(a, b) >= kEarthRadius - model->earth.cmb)) {
        elog_log(0, "ttcalc: geometry outside the model\n");
        return -1;
    }
    const double lo = std::min(a, b), hi = std::max(a, b);
    if (model->key[0] != lo || model->key[1] != hi) {
        for (int f = 0; f < 2; ++f) {
            model->prepared[f] =
                std::make_unique<Prepared>(model->earth, *model->tables[f], lo, hi);
        }
        model->key[0] = lo;
        model->key[1] = hi;
    }
    state.times.clear();
    state.slows.clear();
    for (int f = 0; f < 2; ++f) {
        if (!strchr(phases, f == 0 ? 'P' : 'S')) continue;
        state.found.clear();
        model->prepared[f]->arrivals(delta, state.found);
        for (const Arrival& x : state.found) {
            TTTime time{};
            time.value = x.t;
            time.deriv[0] = x.p * x.p_sign * kDegree;
            snprintf(time.phase, sizeof time.phase, "%s", kNames[f][static_cast<int>(x.phase)]);
            state.times.push_back(time);
        }
    }
    std::sort(state.times.begin(), state.times.end(),
              [](const TTTime& x, const TTTime& y) { return x.value < y.value; });
    return static_cast<int>(state.times.size());
}

extern "C" int ttcalc(const char* method, const char* model, const char* phases, int,
                      const TTGeometry* geometry, Tbl** times, Hook** hook) {
    double azimuth = 0;
    const int n = compute(method, model, phases, geometry, hook, &azimuth);
    if (n < 0) return -1;
    State& state = *static_cast<State*>(hookstate(*hook));
    if (!state.times_list) state.times_list = newtbl(16);
    clrtbl(state.times_list);
    for (TTTime& t : state.times) settbl(state.times_list, -1, &t);
    *times = state.times_list;
    return n;
}

extern "C" int ucalc(const char* method, const char* model, const char* phases, int,
                     const TTGeometry* geometry, Tbl** slows, Hook** hook) {
    double azimuth = 0;
    const int n = compute(method, model, phases, geometry, hook, &azimuth);
    if (n < 0) return -1;
    State& state = *static_cast<State*>(hookstate(*hook));
    if (!state.slows_list) state.slows_list = newtbl(16);
    clrtbl(state.slows_list);
    for (const TTTime& t : state.times) {
        const double u = t.deriv[0] / kDegree / kEarthRadius;
        TTSlow slow{};
        slow.ux = u * std::sin(azimuth);
        slow.uy = u * std::cos(azimuth);
        memcpy(slow.phase, t.phase, sizeof slow.phase);
        state.slows.push_back(slow);
    }
    for (TTSlow& s : state.slows) settbl(state.slows_list, -1, &s);
    *slows = state.slows_list;
    return n;
}
