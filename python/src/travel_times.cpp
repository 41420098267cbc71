// Travel times of single paths.
#include <cmath>
#include <mutex>

#include "bindings.h"
#include "log.h"
#include "platform/ttcalc/arrival_selection.h"
#include "platform/ttcalc/ttcalc.h"

namespace velorix::python {
namespace {

using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// Pairs whose first arrivals are wanted, and where they go.
struct FirstTimes {
    const double *distance, *depth, *elevation;  ///< degrees, km, km
    double *p, *s;                               ///< seconds; NaN where there is none
    py::ssize_t count;
};

/// A path along the equator to a station on the zero meridian.
TTGeometry geometry_of(double distance, double depth, double elevation) {
    return {{0.0, distance, depth, 0.0, ""}, {0.0, 0.0, -elevation, 0.0, ""}};
}

/// The calculator with one model; a call from another thread waits.
class TravelTimes {
  public:
    explicit TravelTimes(std::string model);
    ~TravelTimes() { freehook(&hook_); }
    TravelTimes(const TravelTimes&) = delete;
    TravelTimes& operator=(const TravelTimes&) = delete;

    py::tuple first(const Doubles& distance, const Doubles& depth, const Doubles& elevation);
    std::vector<TTTime> arrivals(double distance, double depth, double elevation);
    std::vector<TTSlow> slowness(const TTGeometry& geometry);
    const std::string& model() const { return model_; }

  private:
    int ask(const TTGeometry& geometry) {
        return ttcalc("tttaup", model_.c_str(), "P,S", 0, &geometry, &times_, &hook_);
    }
    bool fill(const FirstTimes& wanted);

    std::string model_;
    std::mutex mutex_;
    Hook* hook_ = nullptr;
    Tbl* times_ = nullptr;  // the hook's
};

// The model is read here, so that a wrong one is known at once.
TravelTimes::TravelTimes(std::string model) : model_(std::move(model)) {
    const py::gil_scoped_release unlocked;
    const LogScope log;
    if (ask(geometry_of(1.0, 0.0, 0.0)) < 0) {
        freehook(&hook_);
        throw log.failure("no such model");
    }
}

bool TravelTimes::fill(const FirstTimes& wanted) {
    Patience patience;
    for (py::ssize_t i = 0; i < wanted.count; ++i) {
        patience.check_rarely();
        wanted.p[i] = wanted.s[i] = kNone;
        const double distance = wanted.distance[i];
        if (std::isnan(distance + wanted.depth[i] + wanted.elevation[i])) continue;
        if (ask(geometry_of(distance, wanted.depth[i], wanted.elevation[i])) < 0) return false;
        if (maxtbl(times_) < 1) continue;
        wanted.p[i] = first_arrival(times_, distance, qualifies_as_P);
        wanted.s[i] = first_arrival(times_, distance, qualifies_as_S);
    }
    return true;
}

// REQUIRES: arrays of one shape.
py::tuple TravelTimes::first(const Doubles& distance, const Doubles& depth,
                             const Doubles& elevation) {
    const std::vector<py::ssize_t> shape(distance.shape(), distance.shape() + distance.ndim());
    Doubles p(shape), s(shape);
    if (depth.size() != distance.size() || elevation.size() != distance.size())
        throw std::invalid_argument("distances, depths and elevations differ in shape");
    const FirstTimes wanted{distance.data(),  depth.data(),     elevation.data(),
                            p.mutable_data(), s.mutable_data(), distance.size()};
    {
        const py::gil_scoped_release unlocked;
        const std::lock_guard lock(mutex_);
        const LogScope log;
        if (!fill(wanted)) throw log.failure("no travel times");
    }
    return py::make_tuple(p, s);
}

std::vector<TTTime> TravelTimes::arrivals(double distance, double depth, double elevation) {
    const py::gil_scoped_release unlocked;
    const std::lock_guard lock(mutex_);
    const LogScope log;
    const int count = ask(geometry_of(distance, depth, elevation));
    if (count < 0) throw log.failure("no travel times");
    std::vector<TTTime> out;
    for (int i = 0; i < count; ++i) out.push_back(*static_cast<TTTime*>(gettbl(times_, i)));
    return out;
}

std::vector<TTSlow> TravelTimes::slowness(const TTGeometry& geometry) {
    const py::gil_scoped_release unlocked;
    const std::lock_guard lock(mutex_);
    const LogScope log;
    Tbl* slows = nullptr;
    const int count = ucalc("tttaup", model_.c_str(), "P,S", 0, &geometry, &slows, &hook_);
    if (count < 0) throw log.failure("no slownesses");
    std::vector<TTSlow> out;
    for (int i = 0; i < count; ++i) out.push_back(*static_cast<TTSlow*>(gettbl(slows, i)));
    return out;
}

py::list arrivals(TravelTimes& self, double distance, double depth, double elevation) {
    py::list out;
    for (const TTTime& arrival : self.arrivals(distance, depth, elevation)) {
        out.append(
            py::make_tuple(arrival.phase, arrival.value, arrival.deriv[0], arrival.deriv[1]));
    }
    return out;
}

py::list slowness(TravelTimes& self, double source_lat, double source_lon, double depth, double lat,
                  double lon, double elevation) {
    py::list out;
    for (const TTSlow& slow : self.slowness(
             {{source_lat, source_lon, depth, 0.0, ""}, {lat, lon, -elevation, 0.0, ""}})) {
        out.append(py::make_tuple(slow.phase, slow.ux, slow.uy));
    }
    return out;
}

}  // namespace

void bind_travel_times(py::module_& module) {
    py::class_<TravelTimes>(module, "TravelTimes")
        .def(py::init<std::string>(), py::arg("model"))
        .def_property_readonly("model", &TravelTimes::model)
        .def("first", &TravelTimes::first)
        .def("arrivals", arrivals)
        .def("slowness", slowness);
}

}  // namespace velorix::python
