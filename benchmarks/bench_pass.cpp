// The travel-time pass over real stations, and reading a grid file back. Rates are counters.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "velorix.h"

namespace {

const char* const kCalculator =
    "time = 'all'\nmethod = 'tttaup'\nmodel = 'iasp91'\ncompute_P = true\ncompute_S = true\n"
    "nx = 20\nny = 20\nxmin = -20\nxmax = 20\nymin = -20\nymax = 20\nlatr = 10\nlonr = 20\n";

struct Grid {
    explicit Grid(const std::string& depths) {
        const std::string text = kCalculator + depths;
        pfparse(text.c_str(), "benchmark", &pf);
        record = velorix_new();
        velorix_setup_stations(record, VELORIX_BENCHMARK_STATIONS, pf);
        velorix_setup_edp_grid(record, "benchmark", pf);
        velorix_create_heap(record, &heap, &size, &capacity);
    }
    ~Grid() {
        velorix_free(record);
        pffree(pf);
        std::free(heap);
    }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    Pf* pf = nullptr;
    Velorix* record = nullptr;
    char* heap = nullptr;
    int32_t size = 0;
    int32_t capacity = 0;
};

void pass(benchmark::State& state, const char* depths) {
    const Grid grid(depths);
    velorix_compute_travel_times(grid.record, nullptr);  // the calculator's state is warm after it
    for (auto _ : state) velorix_compute_travel_times(grid.record, nullptr);
    state.counters["pairs/s"] =
        benchmark::Counter(static_cast<double>(grid.record->nn) * grid.record->ns,
                           benchmark::Counter::kIsIterationInvariantRate);
}

void read_heap(benchmark::State& state) {
    const Grid grid("depths = [10, 100]\n");
    velorix_compute_travel_times(grid.record, nullptr);
    for (auto _ : state) {
        Tbl* grids = nullptr;
        velorix_read_buffer(grid.heap, static_cast<uint64_t>(grid.size), "benchmark", &grids);
        freetbl(grids, velorix_release);
    }
}

BENCHMARK_CAPTURE(pass, one_depth, "depths = [10]\n")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(pass, four_depths, "depths = [0, 10, 100, 600]\n")->Unit(benchmark::kMillisecond);
BENCHMARK(read_heap)->Unit(benchmark::kMicrosecond);

}  // namespace
