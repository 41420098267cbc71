#include "platform/containers/containers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/allocations.h"

namespace {

using testing::ElementsAre;
using velorix_test::FailingAllocations;

int numbers[] = {0, 1, 2, 3, 4, 5, 6, 7};

std::vector<void*> entries_of(const Tbl* tbl) {
    std::vector<void*> entries;
    entries.reserve(static_cast<size_t>(maxtbl(tbl)));
    for (int i = 0; i < maxtbl(tbl); ++i) entries.push_back(gettbl(tbl, i));
    return entries;
}

std::vector<std::string> keys_of(const Arr* arr) {
    Tbl* keys = keysarr(arr);
    std::vector<std::string> texts;
    for (void* key : entries_of(keys)) texts.emplace_back(static_cast<const char*>(key));
    freetbl(keys, nullptr);
    return texts;
}

int released = 0;
void count_release(void*) { ++released; }

TEST(Tbl, IndexMinusOneOrTheCountAppends) {
    Tbl* tbl = newtbl(0);
    EXPECT_EQ(settbl(tbl, -1, &numbers[0]), 0);
    EXPECT_EQ(settbl(tbl, 1, &numbers[1]), 1);
    EXPECT_EQ(settbl(tbl, -1, nullptr), 2);
    EXPECT_EQ(settbl(tbl, 0, &numbers[5]), 0);
    EXPECT_THAT(entries_of(tbl), ElementsAre(&numbers[5], &numbers[1], nullptr));
    freetbl(tbl, nullptr);
}

TEST(Tbl, StoringBeyondTheEndFillsTheGapWithNulls) {
    Tbl* tbl = newtbl(2);
    EXPECT_EQ(settbl(tbl, 3, &numbers[3]), 3);
    EXPECT_THAT(entries_of(tbl), ElementsAre(nullptr, nullptr, nullptr, &numbers[3]));
    EXPECT_EQ(settbl(tbl, -2, &numbers[1]), -1);
    EXPECT_EQ(gettbl(tbl, 4), nullptr);
    EXPECT_EQ(gettbl(tbl, -1), nullptr);
    freetbl(tbl, nullptr);
}

TEST(Tbl, RefillingAClearedListAllocatesNothing) {
    Tbl* tbl = newtbl(0);
    for (int i = 0; i < 100; ++i) settbl(tbl, -1, &numbers[0]);
    const long before = velorix_test::allocation_count();
    for (int round = 0; round < 3; ++round) {
        clrtbl(tbl);
        ASSERT_EQ(maxtbl(tbl), 0);
        for (int i = 0; i < 100; ++i) settbl(tbl, -1, &numbers[1]);
    }
    EXPECT_EQ(velorix_test::allocation_count(), before);
    EXPECT_EQ(gettbl(tbl, 99), &numbers[1]);
    freetbl(tbl, nullptr);
}

TEST(Tbl, ReleaseVisitsEveryEntryThatIsNotNull) {
    Tbl* tbl = newtbl(0);
    settbl(tbl, 2, &numbers[2]);
    settbl(tbl, -1, &numbers[3]);
    released = 0;
    freetbl(tbl, count_release);
    EXPECT_EQ(released, 2);
}

struct Ranked {
    int rank;
    int order;
};

// As sorttbl hands them: addresses of entries.
int by_rank(const void* a, const void* b, void* user) {
    ++*static_cast<int*>(user);
    const auto* left = *static_cast<Ranked* const*>(a);
    const auto* right = *static_cast<Ranked* const*>(b);
    return left->rank - right->rank;
}

TEST(Tbl, SortIsStableAndHandsTheUserPointerThrough) {
    std::vector<Ranked> records(500);
    std::mt19937 random(1);
    Tbl* tbl = newtbl(0);
    for (int i = 0; i < 500; ++i) {
        records[static_cast<size_t>(i)] = {static_cast<int>(random() % 10), i};
        settbl(tbl, -1, &records[static_cast<size_t>(i)]);
    }
    int calls = 0;
    sorttbl(tbl, by_rank, &calls);
    EXPECT_GT(calls, 0);
    for (int i = 1; i < 500; ++i) {
        const auto* a = static_cast<Ranked*>(gettbl(tbl, i - 1));
        const auto* b = static_cast<Ranked*>(gettbl(tbl, i));
        ASSERT_LT(std::pair(a->rank, a->order), std::pair(b->rank, b->order));
    }
    freetbl(tbl, nullptr);
}

TEST(Tbl, SortsWithoutMemoryToo) {
    Ranked records[] = {{3, 0}, {1, 1}, {2, 2}, {1, 3}};
    Tbl* tbl = newtbl(4);
    for (Ranked& record : records) settbl(tbl, -1, &record);
    int calls = 0;
    {
        const FailingAllocations none(1);
        sorttbl(tbl, by_rank, &calls);
    }
    EXPECT_THAT(entries_of(tbl), ElementsAre(&records[1], &records[3], &records[2], &records[0]));
    freetbl(tbl, nullptr);
}

TEST(Tbl, FailedAllocationLeavesTheListAsItWas) {
    Tbl* tbl = newtbl(1);
    settbl(tbl, -1, &numbers[1]);
    {
        const FailingAllocations none(1);
        EXPECT_EQ(newtbl(0), nullptr);
        EXPECT_EQ(newtbl(10), nullptr);
        EXPECT_EQ(settbl(tbl, 1000, &numbers[2]), -1);
    }
    EXPECT_EQ(settbl(tbl, INT_MAX, &numbers[2]), -1);  // the count would not fit
    EXPECT_EQ(maxtbl(tbl), 1);
    freetbl(tbl, nullptr);
    const FailingAllocations second(2);
    EXPECT_EQ(newtbl(10), nullptr);
}

TEST(Arr, KeysComeInByteOrder) {
    Arr* arr = newarr(nullptr);
    for (const char* key : {"b", "\xc3\xa4", "a1", "B", "", "a", "a10", "_"}) {
        EXPECT_EQ(setarr(arr, key, &numbers[1]), 0);
    }
    EXPECT_THAT(keys_of(arr), ElementsAre("", "B", "_", "a", "a1", "a10", "b", "\xc3\xa4"));
    freearr(arr, nullptr);
}

int backwards(const char* a, const char* b) { return std::strcmp(b, a); }
int first_letter(const char* a, const char* b) { return a[0] - b[0]; }

TEST(Arr, AComparisonOfTheCallersOrdersAndEquatesKeys) {
    Arr* arr = newarr(backwards);
    for (const char* key : {"a", "c", "b"}) setarr(arr, key, &numbers[1]);
    EXPECT_THAT(keys_of(arr), ElementsAre("c", "b", "a"));
    freearr(arr, nullptr);
    arr = newarr(first_letter);
    setarr(arr, "apple", &numbers[1]);
    setarr(arr, "avocado", &numbers[2]);
    EXPECT_EQ(getarr(arr, "a"), &numbers[2]);
    EXPECT_EQ(maxarr(arr), 1);
    freearr(arr, nullptr);
}

TEST(Arr, KeepsItsOwnCopyOfAKeyThatOutlivesReplacement) {
    Arr* arr = newarr(nullptr);
    char key[] = "ABC";
    setarr(arr, key, &numbers[1]);
    Tbl* keys = keysarr(arr);
    key[0] = 'X';
    setarr(arr, "ABC", &numbers[2]);
    EXPECT_STREQ(static_cast<const char*>(gettbl(keys, 0)), "ABC");
    EXPECT_EQ(getarr(arr, "ABC"), &numbers[2]);
    EXPECT_EQ(getarr(arr, "XBC"), nullptr);
    freetbl(keys, nullptr);
    released = 0;
    setarr(arr, "null", nullptr);
    freearr(arr, count_release);
    EXPECT_EQ(released, 1);
}

TEST(Arr, AgreesWithAModelOverRandomChanges) {
    std::mt19937 random(20);
    std::map<std::string, void*> model;
    Arr* arr = newarr(nullptr);
    for (int i = 0; i < 5000; ++i) {
        const std::string key = std::to_string(random() % 200);
        if (random() % 3 == 0) {
            void* expected = model.contains(key) ? model[key] : nullptr;
            ASSERT_EQ(delarr(arr, key.c_str()), expected);
            model.erase(key);
        } else {
            void* value = &numbers[random() % 8];
            ASSERT_EQ(setarr(arr, key.c_str(), value), 0);
            model[key] = value;
        }
        ASSERT_EQ(maxarr(arr), static_cast<int>(model.size()));
    }
    for (const auto& [key, value] : model) EXPECT_EQ(getarr(arr, key.c_str()), value) << key;
    freearr(arr, nullptr);
}

TEST(Arr, FailedAllocationLeavesTheMapAsItWas) {
    const std::string key(100, 'k');
    Arr* arr = newarr(nullptr);
    setarr(arr, "a", &numbers[1]);
    for (long n = 1;; ++n) {
        const FailingAllocations nth(n);
        if (setarr(arr, key.c_str(), &numbers[2]) == 0) {
            EXPECT_GT(n, 1);
            break;
        }
        ASSERT_EQ(maxarr(arr), 1);
        ASSERT_EQ(setarr(arr, "a", &numbers[3]), 0);  // replacing needs no memory
    }
    {
        const FailingAllocations none(1);
        EXPECT_EQ(keysarr(arr), nullptr);
        EXPECT_EQ(newarr(nullptr), nullptr);
        EXPECT_EQ(newhook(&numbers[0], nullptr), nullptr);
    }
    EXPECT_EQ(getarr(arr, "a"), &numbers[3]);
    EXPECT_EQ(getarr(arr, key.c_str()), &numbers[2]);
    freearr(arr, nullptr);
}

TEST(Hook, ReleasesItsStateOnce) {
    Hook* hook = newhook(&numbers[4], count_release);
    EXPECT_EQ(hookstate(hook), &numbers[4]);
    released = 0;
    freehook(&hook);
    EXPECT_EQ(hook, nullptr);
    freehook(&hook);
    EXPECT_EQ(released, 1);
    hook = newhook(nullptr, count_release);
    freehook(&hook);
    EXPECT_EQ(released, 1);
}

TEST(Containers, NullIsAnEmptyContainer) {
    EXPECT_EQ(gettbl(nullptr, 0), nullptr);
    EXPECT_EQ(settbl(nullptr, -1, &numbers[0]), -1);
    EXPECT_EQ(maxtbl(nullptr), 0);
    clrtbl(nullptr);
    sorttbl(nullptr, by_rank, nullptr);
    freetbl(nullptr, count_release);
    EXPECT_EQ(getarr(nullptr, "a"), nullptr);
    EXPECT_EQ(setarr(nullptr, "a", &numbers[0]), -1);
    EXPECT_EQ(delarr(nullptr, "a"), nullptr);
    EXPECT_EQ(maxarr(nullptr), 0);
    EXPECT_TRUE(keys_of(nullptr).empty());
    freearr(nullptr, count_release);
    EXPECT_EQ(hookstate(nullptr), nullptr);
    freehook(nullptr);
    Arr* arr = newarr(nullptr);
    EXPECT_EQ(setarr(arr, nullptr, &numbers[0]), -1);
    EXPECT_EQ(getarr(arr, nullptr), nullptr);
    EXPECT_EQ(delarr(arr, nullptr), nullptr);
    freearr(arr, nullptr);
}

}  // namespace
