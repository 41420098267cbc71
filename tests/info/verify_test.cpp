// Damage to a grid file is found by computing it again, bit by bit.
#include "verify.h"

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <random>

#include "lib/laid_out_grid.h"

namespace {

using namespace velorix_test;
using testing::HasSubstr;
using velorix::info::Verification;
using velorix::info::verification_text;
using velorix::info::verify;

/// A grid file of one grid in memory.
std::string grid_file(const Keys& changes) {
    const GridPtr grid =
        grid_with_stations({{"AAA", 0.0, 0.0, 0.5}, {"BBB", 0.0, 40.0}, {"CCC", -30.0, 100.0}});
    const PfPtr pf = changed(mesh_keys("1", {"depths", "[5, 10.5]"}), changes);
    if (velorix_setup_edp_grid(grid.get(), "mesh", pf.get()) < 0)
        throw std::runtime_error("no grid");
    Heap heap;
    compute(*grid, heap);
    return heap.text();
}

std::string list_file() {
    const GridPtr grid = grid_with_stations({{"AAA", 0.0, 0.0, 0.5}, {"BBB", 0.0, 40.0}});
    const Source points[] = {{10.0, 20.0, 30.0}, {-80.0, 170.0, 0.0}, {5.0, 5.0, 600.0}};
    const PfPtr pf = parameters("method='tttaup'\nmodel='ak135'\ncompute_P=true\ncompute_S=true");
    velorix_setup_fromsourcearray_grid(grid.get(), "list", 3, points, pf.get());
    Heap heap;
    compute(*grid, heap);
    return heap.text();
}

const Keys kPairs{{"compute_S", "true"}, {"compute_distances", "true"}};
const Keys kTable{{"compute_S", "true"}, {"type", "'1d'"}, {"ndist", "50"}};

/// A file's only grid; null when the reader refuses the file.
class Loaded {
  public:
    explicit Loaded(std::string bytes) : bytes_(std::move(bytes)) {
        velorix_read_buffer(bytes_.data(), bytes_.size(), "file", &grids_);
        grid = static_cast<Velorix*>(gettbl(grids_, 0));
    }
    ~Loaded() { freetbl(grids_, velorix_release); }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;

    /// Bytes of the file before a place in one of the grid's tables.
    size_t offset(const void* place) const {
        return static_cast<size_t>(static_cast<const char*>(place) - bytes_.data());
    }
    Velorix* grid = nullptr;

  private:
    std::string bytes_;
    Tbl* grids_ = nullptr;
};

std::string text_of(const Velorix& grid) { return verification_text("f.vxg", grid, verify(grid)); }

TEST(Verify, FindsNothingInWhatWasComputedHere) {
    for (const auto& [file, entries] :
         {std::pair(grid_file(kPairs), 162), {grid_file(kTable), 277}, {list_file(), 12}}) {
        const Loaded loaded(file);
        const Verification found = verify(*loaded.grid);
        EXPECT_TRUE(found.good());
        EXPECT_EQ(found.entries, entries);
        EXPECT_EQ(found.rounding, 0);
        EXPECT_THAT(text_of(*loaded.grid),
                    HasSubstr(std::to_string(entries) + " entries are as computed again\n"));
    }
}

TEST(Verify, NamesEntriesThatAreDamagedAndCountsThoseThatAreRounded) {
    const Loaded pairs(grid_file(kPairs));
    Velorix& grid = *pairs.grid;
    grid.P_times[0] = std::nextafter(grid.P_times[0], 0.0f);
    grid.P_times[1] = std::nextafter(grid.P_times[1], HUGE_VALF);
    grid.S_times[53] = NAN;
    grid.S_times[3] = std::nextafter(std::nextafter(grid.S_times[3], 0.0f), 0.0f);
    grid.distances[4] = -grid.distances[4];
    const std::string text = text_of(grid);
    EXPECT_THAT(text, HasSubstr("f.vxg: mesh: 3 of 162 entries are damaged, 2 differ in the last "
                                "place\n  the distance of node 1 (-1.000 0.000, 5 km) to station "
                                "BBB: -40."));
    EXPECT_THAT(text, HasSubstr("  the S time of node 1 (-1.000 0.000, 5 km) to station AAA: "));
    EXPECT_THAT(text, HasSubstr("node 17 (1.000 1.000, 10.5 km) to station CCC: nan s stored, "));

    const Loaded table(grid_file(kTable));
    table.grid->ttoffsets[4] = static_cast<uint16_t>(table.grid->ttoffsets[4] - 3);
    EXPECT_THAT(text_of(*table.grid),
                HasSubstr("the distance sample of node 1 (-1.000 0.000, 5 km) to station BBB: "));
    for (int i = 0; i < 100; ++i) table.grid->S_times[i] = -1.0f;
    EXPECT_THAT(text_of(*table.grid), HasSubstr("101 of 277 entries are damaged\n"));
    EXPECT_THAT(text_of(*table.grid), testing::EndsWith("computed\n  ...\n"));
}

TEST(Verify, SaysWhenThereIsNothingToCompareWith) {
    const Loaded loaded(grid_file(kPairs));
    float negative = -3.0f;
    std::strcpy(loaded.grid->model, "my\x1b[31mmodel.tvel");
    const LogCapture log;
    EXPECT_FALSE(verify(*loaded.grid).good());
    EXPECT_EQ(
        text_of(*loaded.grid),
        "f.vxg: mesh: not verified, model my?[31mmodel.tvel of method tttaup is not at hand\n");
    EXPECT_THAT(log.text(), HasSubstr("unknown model"));
    EXPECT_THAT(log.text(), testing::Not(HasSubstr("velorix_check_times")));
    std::swap(loaded.grid->S_times[1], negative);
    verify(*loaded.grid);
    std::swap(loaded.grid->S_times[1], negative);
    EXPECT_THAT(log.text(), HasSubstr("velorix_check_times: Grid mesh: the S time of node 0"));
    std::strcpy(loaded.grid->model, "prem");
    EXPECT_THAT(
        text_of(*loaded.grid),
        HasSubstr("106 of 162 entries are damaged; so many that its model may have been another"));
    std::strcpy(loaded.grid->model, "iasp91");
    loaded.grid->depths[1] = -500.0;
    EXPECT_EQ(text_of(*loaded.grid),
              "f.vxg: mesh: not verified, model iasp91 of method tttaup gives no times for its "
              "positions\n");
}

/// What a flipped bit should lead to.
enum class Fate { found, rounding, either };

// A bit within an entry of a table; padding, header and lists may show it or not.
Fate fate_of(const Loaded& whole, size_t byte, int bit) {
    const Velorix& grid = *whole.grid;
    const struct {
        const float* table;
        int32_t bytes;
    } floats[] = {
        {grid.distances, grid.dssize}, {grid.P_times, grid.ttsize}, {grid.S_times, grid.ttsize}};
    for (const auto& [table, bytes] : floats) {
        if (!table) continue;
        const size_t first = whole.offset(table);
        if (byte < first || byte >= first + static_cast<size_t>(bytes)) continue;
        return (byte - first) % 4 == 0 && bit == 0 ? Fate::rounding : Fate::found;
    }
    if (grid.ttoffsets) {
        const size_t first = whole.offset(grid.ttoffsets);
        if (byte >= first && byte < first + static_cast<size_t>(grid.ttosize)) return Fate::found;
    }
    return Fate::either;
}

TEST(Verify, FindsEveryFlippedBitOfATable) {
    const std::string files[] = {grid_file(kPairs), grid_file(kTable), list_file()};
    std::mt19937 random(20161030);
    int found = 0, rounded = 0, refused = 0, other = 0;
    for (int i = 0; i < 4000; ++i) {
        const std::string& file = files[i % 3];
        const Loaded whole(file);
        const size_t byte = random() % file.size();
        const int bit = static_cast<int>(random() % 8);
        const Fate fate = fate_of(whole, byte, bit);
        std::string flipped = file;
        flipped[byte] = static_cast<char>(flipped[byte] ^ (1 << bit));
        const LogCapture log;
        const Loaded loaded(flipped);
        const std::string at = "file " + std::to_string(i % 3) + " byte " + std::to_string(byte) +
                               " bit " + std::to_string(bit);
        if (!loaded.grid) {  // an offset beyond the samples is refused by the reader
            EXPECT_TRUE(fate == Fate::either || (whole.grid->ttoffsets && !log.empty())) << at;
            ++refused;
            continue;
        }
        const Verification result = verify(*loaded.grid);
        if (fate == Fate::found) {
            EXPECT_EQ(result.damaged, 1) << at;
            ++found;
        } else if (fate == Fate::rounding) {
            EXPECT_TRUE(result.damaged == 0 && result.rounding == 1) << at;
            ++rounded;
        } else {
            ++other;
        }
    }
    EXPECT_GT(found, 1000);
    EXPECT_GT(rounded, 20);
    RecordProperty("found", found);
    RecordProperty("rounding", rounded);
    RecordProperty("refused", refused);
    RecordProperty("elsewhere", other);
    std::printf("flips: %d found, %d rounding, %d refused, %d elsewhere\n", found, rounded, refused,
                other);
}

}  // namespace
