#include "platform/strmatch/strmatches.h"

#include <gtest/gtest.h>

#include <string>

#include "support/log_capture.h"

namespace velorix_test {
namespace {

TEST(Strmatches, MatchesWholeTextsOnly) {
    const struct {
        const char* text;
        const char* pattern;
        int expected;
    } rows[] = {{"BHZ", "BHZ", 1},
                {"BHZ", "BH", 0},
                {"BHZ", "HZ", 0},
                {"BHZ", "BH.*", 1},
                {"BHZ", "[BE]H[ZNE]", 1},
                {"ab", "a|ab", 1},
                {"ab", "(a|ab)(c|bcd)?", 1},
                {"P", "P|S", 1},
                {"SP", "P|S", 0},
                {"", "", 1},
                {"", ".*", 1},
                {"x", "", 0},
                {"IU_ANMO", "IU_.*", 1},
                {"bhz", "BHZ", 0}};
    for (const auto& row : rows) {
        Hook* hook = nullptr;
        EXPECT_EQ(row.expected, strmatches(row.text, row.pattern, &hook))
            << row.text << " against " << row.pattern;
        freehook(&hook);
    }
}

TEST(Strmatches, KeepsThePatternAndNoticesAnotherOne) {
    Hook* hook = nullptr;
    EXPECT_EQ(1, strmatches("P", "P", &hook));
    Hook* const first = hook;
    EXPECT_EQ(0, strmatches("S", "P", &hook));
    EXPECT_EQ(first, hook);
    EXPECT_EQ(1, strmatches("S", "S", &hook));
    freehook(&hook);
}

TEST(Strmatches, BadPatternIsAnErrorWithItsReason) {
    LogCapture log;
    Hook* hook = nullptr;
    for (const std::string& pattern :
         {std::string("("), std::string("[a"), std::string("a)(b"), std::string(5000, '(')}) {
        EXPECT_GT(0, strmatches("a", pattern.c_str(), &hook));
    }
    EXPECT_EQ(4u, log.count());
    EXPECT_NE(std::string::npos, log.lines()[0].message.find("Unmatched ("));
    EXPECT_EQ(1, strmatches("a", "a", &hook)) << "the handle stays usable";
    freehook(&hook);
}

// Repeats within repeats took all memory.
TEST(Strmatches, PatternThatRepeatsTooMuchIsRefused) {
    LogCapture log;
    for (const std::string& pattern :
         {"a" + std::string(30, '+'), std::string(30, '+'), "a+++++++*" + std::string(12, '+'),
          "a+++++++?" + std::string(12, '+'), std::string("((a{200}){200}){200}"),
          std::string("[]+]{3000}"), std::string("(((a+)+b)+){400}")}) {
        EXPECT_EQ(-1, strmatches("a", pattern.c_str(), nullptr)) << pattern;
        EXPECT_EQ("strmatches: pattern '" + pattern + "' repeats too much.\n",
                  log.lines().back().message);
    }
    EXPECT_EQ(1, strmatches("aab", "(a+)+[+]*b{1,40}", nullptr));
    EXPECT_EQ(1, strmatches(std::string(900, 'a').c_str(), "a{900}", nullptr));
    EXPECT_EQ(1, strmatches("a+{", "a\\+[{]", nullptr));
}

}  // namespace
}  // namespace velorix_test
