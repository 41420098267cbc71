#include "progress.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// What a call of mycallback writes.
std::string shown(const char* name, int genmode, double depth, double percent) {
    testing::internal::CaptureStderr();
    mycallback(name, genmode, 1.0, 2.0, depth, percent);
    return testing::internal::GetCapturedStderr();
}

TEST(Progress, ShowsEachThresholdOfALineOnce) {
    const std::string longest(64, 'n'), other = std::string(63, 'n') + 'o';
    const struct {
        std::string name;
        int genmode;
        double depth, percent;
        const char* text;
    } calls[] = {// The first call of a line shows zero, whatever the percentage.
                 {"first", 1, 0, 3.2, "0.0% "},
                 {"first", 1, 0, 3.4, "1.0% "},
                 {"first", 1, 0, 12.0, "5.0% 10.0% "},
                 // A general mesh has one line whatever the depths.
                 {"mesh", 1, 5, 0.5, "0.0% "},
                 {"mesh", 1, 600, 0.9, ""},
                 {"mesh", 1, 15, 50, "1.0% 5.0% 10.0% 20.0% 30.0% 40.0% 50.0% "},
                 {"mesh", 1, 15, 100.1, "60.0% 70.0% 80.0% 90.0% 100.0% \n"},
                 // On a regular mesh every depth opens a line of its own.
                 {"layers", 0, 5, 50, "  5.0 depth 0.0% "},
                 {"layers", 0, 5, 40.0, "1.0% 5.0% 10.0% 20.0% 30.0% 40.0% "},
                 {"layers", 0, 5, 100, "50.0% 60.0% 70.0% 80.0% 90.0% 100.0% \n"},
                 {"layers", 0, 133.25, 50, "133.2 depth 0.0% "},
                 {"layers", 0, 133.25, 0.99, ""},
                 // Behind the end of a line there are only newlines.
                 {"again", 0, 10, 100, " 10.0 depth 0.0% "},
                 {"again", 0, 10, 60, "1.0% 5.0% 10.0% 20.0% 30.0% 40.0% 50.0% 60.0% "},
                 {"again", 0, 10, 100, "70.0% 80.0% 90.0% 100.0% \n"},
                 {"again", 0, 10, 0, "\n"},
                 {"again", 0, 10, 100, "\n"},
                 // Another grid starts afresh at the same depth.
                 {"one", 0, 10, 0, " 10.0 depth 0.0% "},
                 {"one", 0, 10, 7, "1.0% 5.0% "},
                 {"two", 0, 10, 7, " 10.0 depth 0.0% "},
                 {"two", 0, 10, 7, "1.0% 5.0% "},
                 {"one", 1, 10, 7, "0.0% "},
                 // Names are told apart to their 64th character.
                 {longest, 1, 0, 0, "0.0% "},
                 {longest, 1, 0, 1, "1.0% "},
                 {other, 1, 0, 1, "0.0% "}};
    int number = 0;
    for (const auto& call : calls) {
        EXPECT_EQ(shown(call.name.c_str(), call.genmode, call.depth, call.percent), call.text)
            << "call " << ++number << " for grid " << call.name;
    }
}

}  // namespace
