// The tool: a parameter file and a station database in, one grid heap after another out.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "builders.h"
#include "command_line.h"
#include "no_memory.h"
#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "platform/elog/printable.h"
#include "progress.h"
#include "standard_streams.h"
#include "velorix.h"

namespace {

using velorix::tool::CommandLine;

using Text = velorix::OwnedText;
using Grid = velorix::Owned<Velorix, velorix_free>;

/// The heap buffer, reused from grid to grid.
struct HeapBuffer {
    char* bytes = nullptr;
    int32_t size = 0;
    int32_t capacity = 0;

    HeapBuffer() = default;
    HeapBuffer(const HeapBuffer&) = delete;
    HeapBuffer& operator=(const HeapBuffer&) = delete;
    ~HeapBuffer() { std::free(bytes); }
};

void warn_if_empty(const Velorix& grid, const char* name) {
    const char* lacks = grid.nn == 0 && grid.ns == 0 ? "nodes and no stations"
                        : grid.nn == 0               ? "nodes"
                        : grid.ns == 0               ? "stations"
                                                     : nullptr;
    if (lacks) elog_complain(0, "Grid %s has no %s.\n", name, lacks);
}

void write_heap(const HeapBuffer& heap) {
    velorix::tool::clear_addresses(heap.bytes);
    if (!velorix::tool::write_block(heap.bytes, static_cast<size_t>(heap.size)))
        elog_die(1, "fwrite(stdout) error.\n");
}

// A name of the parameter file may hold anything.
void say(const char* doing, const char* name) {
    std::fprintf(stderr, "%s grid %s...\n", doing, velorix::printable(name).c_str());
}

void make_grid(const char* name, Pf* pf, const CommandLine& line, HeapBuffer& heap) {
    char* value = nullptr;
    if (parse_param(pf, "mode", PF_STRING, 1, &value) < 0)
        elog_die(0, "parse_param(%s,mode) error.\n", name);
    const Text mode(value);
    if (line.time && pfput_string(pf, "time", line.time) < 0)
        elog_die(0, "pfput_string(%s,time) error.\n", name);
    const Grid grid(velorix_new());
    if (!grid) elog_die(0, "velorix_new() error.\n");

    const velorix::tool::Builder* builder = velorix::tool::find_builder(mode.get());
    if (!builder) {
        elog_complain(0, "Do not grok mode '%s'...skipping this grid.\n", mode.get());
        return;
    }
    if (velorix_setup_stations(grid.get(), line.dbname, pf) < 0)
        elog_die(0, "velorix_setup_stations() error.\n");
    if (builder->setup(grid.get(), name, pf) < 0) elog_die(0, "%s", builder->failure);
    warn_if_empty(*grid, name);
    std::fputs(builder->label, stderr);

    if (velorix_create_heap(grid.get(), &heap.bytes, &heap.size, &heap.capacity) < 0)
        elog_die(0, "velorix_create_heap() error.\n");
    std::fprintf(stderr, "%d bytes\n", heap.size);
    say("Computing", name);
    if (velorix_compute_travel_times(grid.get(), mycallback) < 0)
        elog_die(0, "velorix_compute_travel_times() error.\n");
    say("Writing", name);
    write_heap(heap);
}

void make_grids(Pf* grids, const CommandLine& line) {
    const velorix::OwnedTbl names(keysarr(pfarr(grids)));
    if (!names) elog_die(1, "keysarr(grids) error.\n");
    HeapBuffer heap;
    for (int i = 0; i < maxtbl(names.get()); ++i) {
        const char* name = static_cast<const char*>(gettbl(names.get(), i));
        say("Setting up", name);
        Pf* grid = nullptr;
        if (parse_param(grids, name, PF_ARRAY, 1, &grid) < 0)
            elog_die(0, "parse_param(%s) error.\n", name);
        make_grid(name, grid, line, heap);
    }
}

}  // namespace

int main(int argc, char** argv) {
    elog_init(argc, argv);
    velorix::tool::prepare_standard_streams();
    velorix::tool::end_when_memory_fails();
    const auto line = velorix::tool::parse_command_line(argc, argv);
    if (!line) return 1;
    Pf* read = nullptr;
    if (pfread(line->pfname, &read) < 0) elog_die(0, "pfread(%s) error.\n", line->pfname);
    const velorix::Owned<Pf, pffree> pf(read);
    constexpr const char* keys[] = {"grids"};
    pf_complain_unknown(pf.get(), "the parameter file", keys, 1);
    Pf* grids = nullptr;
    if (parse_param(pf.get(), "grids", PF_ARRAY, 1, &grids) < 0)
        elog_die(0, "parse_param(grids) error.\n");
    make_grids(grids, *line);
    if (!velorix::tool::close_output()) elog_die(1, "fwrite(stdout) error.\n");
    return 0;
}
