// Travel-time calls as grids make them: rates as counters, one core.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "platform/geodesy/geodesy.h"
#include "platform/ttcalc/ttcalc.h"

namespace {

constexpr double kDegree = 3.141592653589793 / 180.0;
constexpr size_t kDistances = 4096;

std::vector<double> random_values(double low, double high, size_t n) {
    std::mt19937_64 generator(20140826);
    std::uniform_real_distribution<double> uniform(low, high);
    std::vector<double> values(n);
    for (double& value : values) value = uniform(generator);
    return values;
}

TTGeometry along_equator(double depth, double elevation, double distance) {
    TTGeometry geometry{};
    geometry.source.z = depth;
    geometry.receiver.z = -elevation;
    geometry.receiver.lon = distance;
    return geometry;
}

void set_call_rate(benchmark::State& state, double calls_per_iteration = 1.0) {
    state.counters["calls/s"] = benchmark::Counter(
        calls_per_iteration * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// The full sorted P and S list at random distances for one depth.
void DepthRepeated(benchmark::State& state) {
    const std::vector<double> distances = random_values(0.0, 180.0, kDistances);
    TTGeometry geometry = along_equator(static_cast<double>(state.range(0)), 0.0, 0.0);
    Hook* hook = nullptr;
    Tbl* times = nullptr;
    size_t i = 0;
    for (int k = 0; k < 100; ++k) ttcalc("tttaup", "iasp91", "P,S", 0, &geometry, &times, &hook);
    for (auto _ : state) {
        geometry.receiver.lon = distances[i++ % kDistances];
        benchmark::DoNotOptimize(ttcalc("tttaup", "iasp91", "P,S", 0, &geometry, &times, &hook));
    }
    set_call_rate(state);
    freehook(&hook);
}
BENCHMARK(DepthRepeated)->Arg(0)->Arg(33)->Arg(300)->Arg(600);

// A depth that was never asked for before, at a random distance.
void NewDepthEveryCall(benchmark::State& state) {
    const std::vector<double> distances = random_values(0.0, 180.0, kDistances);
    std::mt19937_64 generator(7);
    std::uniform_real_distribution<double> depth(0.0, 700.0);
    TTGeometry geometry = along_equator(10.0, 0.0, 30.0);
    Hook* hook = nullptr;
    Tbl* times = nullptr;
    size_t i = 0;
    ttcalc("tttaup", "iasp91", "P,S", 0, &geometry, &times, &hook);
    for (auto _ : state) {
        geometry.source.z = depth(generator);
        geometry.receiver.lon = distances[i++ % kDistances];
        benchmark::DoNotOptimize(ttcalc("tttaup", "iasp91", "P,S", 0, &geometry, &times, &hook));
    }
    set_call_rate(state);
    freehook(&hook);
}
BENCHMARK(NewDepthEveryCall);

// A fresh hook: the model is read and its rays are sampled.
void OpenModel(benchmark::State& state) {
    static const char* const kModels[] = {"iasp91", "ak135", "prem"};
    const char* model = kModels[state.range(0)];
    const TTGeometry geometry = along_equator(10.0, 0.0, 30.0);
    state.SetLabel(model);
    for (auto _ : state) {
        Hook* hook = nullptr;
        Tbl* times = nullptr;
        benchmark::DoNotOptimize(ttcalc("tttaup", model, "P,S", 0, &geometry, &times, &hook));
        freehook(&hook);
    }
}
BENCHMARK(OpenModel)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

// The slowness requests of one slowness-to-distance table, the model being open.
void SlownessTable(benchmark::State& state) {
    TTGeometry geometry = along_equator(10.0, 0.0, 0.0);
    Hook* hook = nullptr;
    Tbl* slows = nullptr;
    double depth = 10.0;
    ucalc("tttaup", "iasp91", "P,S", 0, &geometry, &slows, &hook);
    for (auto _ : state) {
        geometry.source.z = depth += 0.01;
        double distance = 0.01;
        for (int i = 0; i < 18000; ++i, distance += 0.01) {
            geometry.receiver.lon = distance;
            benchmark::DoNotOptimize(ucalc("tttaup", "iasp91", "P,S", 0, &geometry, &slows, &hook));
        }
    }
    freehook(&hook);
}
BENCHMARK(SlownessTable)->Unit(benchmark::kMillisecond);

// Node by node over stations at their own elevations, positions anywhere: what a travel-time pass
// asks of the calculator, with the distance that the pass computes itself. The argument says how
// many nodes share a depth.
void GridPass(benchmark::State& state) {
    constexpr size_t kStations = 120, kNodes = 200;
    const std::vector<double> u = random_values(0.0, 1.0, 3 * (kStations + kNodes));
    const auto place = [&](size_t k) {
        TTPoint point{};
        point.lat = std::asin(2.0 * u[3 * k] - 1.0) / kDegree;
        point.lon = 360.0 * u[3 * k + 1] - 180.0;
        return point;
    };
    Hook* hook = nullptr;
    Tbl* times = nullptr;
    double depth = 5.0;
    for (auto _ : state) {
        for (size_t node = 0; node < kNodes; ++node) {
            TTGeometry geometry{};
            geometry.source = place(kStations + node);
            if (node % static_cast<size_t>(state.range(0)) == 0) depth += 0.37;
            if (depth > 700.0) depth -= 690.0;
            geometry.source.z = depth;
            for (size_t station = 0; station < kStations; ++station) {
                geometry.receiver = place(station);
                geometry.receiver.z = -3.0 * u[3 * station + 2];
                double delta = 0.0, azimuth = 0.0;
                dist(geometry.receiver.lat * kDegree, geometry.receiver.lon * kDegree,
                     geometry.source.lat * kDegree, geometry.source.lon * kDegree, &delta,
                     &azimuth);
                benchmark::DoNotOptimize(delta);
                benchmark::DoNotOptimize(
                    ttcalc("tttaup", "iasp91", "P,S", 0, &geometry, &times, &hook));
            }
        }
    }
    set_call_rate(state, kStations * kNodes);
    freehook(&hook);
}
BENCHMARK(GridPass)->Arg(200)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
