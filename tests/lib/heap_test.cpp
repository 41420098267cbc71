// Packing a grid and reading it back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "setupgrid/heap_layout.h"
#include "support/c_array.h"
#include "support/grid_view.h"
#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/temp_file.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velorix::presence_marker;
using velorix_test::GridPtr;
using velorix_test::Heap;
using velorix_test::LogCapture;

struct Shape {
    int32_t mode, type, ns, nx, ny, nd, ndist;
    bool P, S, distances;
};

// A grid as a builder leaves it, with positions and stations that tell each other apart.
GridPtr laid_out(const Shape& shape) {
    GridPtr grid = velorix_test::new_grid();
    const bool table = shape.type == VELORIX_TYPE_1D;
    grid->mode = shape.mode;
    grid->type = shape.type;
    grid->ns = shape.ns;
    grid->nh = shape.nx * shape.ny;
    grid->nd = shape.nd;
    grid->nn = grid->nh * shape.nd;
    if (shape.mode == VELORIX_MODE_REGULAR) {
        grid->nx = shape.nx;
        grid->ny = shape.ny;
    }
    grid->ndist = table ? shape.ndist : 0;
    grid->dpsize = shape.nd * 8;
    grid->srsize = grid->nh * 24;
    grid->stsize = shape.ns * 48;
    grid->ttsize = (table ? shape.ndist * shape.nd : grid->nn * shape.ns) * 4;
    grid->dssize = table ? shape.ndist * 4 : shape.distances ? grid->ttsize : 0;
    grid->ttosize = table ? shape.ns * grid->nh * 2 : 0;
    if (shape.P) grid->P_times = presence_marker<float>();
    if (shape.S) grid->S_times = presence_marker<float>();
    if (shape.distances || table) grid->distances = presence_marker<float>();
    if (table) grid->ttoffsets = presence_marker<uint16_t>();
    std::memcpy(grid->name, "test", 4);
    grid->stations = velorix::make_c_array<Station>(static_cast<size_t>(shape.ns)).release();
    for (int32_t i = 0; i < shape.ns; ++i) {
        grid->stations[i] = Station{i + 0.5, i + 0.25, 0.1, "S", i, 0};
        grid->stations[i].sta[1] = static_cast<char>('A' + i);
    }
    grid->depths = velorix::make_c_array<double>(static_cast<size_t>(shape.nd)).release();
    for (int32_t i = 0; i < shape.nd; ++i) grid->depths[i] = 10.0 * i;
    grid->sources = velorix::make_c_array<Source>(static_cast<size_t>(grid->nh)).release();
    for (int32_t i = 0; i < grid->nh; ++i) grid->sources[i] = Source{1.0 * i, 2.0 * i, 0.0};
    return grid;
}

void fill_tables(Velorix& grid) {
    const int32_t entries = grid.ttsize / 4;
    for (int32_t i = 0; i < entries; ++i) {
        if (grid.P_times) grid.P_times[i] = static_cast<float>(i);
        if (grid.S_times) grid.S_times[i] = static_cast<float>(i + 1000);
    }
    for (int32_t i = 0; i < grid.ttosize / 2; ++i)
        grid.ttoffsets[i] = static_cast<uint16_t>(i % grid.ndist);
}

constexpr Shape kPairs{2, 1, 2, 2, 2, 1, 0, true, true, false};
constexpr Shape kTable{2, 2, 3, 2, 1, 2, 5, true, false, true};
constexpr Shape kList{1, 1, 3, 3, 1, 1, 0, true, false, true};

template <class T>
T at(const Heap& heap, size_t offset) {
    T value;
    std::memcpy(&value, heap.bytes + offset, sizeof value);
    return value;
}

TEST(Heap, PlacesBlocksWhereTheFormatHasThem) {
    struct Case {
        Shape shape;
        int size;
        long distances, P, S, offsets;
    };
    for (const Case& c : {Case{kPairs, 648, -1, 584, 616, -1}, Case{kTable, 672, 592, 616, -1, 656},
                          Case{kList, 688, 608, 648, -1, -1}}) {
        const GridPtr grid = laid_out(c.shape);
        Heap heap;
        EXPECT_EQ(heap.pack(grid.get()), c.size);
        EXPECT_EQ(heap.size, c.size);
        EXPECT_EQ(at<int32_t>(heap, offsetof(Velorix, size)), c.size);
        EXPECT_EQ(std::string(heap.bytes, 4), "mgxv");
        const auto place = [&](const void* table) {
            return table ? static_cast<const char*>(table) - heap.bytes : -1;
        };
        EXPECT_EQ(place(grid->distances), c.distances);
        EXPECT_EQ(place(grid->P_times), c.P);
        EXPECT_EQ(place(grid->S_times), c.S);
        EXPECT_EQ(place(grid->ttoffsets), c.offsets);
        EXPECT_EQ(at<uint64_t>(heap, offsetof(Velorix, S_times)), c.S < 0 ? 0u : 1u);
        EXPECT_EQ(at<uint64_t>(heap, offsetof(Velorix, P_times)), 1u);
        EXPECT_EQ(at<double>(heap, 384 + 48), 1.5);  // latitude of the second station
    }
    const GridPtr fresh = velorix_test::new_grid();
    Heap heap;
    EXPECT_EQ(heap.pack(fresh.get()), 384);
}

TEST(Heap, ReusesAndGrowsTheCallersBuffer) {
    const GridPtr small = laid_out(kPairs);
    const GridPtr large = laid_out(kTable);
    Heap heap;
    heap.pack(large.get());
    std::memset(heap.bytes, 0x55, static_cast<size_t>(heap.size));
    EXPECT_EQ(heap.pack(small.get()), 648);
    EXPECT_EQ(heap.capacity, 672);
    EXPECT_EQ(heap.text().substr(584), std::string(64, '\0'));  // nothing of the old bytes is left
    const GridPtr again = laid_out({2, 1, 3, 3, 3, 2, 0, true, true, true});
    EXPECT_EQ(heap.pack(again.get()), heap.capacity);
}

TEST(Heap, RefusesSizesBeyondTheFormat) {
    const GridPtr grid = laid_out(kPairs);
    grid->ttsize = 1 << 30;
    const LogCapture log;
    Heap heap;
    EXPECT_EQ(heap.pack(grid.get()), -1);
    EXPECT_EQ(heap.bytes, nullptr);
    EXPECT_THAT(log.messages(), ElementsAre("velorix_create_heap: a heap of 2147484232 bytes "
                                            "exceeds the limit of 2147483647 bytes.\n"));
}

// Records read from bytes that stay in `text`, aligned.
struct Reader {
    explicit Reader(const std::string& text) : words(text.size() / 8 + 1) {
        std::memcpy(words.data(), text.data(), text.size());
        count = velorix_read_buffer(words.data(), text.size(), "mem", &grids);
    }
    ~Reader() { freetbl(grids, velorix_release); }

    std::vector<uint64_t> words;
    Tbl* grids = nullptr;
    int count = 0;
};

std::string packed(const Shape& shape) {
    const GridPtr grid = laid_out(shape);
    Heap heap;
    heap.pack(grid.get());
    fill_tables(*grid);
    return heap.text();
}

TEST(Heap, ReadsBackWhatWasWritten) {
    const std::string stream = packed(kPairs) + packed(kTable) + packed(kList);
    const velorix_test::TempFile file(stream);
    Tbl* grids = nullptr;
    ASSERT_EQ(velorix_read_file(file.c_str(), &grids), 3);
    const auto* table = static_cast<const Velorix*>(gettbl(grids, 1));
    EXPECT_EQ(table->distances[0], 0.0F);
    EXPECT_EQ(table->sources[1].lon, 2.0);
    EXPECT_EQ(table->depths[1], 10.0);
    EXPECT_EQ(getarr(table->sta_arr, "SC"), &table->stations[2]);
    double p = 0.0;
    double s = -7.0;
    EXPECT_EQ(velorix_get_ttimes(table, 2, 1, 0, 1, &p, &s), 0);
    EXPECT_EQ(p, 5.0);  // offset (1 * 3 + 2) % 5 = 0, depth 1 starts at entry 5
    EXPECT_EQ(s, -7.0);
    const auto* pairs = static_cast<const Velorix*>(gettbl(grids, 0));
    velorix_get_ttimes(pairs, 1, 0, 1, 0, &p, &s);
    EXPECT_EQ(p, 5.0);
    EXPECT_EQ(s, 1005.0);
    const auto* list = static_cast<const Velorix*>(gettbl(grids, 2));
    EXPECT_EQ(velorix_get_ttimes(list, 1, 2, 0, 0, &p, &s), 0);
    EXPECT_EQ(p, 7.0) << "node 2 of a list, three stations a node";
    // Every grid keeps the mapped bytes alive by itself.
    velorix_free(static_cast<Velorix*>(gettbl(grids, 0)));
    settbl(grids, 0, nullptr);
    velorix_get_ttimes(table, 0, 0, 0, 0, &p, &s);
    EXPECT_EQ(p, 0.0);
    freetbl(grids, velorix_release);
}

TEST(Heap, SaysAtWhichByteAFileIsWrongOrCut) {
    const std::string good = packed(kTable);
    const auto with = [&](size_t offset, int32_t value) {
        std::string text = good;
        std::memcpy(text.data() + offset, &value, sizeof value);
        return text;
    };
    const std::pair<std::string, const char*> cases[] = {
        {"", "byte 0: the file is empty"},
        {with(0, 1), "byte 0: not a grid"},
        {good + good.substr(0, 100), "byte 772: the file ends within a grid header"},
        {good.substr(0, 671), "byte 671: the file ends within grid 'test' of 672 bytes"},
        {with(offsetof(Velorix, size), 680), "byte 4: size is 680, but the blocks add up to 672"},
        {with(offsetof(Velorix, mode), 3), "byte 8: unknown grid mode 3"},
        {with(offsetof(Velorix, mode), 1), "byte 12: a general mesh has no distance table"},
        {with(offsetof(Velorix, ns), -3), "byte 16: ns is negative (-3)"},
        {with(offsetof(Velorix, nn), 5), "byte 20: nn is 5, expected 4"},
        {with(offsetof(Velorix, nx), 2147483647), "byte 24: nh is 2, expected 2147483647"},
        {packed({2, 1, 3, 2147483647, 0, 1, 0, true, false, false}),
         "byte 32: 0 rows of 2147483647 columns"},
        {with(offsetof(Velorix, ndist), 65537), "byte 40: 65537 distance samples"},
        {with(offsetof(Velorix, stsize), 0), "byte 60: stsize is 0, expected 144"},
        {with(offsetof(Velorix, ttoffsets), 0), "byte 368: a distance table without offsets"},
        {with(384 + 40, 1), "byte 424: station SA has index 1, not 0"},
        {with(384 + 48 + 24, 0x4153), "byte 456: station SA stands twice"},
        {with(384 + 24, 0), "byte 408: station 0 has no valid code"},
        {with(384 + 144 + 4, 0x7ff00000), "byte 528: depth 0 is not finite"},
        {with(656, 5), "byte 656: distance sample 5, but there are 5"},
    };
    for (const auto& [text, message] : cases) {
        const LogCapture log;
        EXPECT_EQ(Reader(text).count, -1) << message;
        EXPECT_THAT(log.text(), HasSubstr(message));
    }
    const LogCapture log;
    const std::string two = good + packed(kList);
    for (size_t length = 0; length < two.size(); ++length)
        EXPECT_EQ(Reader(two.substr(0, length)).count, length == good.size() ? 1 : -1);
}

}  // namespace
