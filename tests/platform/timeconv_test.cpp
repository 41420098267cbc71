#include "platform/timeconv/timeconv.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "support/environment.h"

namespace {

struct Case {
    const char* text;
    double epoch;
};

// Epochs from `date -u -d ... +%s`.
const Case kAccepted[] = {{"1970-01-01", 0.0},
                          {"2026-03-01", 1772323200.0},
                          {"20260301", 1772323200.0},
                          {"2026-03-01T12:34:56.25Z", 1772368496.25},
                          {"2026-03-01 12:34:56,25", 1772368496.25},
                          {"  2026-03-01\t12:34  ", 1772368440.0},
                          {"20260301T123456Z", 1772368496.0},
                          {"20260301T1234", 1772368440.0},
                          {"2026/03/01", 1772323200.0},
                          {"2026/03/01 12:34:56", 1772368496.0},
                          {"2026060", 1772323200.0},
                          {"2026-060", 1772323200.0},
                          {"2026060 12:34:56.5", 1772368496.5},
                          {"2026-060T12:34Z\r\n", 1772368440.0},
                          {"2024366", 1735603200.0},
                          {"2024-02-29", 1709164800.0},
                          {"2000-02-29", 951782400.0},
                          {"1969-12-31 23:59:59.5", -0.5},
                          {"0001-01-01", -62135596800.0},
                          {"9999-12-31T23:59:59Z", 253402300799.0},
                          {"2026-03-01T24:00", 1772409600.0},
                          {"2016-12-31T23:59:60Z", 1483228800.0},
                          {"1772323200", 1772323200.0},
                          {"1772323200.125", 1772323200.125},
                          {"1772323200.", 1772323200.0},
                          {"100000000", 100000000.0},
                          {"-100000000.5", -100000000.5},
                          {"+1772323200", 1772323200.0}};

TEST(Zstr2epoch, ReadsEveryFormItKnows) {
    for (const Case& item : kAccepted) {
        double epoch = -1e9;
        EXPECT_EQ(zstr2epoch(item.text, &epoch), 0) << item.text;
        EXPECT_EQ(epoch, item.epoch) << item.text;
    }
}

TEST(Zstr2epoch, RefusesEverythingElse) {
    const char* const refused[] = {"",
                                   " ",
                                   "now",
                                   "all",
                                   "2026",
                                   "2026-3-1",
                                   "2026-13-01",
                                   "2026-00-10",
                                   "2026-02-29",
                                   "1900-02-29",
                                   "2026-04-31",
                                   "2026-01-00",
                                   "2026000",
                                   "2026366",
                                   "2024367",
                                   "2026-01",
                                   "20261301",
                                   "2026/060",
                                   "2026-03/01",
                                   "2026-03-01T",
                                   "2026-03-01Z",
                                   "2026-03-01T25:00",
                                   "2026-03-01T24:00:01",
                                   "2026-03-01T12:60",
                                   "2026-03-01T12:34:60",
                                   "2026-03-01T12",
                                   "2026-03-01T12:3",
                                   "2026-03-01T12:34:",
                                   "2026-03-01T12:34:56.",
                                   "2026-03-01T12:34:56.x",
                                   "2026-03-01T12:34:56+01:00",
                                   "2026-03-01T12:34 UTC",
                                   "2026-03-01x12:34",
                                   "2026-03-0112:34",
                                   "12345678.5",
                                   "1772323200e3",
                                   "1772323200.5s",
                                   "1772323200,5",
                                   "0x65a1b2c3d",
                                   "--100000000",
                                   "+-100000000",
                                   "inf",
                                   "nan",
                                   "2026-03-01 12:34:56 7",
                                   "\xd9\xa2\xd9\xa0\xd9\xa2\xd9\xa6"};
    for (const char* text : refused) {
        double epoch = 77.0;
        EXPECT_EQ(zstr2epoch(text, &epoch), -1) << text;
        EXPECT_EQ(epoch, 77.0) << text;
    }
    double epoch = 77.0;
    EXPECT_EQ(zstr2epoch(nullptr, &epoch), -1);
    EXPECT_EQ(zstr2epoch(std::string(400, '9').c_str(), &epoch), -1);  // beyond a double
    EXPECT_EQ(zstr2epoch("2026-03-01", nullptr), -1);
}

TEST(Zstr2epoch, DoesNotDependOnTheTimeZone) {
    const velorix_test::ScopedEnvironment zone("TZ", "America/St_Johns");
    tzset();
    double epoch = 0.0;
    EXPECT_EQ(zstr2epoch("2026-07-01 00:00", &epoch), 0);
    EXPECT_EQ(epoch, 1782864000.0);
    EXPECT_EQ(yearday(epoch), 2026182);
    EXPECT_EQ(yearday(epoch - 0.001), 2026181);
    EXPECT_EQ(yearday(-0.001), 1969365);
}

TEST(Yearday, AgreesWithTheSystemCalendar) {
    std::mt19937_64 random(9);
    for (int i = 0; i < 5000; ++i) {
        const auto epoch = static_cast<time_t>(random() % 200000000000ull) - 60000000000;
        tm calendar{};
        gmtime_r(&epoch, &calendar);
        ASSERT_EQ(yearday(static_cast<double>(epoch)),
                  (calendar.tm_year + 1900) * 1000L + calendar.tm_yday + 1)
            << epoch;
    }
}

TEST(Yearday, HoldsStillBeyondItsCalendar) {
    EXPECT_EQ(yearday(1e300), 32767365);
    EXPECT_EQ(yearday(std::numeric_limits<double>::infinity()), 32767365);
    EXPECT_EQ(yearday(-1e300), -32767000 + 1);
    EXPECT_EQ(yearday(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(StdNow, IsTheSystemClock) {
    const auto before = static_cast<double>(time(nullptr));
    const double now = std_now();
    EXPECT_GE(now, before - 1.0);
    EXPECT_LE(now, before + 60.0);
}

}  // namespace
