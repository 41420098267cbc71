// One bit of a grid file turned: it is refused, or events have values that earthquakes can have.
#include "damaged_grid.h"
#include "support/log_capture.h"

namespace velorix::assoc {
namespace {

TEST(DamagedGrid, GivesNoImpossibleEvent) {
    const std::string whole = grid_file();
    const auto picks = picks_of({{1e9 + 100.3, 0.42, 0.37, 7.0}}, 0, 1);
    const velorix_test::LogCapture log;
    const auto expected = associate_on(whole, picks);
    ASSERT_TRUE(expected) << log.text();
    ASSERT_GE(expected->events, 2u);
    std::mt19937 random(2);
    int refused = 0;
    for (int i = 0; i < 1000; ++i) {
        std::string damaged = whole;
        const size_t bit = random() % (8 * damaged.size());
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        const size_t said = log.count();
        const auto outcome = associate_on(damaged, picks);
        refused += !outcome;
        if (!outcome) {
            EXPECT_GT(log.count(), said) << "refused without a word, bit " << bit;
        }
        if (outcome) {
            EXPECT_EQ(outcome->impossible, "") << bit;
        }
    }
    EXPECT_GT(refused, 30);
    std::printf("%d of 1000 refused\n", refused);
}

}  // namespace
}  // namespace velorix::assoc
