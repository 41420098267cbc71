#include "platform/elog/elog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/elog/printable.h"
#include "support/log_capture.h"
#include "support/temp_file.h"

namespace {

using velorix_test::LogCapture;
using velorix_test::LogLine;

std::string standard_error_of(const std::function<void()>& work) {
    testing::internal::CaptureStderr();
    work();
    return testing::internal::GetCapturedStderr();
}

// Puts the name back that the other tests expect.
void name_program(const char* path) {
    char* argv[] = {const_cast<char*>(path), nullptr};
    elog_init(1, argv);
}

TEST(Elog, LinesCarryTheLastComponentOfTheProgramPath) {
    const std::string text = standard_error_of([] {
        name_program("/opt/net/bin/gridtool");
        elog_log(0, "one\n");
        elog_init(0, nullptr);
        elog_complain(0, "two %d of %s\n", 2, "x");
        name_program("velorix");
        elog_log(0, "three\n");
    });
    EXPECT_EQ(text, "gridtool: one\ngridtool: two 2 of x\nvelorix: three\n");
}

TEST(Elog, ALineAlwaysEndsInOneNewline) {
    EXPECT_EQ(standard_error_of([] { elog_log(0, "no end"); }), "velorix: no end\n");
    EXPECT_EQ(standard_error_of([] { elog_log(0, "%s", ""); }), "velorix: \n");
}

TEST(Elog, FlagOneAddsTheSystemErrorOnALineOfItsOwnAndKeepsErrno) {
    errno = ENOENT;
    const std::string text = standard_error_of([] {
        errno = ENOENT;
        EXPECT_EQ(elog_log(1, "open(%s) error.\n", "a%b"), 0);
        EXPECT_EQ(errno, ENOENT);
    });
    EXPECT_EQ(text, std::string("velorix: open(a%b) error.\nvelorix: ") + strerror(ENOENT) + "\n");
}

TEST(Elog, LongMessagesAreNotCut) {
    const std::string body(100000, 'x');
    EXPECT_EQ(standard_error_of([&] { elog_log(0, "%s\n", body.c_str()); }),
              "velorix: " + body + "\n");
}

TEST(Elog, NothingOfAMessageIsACommandToATerminal) {
    const std::pair<const char*, const char*> rows[] = {
        {"\x1b[2Jgone\r", "?[2Jgone?"},  // ESC, CR
        {"a\tb\nc", "a\tb\nc"},          // layout of messages
        {"\xC2\x9B"
         "31m",
         "??31m"},  // CSI as one character of two bytes
        {"\x9B"
         "31m \x7F",
         "?31m ?"},  // the same as a byte that is no UTF-8, DEL
        {"S\xC3\xA3o \xE2\x82\xAC \xE3", "S\xC3\xA3o \xE2\x82\xAC ?"},
    };
    for (const auto& [given, shown] : rows) {
        EXPECT_EQ(standard_error_of([given = given] { elog_log(0, "%s\n", given); }),
                  std::string("velorix: ") + shown + "\n");
        LogCapture log;
        elog_complain(0, "%s", given);
        EXPECT_EQ(log.text(), shown);
    }
    EXPECT_EQ(standard_error_of([] {
                  name_program("/bin/\x1b]0;x");
                  elog_log(0, "%s\n", (std::string(2000, 'x') + "\x1b").c_str());
                  name_program("velorix");
              }),
              "?]0;x: " + std::string(2000, 'x') + "?\n");
}

TEST(CsvField, QuotesWhatItMustAndPassesNoCommandOn) {
    EXPECT_EQ(velorix::csv_field("ANMO"), "ANMO");
    EXPECT_EQ(velorix::csv_field("a,\"b\""), "\"a,\"\"b\"\"\"");
    EXPECT_EQ(velorix::csv_field("a\nb\x1b[2J\xC2\x9B"), "a?b?[2J??");
}

TEST(Elog, LinesOfSeveralThreadsNeverMix) {
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    const std::string text = standard_error_of([&] {
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([t] {
                const std::string body(300, static_cast<char>('a' + t));
                for (int i = 0; i < kLines; ++i) {
                    errno = EINVAL;
                    elog_log(1, "%s\n", body.c_str());
                }
            });
        }
        for (auto& thread : threads) thread.join();
    });
    std::istringstream lines(text);
    std::string message;
    std::string reason;
    int count = 0;
    const std::string expected_reason = std::string("velorix: ") + strerror(EINVAL);
    while (std::getline(lines, message) && std::getline(lines, reason)) {
        ++count;
        ASSERT_EQ(message.size(), std::strlen("velorix: ") + 300);
        EXPECT_EQ(message.substr(9), std::string(300, message[9]));
        EXPECT_EQ(reason, expected_reason);
    }
    EXPECT_EQ(count, kThreads * kLines);
}

TEST(Elog, AMessageIsOneWrite) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_DIRECT), 0);  // packet mode: a read returns one write
    std::fflush(stderr);
    const int saved = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    errno = EACCES;
    elog_complain(1, "%s %d\n", "cannot read", 7);
    dup2(saved, STDERR_FILENO);
    close(saved);
    close(ends[1]);
    char buffer[4096];
    const auto size = read(ends[0], buffer, sizeof buffer);
    close(ends[0]);
    ASSERT_GT(size, 0);
    EXPECT_EQ(std::string(buffer, static_cast<size_t>(size)),
              std::string("velorix: cannot read 7\nvelorix: ") + strerror(EACCES) + "\n");
}

TEST(Elog, TheHookReceivesSeverityFlagAndTheMessageAlone) {
    std::vector<LogLine> lines;
    const std::string leaked = standard_error_of([&] {
        LogCapture log;
        errno = ENOMEM;
        elog_log(1, "velorix_new: malloc() error.\n");
        elog_complain(0, "no end");
        lines = log.lines();
    });
    EXPECT_EQ(leaked, "");
    EXPECT_THAT(lines, testing::ElementsAre(LogLine{ELOG_LOG, 1, "velorix_new: malloc() error.\n"},
                                            LogLine{ELOG_COMPLAIN, 0, "no end"}));
    EXPECT_EQ(standard_error_of([] { elog_log(0, "after\n"); }), "velorix: after\n");
}

void log_once_more(int, int, const char*, void* user) {
    if (++*static_cast<int*>(user) < 3) elog_log(0, "from the hook\n");
}

TEST(Elog, AHookMayLog) {
    int calls = 0;
    elog_set_hook(log_once_more, &calls);
    elog_log(0, "first\n");
    elog_set_hook(nullptr, nullptr);
    EXPECT_EQ(calls, 3);
}

TEST(ElogDeathTest, DieEndsWithStatusOneAndFlushesStandardOutput) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const velorix_test::TempFolder folder;
    const std::string out = folder.path("out");
    EXPECT_EXIT(
        {
            if (!std::freopen(out.c_str(), "w", stdout)) std::abort();
            std::printf("pending");
            elog_die(0, "velorix_create_heap() error.\n");
        },
        testing::ExitedWithCode(1), "^velorix: velorix_create_heap\\(\\) error\\.\n$");
}

TEST(ElogDeathTest, DieEndsTheProcessAfterAHookToo) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            elog_set_hook([](int severity, int, const char* message,
                             void*) { std::fprintf(stderr, "%d[%s]", severity, message); },
                          nullptr);
            elog_die(0, "gone\n");
        },
        testing::ExitedWithCode(1), "^2\\[gone\n\\]$");
}

}  // namespace
