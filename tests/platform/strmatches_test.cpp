#include "platform/strmatch/strmatches.h"

#include <gtest/gtest.h>

#include <iterator>
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
                {"bhz", "BHZ", 0},
                {"BHZ", "^BHZ$", 1},
                {"BHZ\nx", "BHZ$", 0},
                {"a\nb", "a.b", 1},
                {"\xe9", ".", 1},
                {"aab", "(a+)+[+]*b{1,40}", 1},
                {"a+{", "a\\+[{]", 1},
                {"-]", "[]x-]{2}", 1},
                {"b7", "[[:alpha:]][[:digit:]]", 1}};
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
    const std::string patterns[] = {"(",
                                    "[a",
                                    "a)(b",
                                    "+a",
                                    "*",
                                    "(.*)\\1",
                                    "a+++++++" + std::string(30, '+'),
                                    "a{70000}",
                                    std::string(5000, '('),
                                    "((a{200}){200}){200}"};
    for (const std::string& pattern : patterns) {
        EXPECT_EQ(-1, strmatches("a", pattern.c_str(), &hook)) << pattern;
        EXPECT_EQ(0u,
                  log.lines().back().message.find("strmatches: bad pattern '" + pattern + "': "));
    }
    EXPECT_EQ(std::size(patterns), log.count());
    EXPECT_EQ("strmatches: bad pattern '[a': missing terminating ] for character class.\n",
              log.lines()[1].message);
    EXPECT_EQ(1, strmatches("a", "a", &hook)) << "the handle stays usable";
    freehook(&hook);
}

// The last of these has more ways to fail than anybody can wait for.
TEST(Strmatches, RepeatsWithinRepeatsEnd) {
    LogCapture log;
    const std::string many(900, 'a');
    for (const char* pattern : {"a{900}", "(a*)*", "((a*)*)*", "(a|aa)+", "(a?){900}"}) {
        EXPECT_EQ(1, strmatches(many.c_str(), pattern, nullptr)) << pattern;
    }
    EXPECT_EQ(0u, log.count());
    EXPECT_EQ(-1, strmatches((many + "b").c_str(), "(a|aa)+", nullptr));
    EXPECT_EQ("strmatches: '" + many + "b' against '(a|aa)+': match limit exceeded.\n",
              log.lines().back().message);
}

}  // namespace
}  // namespace velorix_test
