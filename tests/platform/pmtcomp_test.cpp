#include "platform/pmtcomp/pmtcomp.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

#include "support/log_capture.h"

namespace velorix_test {
namespace {

struct Share {
    std::vector<std::pair<int, int>> pieces;
    bool fail = false;
    bool raise = false;
};

int64_t note_piece(int32_t offset, int32_t number, void* user_data) {
    auto& share = *static_cast<Share*>(user_data);
    share.pieces.emplace_back(offset, number);
    if (share.raise) throw std::runtime_error("broken");
    return share.fail ? -1 : 0;
}

struct Group {
    Group(int n, int32_t nodes) : shares(static_cast<size_t>(n)) {
        std::vector<void*> user;
        for (Share& share : shares) user.push_back(&share);
        group = pmtcomp_new(n, note_piece, user.data(), nodes);
    }
    ~Group() { pmtcomp_free(group); }
    Group(const Group&) = delete;
    Group& operator=(const Group&) = delete;

    std::vector<Share> shares;
    Pmtcomp* group;
};

TEST(Pmtcomp, CutsTheRangeIntoAscendingPiecesOfNearlyEqualSize) {
    const struct {
        int threads;
        int nodes;
    } rows[] = {{1, 10}, {2, 10}, {3, 10}, {4, 3}, {7, 100}, {2, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.threads << " threads, " << row.nodes << " nodes");
        Group group(row.threads, row.nodes);
        EXPECT_EQ(row.threads, pmtcomp_processthreads(group.group));
        int next = 0;
        for (const Share& share : group.shares) {
            ASSERT_EQ(1u, share.pieces.size());
            EXPECT_EQ(next, share.pieces[0].first);
            EXPECT_GE(share.pieces[0].second, row.nodes / row.threads);
            EXPECT_LE(share.pieces[0].second, (row.nodes + row.threads - 1) / row.threads);
            next += share.pieces[0].second;
        }
        EXPECT_EQ(row.nodes, next);
        EXPECT_EQ(row.threads, maxtbl(group.group->threads));
    }
}

TEST(Pmtcomp, RunsAgainAndAgain) {
    Group group(3, 30);
    for (int i = 0; i < 500; ++i) ASSERT_EQ(3, pmtcomp_processthreads(group.group));
    for (const Share& share : group.shares) EXPECT_EQ(500u, share.pieces.size());
}

TEST(Pmtcomp, FailingWorkersDoNotStopTheOthers) {
    LogCapture log;
    Group group(4, 40);
    group.shares[1].fail = true;
    group.shares[2].raise = true;
    EXPECT_EQ(2, pmtcomp_processthreads(group.group));
    group.shares[1].fail = group.shares[2].raise = false;
    EXPECT_EQ(4, pmtcomp_processthreads(group.group));
    EXPECT_EQ(1u, log.count()) << "the exception alone is logged here";
}

TEST(Pmtcomp, RefusesImpossibleGroups) {
    LogCapture log;
    void* user[] = {nullptr};
    EXPECT_EQ(nullptr, pmtcomp_new(0, note_piece, user, 5));
    EXPECT_EQ(nullptr, pmtcomp_new(1, nullptr, user, 5));
    EXPECT_EQ(nullptr, pmtcomp_new(1, note_piece, user, -1));
    EXPECT_EQ(3u, log.count());
    EXPECT_EQ(-1, pmtcomp_processthreads(nullptr));
    pmtcomp_free(nullptr);
}

}  // namespace
}  // namespace velorix_test
