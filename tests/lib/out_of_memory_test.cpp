// Every allocation of a grid's life fails once: the call says so, and nothing leaks or is half
// made.
#include "laid_out_grid.h"
#include "support/fail_each_allocation.h"
#include "support/temp_file.h"

namespace {

using velorix_test::GridPtr;
using velorix_test::Heap;
using velorix_test::TempFile;
using velorix_test::walk;

TEST(OutOfMemory, Stations) {
    walk("velorix_new", [] { return GridPtr(velorix_new()) != nullptr; });
    const TempFile sites(
        "AAA     2000001       -1   10.0000    0.0000    0.0000\n"
        "BBB     2000001       -1   11.0000    0.0000    0.0000\n",
        "t.site");
    for (const char* toml : {"time='all'", "time='2010001'\nstations=['BBB','AAA']"}) {
        const auto pf = velorix_test::parameters(toml);
        const GridPtr grid = velorix_test::new_grid();
        walk("velorix_setup_stations", [&] {
            // The same record again and again: what an earlier call left is replaced.
            return velorix_setup_stations(grid.get(), sites.c_str(), pf.get()) == 0;
        });
        EXPECT_EQ(grid->ns, 2);
        EXPECT_EQ(getarr(grid->sta_arr, "BBB"), &grid->stations[toml[6] == 'a' ? 1 : 0]);
    }
}

TEST(OutOfMemory, Builders) {
    const std::string common =
        "method='tttaup'\nmodel='iasp91'\ncompute_P=true\ncompute_distances=true\n";
    std::string many;
    for (int i = 0; i < 1001; ++i) many += "1 2 3\n";  // beyond the first capacity
    const TempFile points(many);
    const auto file = velorix_test::parameters(common + "coords_file='" + points.path() + "'");
    const auto array = velorix_test::parameters(common);
    const Source source{1.0, 2.0, 3.0};
    const GridPtr grid = velorix_test::new_grid();
    walk("velorix_setup_readfromfile_grid",
         [&] { return velorix_setup_readfromfile_grid(grid.get(), "g", file.get()) == 0; });
    EXPECT_EQ(grid->sources[1000].depth, 3.0);
    walk("velorix_setup_fromsourcearray_grid", [&] {
        return velorix_setup_fromsourcearray_grid(grid.get(), "g", 1, &source, array.get()) == 0;
    });
    EXPECT_EQ(grid->nn, 1);
}

TEST(OutOfMemory, StationWindow) {
    const auto pf = velorix_test::changed(velorix_test::mesh_keys("1", {"depths", "[5]"}),
                                          {{"pxstamax", "150"}});
    const GridPtr grid =
        velorix_test::grid_with_stations({{"A", 0.0, 0.0}, {"B", 0.0, 1.5}, {"FAR", 40.0, 60.0}});
    walk("velorix_setup_edp_grid: ", [&] {
        const bool done = velorix_setup_edp_grid(grid.get(), "grid", pf.get()) == 0;
        EXPECT_EQ(grid->ns, done ? 2 : 3);
        EXPECT_EQ(maxarr(grid->sta_arr), grid->ns);
        EXPECT_EQ(getarr(grid->sta_arr, "B"), &grid->stations[1]);
        return done;
    });
}

TEST(OutOfMemory, HeapAndReaders) {
    const auto pf = velorix_test::parameters("method='tttaup'\nmodel='iasp91'\ncompute_P=true\n");
    const Source source{1.0, 2.0, 3.0};
    const GridPtr grid = velorix_test::grid_with_stations({{"A", 10.0, 0.0}, {"B", 11.0, 0.0}});
    ASSERT_EQ(velorix_setup_fromsourcearray_grid(grid.get(), "g", 1, &source, pf.get()), 0);
    Heap heap;
    walk("velorix_create_heap", [&] { return heap.pack(grid.get()) > 0; });
    Heap small;
    walk("velorix_create_heap", [&] {
        // A buffer that cannot grow is gone; the caller starts with a new one.
        if (!small.bytes) {
            small.bytes = static_cast<char*>(std::malloc(8));
            small.capacity = 8;
        }
        const int size = small.pack(grid.get());
        EXPECT_EQ(size > 0, small.bytes != nullptr);
        return size > 0;
    });
    EXPECT_EQ(small.text().substr(384), heap.text().substr(384));

    const TempFile file(heap.text() + heap.text());
    Tbl* grids = nullptr;
    walk("velorix_read_file", [&] { return velorix_read_file(file.c_str(), &grids) == 2; });
    freetbl(grids, velorix_release);
    walk("velorix_read_buffer", [&] {
        return velorix_read_buffer(heap.bytes, static_cast<uint64_t>(heap.size), "mem", &grids) ==
               1;
    });
    freetbl(grids, velorix_release);
}

}  // namespace
