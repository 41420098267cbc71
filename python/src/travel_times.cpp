// Travel times of single paths.
#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>
#include <span>

#include "bindings.h"
#include "log.h"
#include "platform/ttcalc/ttcalc.h"

namespace velorix::python {
namespace {

using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// Numbers of pairs, or one for all of them.
struct Given {
    const double* values;
    bool one;

    explicit Given(const Doubles& array) : values(array.data()), one(array.size() == 1) {}
    double operator[](size_t i) const { return values[one ? 0 : i]; }
};

/// Pairs whose first arrivals are wanted, and where they go.
struct FirstTimes {
    const double* distance;  ///< degrees
    Given depth, elevation;  ///< km
    double *p, *s;           ///< seconds; NaN where there is none
    size_t count;

    bool known(size_t i) const { return !std::isnan(distance[i] + depth[i] + elevation[i]); }
};

/// Pairs without missing numbers, those of one depth together.
std::vector<size_t> by_depth(const FirstTimes& wanted) {
    std::vector<size_t> out;
    out.reserve(wanted.count);
    for (size_t i = 0; i < wanted.count; ++i) {
        if (wanted.known(i)) out.push_back(i);
    }
    if (!wanted.depth.one) {
        std::ranges::stable_sort(out, {}, [&](size_t i) { return wanted.depth[i]; });
    }
    return out;
}

/// Pairs of one depth, asked for in one call.
struct Run {
    /// Takes pairs from the first of a list on; the number taken. Some thousands take milliseconds.
    size_t gather(const FirstTimes& wanted, std::span<const size_t> pairs) {
        constexpr size_t kMost = 1 << 14;
        depth = wanted.depth[pairs[0]];
        distance.clear();
        elevation.clear();
        for (const size_t i : pairs.first(std::min(pairs.size(), kMost))) {
            if (wanted.depth[i] != depth) break;
            distance.push_back(wanted.distance[i]);
            elevation.push_back(wanted.elevation[i]);
        }
        p.resize(distance.size());
        s.resize(distance.size());
        return distance.size();
    }

    double depth = 0.0;
    std::vector<double> distance, elevation, p, s;
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
    bool answer(Run& run);

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
    std::fill_n(wanted.p, wanted.count, kNone);
    std::fill_n(wanted.s, wanted.count, kNone);
    const std::vector<size_t> pairs = by_depth(wanted);
    Patience patience;
    Run run;
    for (size_t begin = 0, count = 0; begin < pairs.size(); begin += count) {
        patience.check();
        count = run.gather(wanted, std::span(pairs).subspan(begin));
        if (!answer(run)) return false;
        for (size_t i = 0; i < count; ++i) {
            wanted.p[pairs[begin + i]] = run.p[i];
            wanted.s[pairs[begin + i]] = run.s[i];
        }
    }
    return true;
}

bool TravelTimes::answer(Run& run) {
    const std::unique_ptr<TTReceivers, decltype(&ttreceivers_free)> receivers(
        ttreceivers_new(static_cast<int64_t>(run.distance.size()), run.distance.data(), nullptr,
                        run.elevation.data()),
        &ttreceivers_free);
    if (!receivers) return false;
    const TTPoint source{0.0, 0.0, run.depth, 0.0, ""};
    TTFirst p{run.p.data(), nullptr, nullptr}, s{run.s.data(), nullptr, nullptr};
    if (ttfirst("tttaup", model_.c_str(), &source, receivers.get(), &p, &s, nullptr, &hook_) < 0) {
        return false;
    }
    for (size_t i = 0; i < run.p.size(); ++i) {
        // Refused, which the calculator says why, or without arrivals.
        if (std::isnan(run.p[i]) && std::isnan(run.s[i]) &&
            ask(geometry_of(run.distance[i], run.depth, run.elevation[i])) < 0) {
            return false;
        }
    }
    return true;
}

// REQUIRES: depths and elevations of the distances' shape, or one of them for all.
py::tuple TravelTimes::first(const Doubles& distance, const Doubles& depth,
                             const Doubles& elevation) {
    const std::vector<py::ssize_t> shape(distance.shape(), distance.shape() + distance.ndim());
    Doubles p(shape), s(shape);
    const FirstTimes wanted{distance.data(),  Given(depth),     Given(elevation),
                            p.mutable_data(), s.mutable_data(), static_cast<size_t>(p.size())};
    for (const Doubles* other : {&depth, &elevation}) {
        if (other->size() != 1 && other->size() != distance.size())
            throw std::invalid_argument("distances, depths and elevations differ in shape");
    }
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
