// A whole scan of a mesh of one depth with one and two threads; nodes/s count the full pass.
#include <benchmark/benchmark.h>

#include "benchmarks/engine_case.h"

namespace {

void scan_grid(benchmark::State& state) {
    velorix_benchmark::EngineCase event(static_cast<int>(state.range(0)),
                                        static_cast<int>(state.range(1)),
                                        static_cast<int>(state.range(2)));
    for (auto _ : state) {
        event.search->grid_type_string[0] = '\0';
        const velorix_test::Scan scan(*event.search, event.picks.stao_tbl);
        benchmark::DoNotOptimize(scan.f);
    }
    state.counters["nodes/s"] =
        benchmark::Counter(event.nodes(), benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK(scan_grid)
    ->ArgNames({"stations", "picks", "threads"})
    ->ArgsProduct({{20}, {40}, {1, 2}})
    ->ArgsProduct({{100}, {150}, {1, 2}})
    ->ArgsProduct({{500}, {600}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
