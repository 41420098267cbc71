// Nodes a second of the plain cluster search of the tests, of the search of every node, and of
// scans, which leave out the nodes that cannot win.
#include <benchmark/benchmark.h>

#include "benchmarks/engine_case.h"
#include "grsubs/search_scratch.h"
#include "tests/support/literal_search.h"

namespace {

using velorix_benchmark::EngineCase;
using velorix_benchmark::mesh;

int argument(const benchmark::State& state, int number) {
    return static_cast<int>(state.range(number));
}

/// Takes one node after the other, as a pass does.
template <class Search>
void search_nodes(benchmark::State& state, EngineCase& event, Search search) {
    int node = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(search(event.ix(node), event.iy(node)));
        node = (node + 1) % event.nodes();
    }
    state.counters["nodes/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void literal_search(benchmark::State& state) {
    EngineCase event(mesh(VELORIX_TYPE_3D), argument(state, 0), argument(state, 1));
    SearchParams& sp = *event.search;
    for (int i = 0; i < maxtbl(event.picks.stao_tbl); ++i)
        getweights(&sp, &event.picks.listed(i), 0);
    velorix_test::LiteralCandidates c;
    search_nodes(state, event, [&](int ix, int iy) {
        velorix_test::literal_candidates(sp, ix, iy, 0, event.picks.stao_tbl, c);
        return velorix_test::literal_find_cluster(static_cast<int>(c.value.size()), c.value.data(),
                                                  c.weighted ? c.weight.data() : nullptr,
                                                  c.group.data(), c.subgroup.data(),
                                                  sp.cluster_twin, sp.cluster_prewin)
            .score;
    });
}

void every_node(benchmark::State& state) {
    EngineCase event(mesh(VELORIX_TYPE_3D), argument(state, 0), argument(state, 1));
    search_nodes(state, event, [&](int ix, int iy) {
        double etime = 0, width = 0, score = 0, variance = 0;
        velorix_node_backproj(event.search.sp, 0, ix, iy, 0, event.picks.stao_tbl, &etime, &width,
                              &score, &variance);
        return score;
    });
}

// Share of the looks at nodes that a bound of the score cut short.
double share_skipped(const SearchParams& sp) {
    double skipped = 0;
    double looks = 0;
    for (int i = 0; i < maxtbl(sp.threads_tbl); ++i) {
        const auto* thread = static_cast<const SearchThread*>(gettbl(sp.threads_tbl, i));
        if (!thread->scratch) continue;
        skipped += static_cast<double>(thread->scratch->scores.refused);
        looks += static_cast<double>(thread->scratch->scores.clustered);
    }
    looks += skipped;
    return looks > 0 ? skipped / looks : 0;
}

void run_scans(benchmark::State& state, EngineCase& event) {
    for (auto _ : state) {
        event.search->grid_type_string[0] = '\0';
        const velorix_test::Scan scan(*event.search, event.picks.stao_tbl);
        benchmark::DoNotOptimize(scan.f);
    }
    state.counters["nodes/s"] =
        benchmark::Counter(event.nodes(), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["skipped"] = share_skipped(*event.search);
}

void scan_grid(benchmark::State& state) {
    EngineCase event(mesh(argument(state, 2)), argument(state, 0), argument(state, 1),
                     argument(state, 3));
    run_scans(state, event);
}

void scan_with_plot(benchmark::State& state) {
    EngineCase event(mesh(VELORIX_TYPE_1D), argument(state, 0), argument(state, 1));
    char name[] = "scores";
    event.search->bugrid_filename = name;
    run_scans(state, event);
    event.search->bugrid_filename = nullptr;
}

// As many nodes as the embedded global source set has, near enough.
void scan_source_list(benchmark::State& state) {
    velorix_test::TinyGridOptions options;
    options.mode = VELORIX_MODE_GENERAL;
    options.nx = 413;
    options.ny = 414;
    options.depths = {5.0, 15.0, 35.0};
    EngineCase event(options, 113, 120);
    run_scans(state, event);
}

constexpr std::pair<int, int> kSizes[] = {{20, 40}, {100, 150}, {500, 600}};

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"stations", "picks"});
    for (const auto& [stations, picks] : kSizes) benchmark->Args({stations, picks});
}

void scan_sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"stations", "picks", "type", "threads"});
    for (const auto& [stations, picks] : kSizes) {
        benchmark->Args({stations, picks, VELORIX_TYPE_3D, 1});
        benchmark->Args({stations, picks, VELORIX_TYPE_1D, 1});
        benchmark->Args({stations, picks, VELORIX_TYPE_3D, 2});
    }
    benchmark->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(literal_search)->Apply(sizes);
BENCHMARK(every_node)->Apply(sizes);
BENCHMARK(scan_grid)->Apply(scan_sizes);
BENCHMARK(scan_with_plot)->Apply(sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(scan_source_list)->Unit(benchmark::kMillisecond);

}  // namespace
