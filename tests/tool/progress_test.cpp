#include "progress.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// What a call of mycallback writes.
std::string shown(const char* name, int genmode, double depth, double percent) {
    testing::internal::CaptureStderr();
    mycallback(name, genmode, 1.0, 2.0, depth, percent);
    return testing::internal::GetCapturedStderr();
}

struct Call {
    const char* name;
    int genmode;
    double depth;
    double percent;
    const char* text;
};

/// Each list of calls starts with a grid name of its own: the display keeps its state.
void check_calls(const std::vector<Call>& calls) {
    int number = 0;
    for (const Call& call : calls) {
        EXPECT_EQ(shown(call.name, call.genmode, call.depth, call.percent), call.text)
            << "call " << ++number << " for grid " << call.name;
    }
}

TEST(Progress, FirstCallOfALineShowsZeroWhateverThePercentage) {
    check_calls({{"first", 1, 0, 3.2, "0.0% "},
                 {"first", 1, 0, 3.4, "1.0% "},
                 {"first", 1, 0, 12.0, "5.0% 10.0% "}});
}

TEST(Progress, GeneralMeshHasOneLineWhateverTheDepths) {
    check_calls({{"mesh", 1, 5, 0.5, "0.0% "},
                 {"mesh", 1, 600, 0.9, ""},
                 {"mesh", 1, 15, 50, "1.0% 5.0% 10.0% 20.0% 30.0% 40.0% 50.0% "},
                 {"mesh", 1, 15, 100.1, "60.0% 70.0% 80.0% 90.0% 100.0% \n"}});
}

TEST(Progress, EveryDepthOpensALineOfItsOwn) {
    check_calls({{"layers", 0, 5, 50, "  5.0 depth 0.0% "},
                 {"layers", 0, 5, 1.0, "1.0% "},
                 {"layers", 0, 5, 100,
                  "5.0% 10.0% 20.0% 30.0% 40.0% 50.0% 60.0% 70.0% 80.0% "
                  "90.0% 100.0% \n"},
                 {"layers", 0, 133.25, 50, "133.2 depth 0.0% "},
                 {"layers", 0, 133.25, 0.99, ""}});
}

TEST(Progress, CallsAfterTheEndOfALineWriteOnlyANewline) {
    check_calls({{"again", 0, 10, 100, " 10.0 depth 0.0% "},
                 {"again", 0, 10, 100,
                  "1.0% 5.0% 10.0% 20.0% 30.0% 40.0% 50.0% 60.0% 70.0% 80.0% 90.0% 100.0% \n"},
                 {"again", 0, 10, 0, "\n"},
                 {"again", 0, 10, 100, "\n"}});
}

TEST(Progress, AnotherGridStartsAfreshAtTheSameDepth) {
    check_calls({{"one", 0, 10, 0, " 10.0 depth 0.0% "},
                 {"one", 0, 10, 7, "1.0% 5.0% "},
                 {"two", 0, 10, 7, " 10.0 depth 0.0% "},
                 {"two", 0, 10, 7, "1.0% 5.0% "},
                 {"one", 1, 10, 7, "0.0% "}});
}

TEST(Progress, NameOfSixtyFourCharactersIsRemembered) {
    const std::string name(64, 'n');
    check_calls({{name.c_str(), 1, 0, 0, "0.0% "}, {name.c_str(), 1, 0, 1, "1.0% "}});
    const std::string other = std::string(63, 'n') + 'o';
    check_calls({{other.c_str(), 1, 0, 1, "0.0% "}});
}

}  // namespace
