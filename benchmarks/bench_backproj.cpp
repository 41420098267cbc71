// Nodes a second of the back-projection, and of the same with the plain cluster search of the
// tests.
#include <benchmark/benchmark.h>

#include "benchmarks/engine_case.h"
#include "tests/support/literal_search.h"

namespace {

using velorix_benchmark::EngineCase;

void count_nodes(benchmark::State& state) {
    state.counters["nodes/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void node_backproj(benchmark::State& state) {
    EngineCase event(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const int nx = event.grid().nx;
    int node = 0;
    for (auto _ : state) {
        double etime = 0, width = 0, score = 0, variance = 0;
        velorix_node_backproj(event.search.sp, 0, node % nx, node / nx, 0, event.picks.stao_tbl,
                              &etime, &width, &score, &variance);
        benchmark::DoNotOptimize(score);
        node = (node + 1) % event.nodes();
    }
    count_nodes(state);
}

void literal_search(benchmark::State& state) {
    EngineCase event(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    SearchParams& sp = *event.search;
    for (int i = 0; i < maxtbl(event.picks.stao_tbl); ++i)
        getweights(&sp, &event.picks.listed(i), 0);
    const int nx = event.grid().nx;
    velorix_test::LiteralCandidates c;
    int node = 0;
    for (auto _ : state) {
        velorix_test::literal_candidates(sp, node % nx, node / nx, 0, event.picks.stao_tbl, c);
        const auto best = velorix_test::literal_find_cluster(
            static_cast<int>(c.value.size()), c.value.data(),
            c.weighted ? c.weight.data() : nullptr, c.group.data(), c.subgroup.data(),
            sp.cluster_twin, sp.cluster_prewin);
        benchmark::DoNotOptimize(best.score);
        node = (node + 1) % event.nodes();
    }
    count_nodes(state);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"stations", "picks"})->Args({20, 40})->Args({100, 150})->Args({500, 600});
}

BENCHMARK(node_backproj)->Apply(sizes);
BENCHMARK(literal_search)->Apply(sizes);

}  // namespace
