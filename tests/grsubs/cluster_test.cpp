#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "grsubs/cluster.h"
#include "support/literal_search.h"
#include "velorix_pvt.h"

namespace velorix_test {
namespace {

struct Problem {
    std::vector<double> data;
    std::vector<double> weight;  // empty: unweighted
    std::vector<int> group;
    std::vector<int> subgroup;
    double dwin = 0.15;
    double prewin = 1.0;
};

struct Answer {
    LiteralCluster cluster;
    std::vector<double> data;
};

Answer solve(const Problem& problem) {
    Answer answer{{}, problem.data};
    std::vector<double> weight = problem.weight;
    int nbuf = 0, ngrp = 0, nsub = 0;
    bufsort* buf = nullptr;
    double** grp = nullptr;
    double** sub = nullptr;
    EXPECT_EQ(0, find_cluster(static_cast<int>(problem.data.size()), answer.data.data(),
                              weight.empty() ? nullptr : weight.data(), problem.group.data(),
                              problem.subgroup.data(), problem.dwin, problem.prewin,
                              &answer.cluster.score, &answer.cluster.first,
                              &answer.cluster.variance, &nbuf, &buf, &ngrp, &grp, &nsub, &sub));
    EXPECT_EQ(nullptr, buf);
    EXPECT_EQ(nullptr, grp);
    EXPECT_EQ(nullptr, sub);
    EXPECT_EQ(0, nbuf + ngrp + nsub);
    return answer;
}

Answer solve_literally(const Problem& problem) {
    Answer answer{{}, problem.data};
    std::vector<double> weight = problem.weight;
    answer.cluster =
        literal_find_cluster(static_cast<int>(problem.data.size()), answer.data.data(),
                             weight.empty() ? nullptr : weight.data(), problem.group.data(),
                             problem.subgroup.data(), problem.dwin, problem.prewin);
    return answer;
}

TEST(FindCluster, FindsKnownMembers) {
    struct Row {
        const char* what;
        Problem problem;
        double score;
        std::vector<double> data;
    };
    const Row rows[] = {
        {"picks before the window cost",
         {{5, 5.1, 4.8}, {}, {0, 1, 2}, {0, 1, 2}},
         1.9,
         {0, 0, 4.8}},
        // The bound of a placement adds its terms in another order than its score.
        {"simultaneous picks behind an earlier one",
         {{99.5, 100, 100, 100, 100}, {}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4}, 0.3},
         3.9,
         {0, 100, 100, 100, 100}},
        {"weights count", {{5, 9, 9}, {7, 2, 2}, {0, 1, 2}, {0, 1, 2}, 1, 0}, 7.9, {5, 0, 0}},
        {"a window of no width takes nothing", {{5}, {}, {0}, {0}, 0, 0}, 0, {0}},
        {"nothing gives zeros", {}, 0, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const Answer answer = solve(row.problem);
        EXPECT_DOUBLE_EQ(row.score, answer.cluster.score);
        EXPECT_EQ(row.data, answer.data);
        if (!row.data.empty()) continue;
        EXPECT_EQ(0, answer.cluster.first + answer.cluster.variance);
    }
}

// Times on a coarse lattice make ties in value and score common; far outliers, negative and zero
// weights and many shared groups reach the sort's and the pruning's corners.
Problem random_problem(std::mt19937& random) {
    const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    Problem problem;
    const int n = 1 + pick(pick(10) == 0 ? 300 : 30);
    const double step = pick(2) ? 0.5 : 0.0137;
    const int weights = pick(5);
    for (int i = 0, subgroup = 0; i < n; ++i) {
        double value = 1e9 + step * pick(1 + pick(200));
        if (pick(40) == 0) value += 1e6;
        problem.data.push_back(value);
        problem.group.push_back(pick(1 + n / (1 + pick(3))));
        subgroup += pick(2);
        problem.subgroup.push_back(subgroup);
        if (weights == 1) problem.weight.push_back(0.25 * pick(5));
        if (weights == 2) problem.weight.push_back(0.01 * pick(300));
        if (weights == 4) problem.weight.push_back(0.37 * (problem.group.back() % 7));
        if (weights == 3) problem.weight.push_back(0.1 * (pick(20) - 4));
    }
    // The numbering that callers promise: the last group number bounds the others.
    problem.group.back() = n;
    if (weights == 4) problem.weight.back() = 0.37 * (n % 7);
    problem.dwin = 0.1 * (1 + pick(30));
    problem.prewin = 0.5 * pick(6);
    return problem;
}

TEST(FindCluster, AgreesWithTheLiteralSearchOnRandomCases) {
    const unsigned seed = 20180105;
    std::mt19937 random(seed);
    for (int i = 0; i < 20000; ++i) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", case " << i);
        const Problem problem = random_problem(random);
        const Answer fast = solve(problem);
        const Answer slow = solve_literally(problem);
        ASSERT_EQ(slow.cluster.score, fast.cluster.score);
        ASSERT_EQ(slow.cluster.first, fast.cluster.first);
        ASSERT_EQ(slow.cluster.variance, fast.cluster.variance);
        ASSERT_EQ(slow.data, fast.data);
    }
}

// A scan keeps its scratch, which starts from the last node's order; ties must not depend on it.
TEST(BestCluster, DoesNotDependOnWhatWasSearchedBefore) {
    std::mt19937 random(3);
    velorix::ClusterScratch scratch;
    ASSERT_TRUE(scratch.reserve(60, 60, 60));
    Problem problem = {std::vector<double>(60), {}, {}, {}, 1.0, 1.0};
    for (int i = 0; i < 60; ++i) {
        problem.data[size_t(i)] = 100 + 0.5 * static_cast<int>(random() % 60);
        problem.group.push_back(i / 2);
        problem.subgroup.push_back(i);
    }
    for (int node = 0; node < 500; ++node) {
        for (double& value : problem.data) {
            if (random() % 8 == 0) value += 0.5 * static_cast<int>(random() % 3) - 0.5;
        }
        const velorix::Cluster warm =
            velorix::best_cluster({60, problem.data.data(), nullptr, problem.group.data(),
                                   problem.subgroup.data(), 60, 60},
                                  problem.dwin, problem.prewin, scratch);
        const Answer slow = solve_literally(problem);
        ASSERT_EQ(slow.cluster.score, warm.score);
        ASSERT_EQ(slow.cluster.first, warm.first);
        for (size_t k = 0; k < 60; ++k) ASSERT_EQ(slow.data[k] != 0, scratch.member[k] != 0);
    }
}

TEST(FindCluster, SurvivesValuesThatAreNotNumbers) {
    const double nan = std::nan("");
    const double inf = std::numeric_limits<double>::infinity();
    std::vector<double> data;
    std::vector<int> number;
    for (int i = 0; i < 64; ++i) {
        data.push_back(i % 3 == 0 ? nan : i % 5 == 0 ? inf : 100.0 + 0.001 * i);
        number.push_back(i);
    }
    const Answer answer = solve({data, {}, number, number, 1.0, 0.5});
    EXPECT_GT(answer.cluster.score, 30);
    EXPECT_TRUE(std::isfinite(answer.cluster.variance));
}

}  // namespace
}  // namespace velorix_test
