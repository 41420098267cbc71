#ifndef VELORIX_TESTS_SUPPORT_FAIL_EACH_ALLOCATION_H
#define VELORIX_TESTS_SUPPORT_FAIL_EACH_ALLOCATION_H
// Walks a call through every way in which memory can fail it.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "platform/elog/elog.h"
#include "support/allocations.h"

namespace velorix_test {

// The last log line, kept without allocation.
struct LastLine {
    LastLine() { elog_set_hook(keep, this); }
    ~LastLine() { elog_set_hook(nullptr, nullptr); }
    LastLine(const LastLine&) = delete;
    LastLine& operator=(const LastLine&) = delete;
    static void keep(int, int flag, const char* message, void* user) {
        auto* self = static_cast<LastLine*>(user);
        self->flag = flag;
        strncpy(self->text, message, sizeof self->text - 1);
    }
    char text[256] = {};
    int flag = -1;
};

// Runs `step` with its first, second, ... allocation failing until all of them succeed. `step`
// gives whether it succeeded; a failure must end in a line that starts with `who`.
inline void walk(const char* who, const std::function<bool()>& step) {
    constexpr long most = 100000;
    long failures = 0;
    for (long n = 1; n < most; ++n) {
        LastLine log;
        const long before = allocation_count();
        bool done = false;
        {
            const FailingAllocations failing(n);
            done = step();
        }
        if (allocation_count() - before < n) {
            EXPECT_TRUE(done) << log.text;
            EXPECT_GT(failures, 0) << who << " allocates nothing";
            return;
        }
        if (done) continue;  // an allocation that it can do without
        ++failures;
        EXPECT_TRUE(log.text[0] != 0 && std::string(log.text).starts_with(who)) << n << log.text;
    }
    ADD_FAILURE() << who << " never succeeds";
}

}  // namespace velorix_test
#endif
