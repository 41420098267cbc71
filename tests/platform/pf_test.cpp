#include "platform/pf/pf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdlib>
#include <memory>

#include "platform/elog/printable.h"
#include "platform/pf/show.h"
#include "platform/pf/tree.h"
#include "support/environment.h"
#include "support/log_capture.h"
#include "support/temp_file.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velorix_test::LogCapture;
using velorix_test::TempFolder;

struct FreePf {
    void operator()(Pf* pf) const { pffree(pf); }
};
using PfPtr = std::unique_ptr<Pf, FreePf>;

PfPtr parsed(const std::string& text) {
    Pf* pf = nullptr;
    EXPECT_EQ(pfparse(text.c_str(), "test.toml", &pf), 0) << text;
    return PfPtr(pf);
}

std::string string_of(Pf* pf, const char* key) {
    char* text = nullptr;
    if (parse_param(pf, key, PF_STRING, 1, &text) != 1) return "(failed)";
    std::string copy = text;
    std::free(text);
    return copy;
}

std::vector<std::string> list_of(Pf* pf, const char* key) {
    Tbl* list = nullptr;
    if (parse_param(pf, key, PF_LIST, 1, &list) != 1) return {"(failed)"};
    std::vector<std::string> texts;
    for (int i = 0; i < maxtbl(list); ++i) texts.emplace_back(static_cast<char*>(gettbl(list, i)));
    freetbl(list, std::free);
    return texts;
}

TEST(Pf, AcceptsWhatAPersonWritesForEachKind) {
    const PfPtr pf = parsed(
        "i = 7\nis = ' -12 '\nif = 3.0\nd = 2\nds = '+1.5e3'\nb = 'Yes'\nb0 = 0\n"
        "s = 'text'\nsi = 42\nsr = 0.1\nsb = true\nsd = 2020-02-03\n"
        "st = 2020-02-03T01:30:00+02:00\nst2 = 2020-02-03 04:05:06\n");
    int i = 0;
    double d = 0.0;
    EXPECT_TRUE(parse_param(pf.get(), "i", PF_INT, 1, &i) == 1 && i == 7);
    EXPECT_TRUE(parse_param(pf.get(), "is", PF_INT, 1, &i) == 1 && i == -12);
    EXPECT_TRUE(parse_param(pf.get(), "if", PF_INT, 1, &i) == 1 && i == 3);
    EXPECT_TRUE(parse_param(pf.get(), "d", PF_DOUBLE, 1, &d) == 1 && d == 2.0);
    EXPECT_TRUE(parse_param(pf.get(), "ds", PF_DOUBLE, 1, &d) == 1 && d == 1500.0);
    EXPECT_TRUE(parse_param(pf.get(), "b", PF_BOOLEAN, 1, &i) == 1 && i == 1);
    EXPECT_TRUE(parse_param(pf.get(), "b0", PF_BOOLEAN, 1, &i) == 1 && i == 0);
    EXPECT_EQ(string_of(pf.get(), "s"), "text");
    EXPECT_EQ(string_of(pf.get(), "si"), "42");
    EXPECT_EQ(string_of(pf.get(), "sr"), "0.1");
    EXPECT_EQ(string_of(pf.get(), "sb"), "true");
    EXPECT_EQ(string_of(pf.get(), "sd"), "2020-02-03");
    EXPECT_EQ(string_of(pf.get(), "st"), "2020-02-02T23:30:00Z");
    EXPECT_EQ(string_of(pf.get(), "st2"), "2020-02-03T04:05:06");
}

TEST(Pf, ReadsListsFromArraysAndFromLines) {
    const PfPtr pf = parsed(
        "a = ['x', 1, 2.5]\nempty = []\n"
        "lines = '''\n  AAA \r\n\n# BBB is closed\nCCC\n'''\n");
    EXPECT_THAT(list_of(pf.get(), "a"), ElementsAre("x", "1", "2.5"));
    EXPECT_THAT(list_of(pf.get(), "empty"), ElementsAre());
    EXPECT_THAT(list_of(pf.get(), "lines"), ElementsAre("AAA", "CCC"));
    const PfPtr number = parsed("i = 10\nr = 2.5");
    EXPECT_THAT(list_of(number.get(), "i"), ElementsAre("10"));
    EXPECT_THAT(list_of(number.get(), "r"), ElementsAre("2.5"));
}

// A time as epoch seconds has to reach the time conversion in digits.
TEST(Pf, NumbersAreTextWithoutAnExponentWhileThatIsReadable) {
    const std::pair<const char*, const char*> cases[] = {
        {"1500000000.0", "1500000000"},
        {"1500000000.5", "1500000000.5"},
        {"1e9", "1000000000"},
        {"-1e14", "-100000000000000"},
        {"1e15", "1e+15"},
        {"0.0001", "0.0001"},
        {"0.00001", "1e-05"},
        {"0.0", "0"},
        {"-0.0", "-0"},
        {"123456789012345.25", "123456789012345.25"}};
    for (const auto& [number, text] : cases)
        EXPECT_EQ(string_of(parsed(std::string("x = ") + number).get(), "x"), text);
}

TEST(Pf, ShowsValuesThatReadBackAsTheSame) {
    const char* values[] = {"1",
                            "-7",
                            "1500000000.0",
                            "0.1",
                            "-0.0",
                            "1e+300",
                            "5e-324",
                            "inf",
                            "-inf",
                            "nan",
                            "true",
                            "1979-05-27",
                            "07:32:00",
                            "1979-05-27T07:32:00",
                            "1979-05-27T07:32:00Z",
                            R"("a \"quoted\" \\ text")",
                            R"("line\nand\ttab")",
                            R"("\u001B[2J \u009B \u007F")",
                            "\"\u00e9 \xE2\x82\xAC\"",
                            R"([1, "x", [true, {}]])",
                            "[]",
                            "{}",
                            R"({ a = 1, "b c" = { d-1_ = ["x"] }, "" = 2.5 })"};
    for (const char* value : values) {
        const PfPtr pf = parsed(std::string("x = ") + value);
        const std::string shown = velorix::pf::toml_value(*pf->children.at("x"));
        const PfPtr again = parsed("x = " + shown);
        EXPECT_EQ(velorix::pf::toml_value(*again->children.at("x")), shown) << value;
        EXPECT_EQ(again->children.at("x")->kind, pf->children.at("x")->kind) << shown;
        EXPECT_EQ(again->children.at("x")->text, pf->children.at("x")->text) << shown;
        EXPECT_EQ(velorix::printable(shown), shown) << value;
    }
    EXPECT_EQ(velorix::pf::toml_string("\x9B"
                                       "31m"),
              "\"?31m\"");
    EXPECT_EQ(velorix::pf::toml_real(2), "2.0");
    EXPECT_EQ(velorix::pf::toml_real(1.5e300), "1.5e+300");
}

TEST(Pf, RefusesAnythingElseWithFileLineColumnAndKey) {
    struct Case {
        const char* text;
        int kind;
        const char* message;
    };
    const Case cases[] = {
        {"x = 1.5", PF_INT, "test.toml:1:5: key 'x' is the number 1.5, expected an integer"},
        {"\nx = 3000000000", PF_INT, "test.toml:2:5: key 'x' is the integer 3000000000"},
        {"x = '12a'", PF_DOUBLE, "key 'x' is the string \"12a\", expected a number"},
        {"x = ''", PF_DOUBLE, "expected a number"},
        {"x = 2", PF_BOOLEAN, "expected true or false"},
        {"x = [1]", PF_STRING, "key 'x' is an array, expected a string"},
        {"x = [[1]]", PF_LIST, "expected a list of strings"},
        {"x = ['A', \"C\\u0000D\"]", PF_LIST, "expected a list of strings"},
        {"x = \"A\\u0000B\"", PF_STRING, "expected a string"},
        {"x = inf", PF_INT, "key 'x' is the number inf, expected an integer"},
        {"x = '0x10'", PF_INT, "expected an integer"},
        {"x = '1,5'", PF_DOUBLE, "expected a number"},
        {"x = true", PF_LIST, "expected a list of strings"},
        {"x = 3", PF_ARRAY, "expected a table"},
        {"y = 3", PF_INT, "test.toml:1:1: required key 'x' is missing, expected an integer"},
    };
    for (const Case& c : cases) {
        const PfPtr pf = parsed(c.text);
        const LogCapture log;
        double out[2] = {};
        EXPECT_EQ(parse_param(pf.get(), "x", c.kind, 1, out), -1) << c.text;
        EXPECT_THAT(log.text(), HasSubstr(c.message)) << c.text;
    }
}

TEST(Pf, TakesNonFiniteNumbersAsTomlDoes) {
    const PfPtr pf = parsed("x = -inf\ny = nan\n");
    double value = 0.0;
    EXPECT_EQ(parse_param(pf.get(), "x", PF_DOUBLE, 1, &value), 1);
    EXPECT_EQ(value, -HUGE_VAL);
    EXPECT_EQ(parse_param(pf.get(), "y", PF_DOUBLE, 1, &value), 1);
    EXPECT_TRUE(std::isnan(value));
}

TEST(Pf, LeavesAnAbsentOptionalKeyAlone) {
    const PfPtr pf = parsed("");
    const LogCapture log;
    double value = 4.5;
    EXPECT_EQ(parse_param(pf.get(), "x", PF_DOUBLE, 0, &value), 0);
    EXPECT_EQ(value, 4.5);
    EXPECT_TRUE(log.empty());
}

TEST(Pf, ListsChildrenInByteOrderAndFollowsChanges) {
    const PfPtr pf = parsed("[grids.b]\nmode='x'\n[grids.B]\n[grids.a]\n");
    Pf* grids = nullptr;
    ASSERT_EQ(parse_param(pf.get(), "grids", PF_ARRAY, 1, &grids), 1);
    EXPECT_EQ(pfput_string(grids, "0", "zero"), 0);
    Tbl* keys = keysarr(pfarr(grids));
    std::vector<std::string> names;
    for (int i = 0; i < maxtbl(keys); ++i)
        names.emplace_back(static_cast<const char*>(gettbl(keys, i)));
    freetbl(keys, nullptr);
    EXPECT_THAT(names, ElementsAre("0", "B", "a", "b"));
    Pf* b = nullptr;
    ASSERT_EQ(parse_param(grids, "b", PF_ARRAY, 1, &b), 1);
    EXPECT_EQ(pfput_string(b, "mode", "12"), 0);
    int mode = 0;
    EXPECT_EQ(parse_param(b, "mode", PF_INT, 1, &mode), 1);
    EXPECT_EQ(mode, 12);
}

TEST(Pf, NamesUnknownKeysAndTheClosestKnownOne) {
    const PfPtr pf = parsed("[g]\ncompute_p = true\nmodel = 'x'\nzzzzzzzz = 1\n");
    Pf* g = nullptr;
    ASSERT_EQ(parse_param(pf.get(), "g", PF_ARRAY, 1, &g), 1);
    const LogCapture log;
    const char* known[] = {"compute_P", "compute_S", "model"};
    EXPECT_EQ(pf_complain_unknown(g, "grid g", known, 3), 2);
    EXPECT_THAT(log.messages(),
                ElementsAre("test.toml:2:13: unknown key 'compute_p' in grid g, did you mean "
                            "'compute_P'?\n",
                            "test.toml:4:12: unknown key 'zzzzzzzz' in grid g\n"));
}

TEST(Pf, FindsFilesByNameAlongThePath) {
    const TempFolder folder;
    folder.write("here/velorix.toml", "x = 1\r\n");
    folder.write("there/other.toml", "\xEF\xBB\xBFx = 2\n");
    const velorix_test::ScopedCurrentFolder current(folder.path() / "here");
    const velorix_test::ScopedEnvironment path("VELORIX_PFPATH", folder.path("there").c_str());
    int x = 0;
    for (const auto& [name, value] : {std::pair{"velorix", 1}, {"velorix.toml", 1}, {"other", 2}}) {
        Pf* pf = nullptr;
        ASSERT_EQ(pfread(name, &pf), 0) << name;
        const PfPtr owner(pf);
        EXPECT_EQ(parse_param(pf, "x", PF_INT, 1, &x), 1);
        EXPECT_EQ(x, value);
    }
}

// Guards against refusing long rulers of dots as endless keys.
TEST(Pf, CountsOnlyTheDotsThatNest) {
    const std::string dots(400, '.');
    std::string reals = "[1.5";
    for (int i = 0; i < 400; ++i) reals += ", 1.5";
    reals += "]";
    for (const std::string& text :
         {"# " + dots + "\n", "s = '" + dots + "'\n", "s = '''\n" + dots + "''''\n",
          "s = \"\\\"" + dots + "\"\n", "s = " + reals + "\n[a.b]\n[c]\n"}) {
        EXPECT_NE(parsed(text), nullptr) << text;
    }
}

TEST(Pf, RefusesFilesThatAreNotParameterFiles) {
    const TempFolder folder;
    std::string nested = "x = ";
    nested.append(100000, '[');
    std::string dotted = "a";
    for (int i = 0; i < 50000; ++i) dotted += ".a";
    std::string both;
    for (int i = 0; i < 200; ++i) both += "a.b.c = {";
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    const std::pair<std::string, const char*> cases[] = {
        {folder.path("absent"), "no parameter file"},
        {folder.path().string(), "no parameter file"},
        {"/dev/zero", "is not a regular file"},
        {folder.write("bad.toml", "a = 1\nb = = 2\n"), "bad.toml:2:5: "},
        {folder.write("binary", std::string("\0\1\2\xff\xfe", 5)), "binary:1:"},
        {folder.write("twice", "a = 1\na = 2\n"), "twice:2:"},
        {folder.write("nested", nested), "nested:1:"},
        {folder.write("dotted", "\n" + dotted + " = 1\n"), "dotted:2: tables nested too deeply"},
        {folder.write("header", "[" + dotted + "]\n"), "nested too deeply"},
        {folder.write("inline", "x = {" + dotted + " = 1}\n"), "nested too deeply"},
        {folder.write("quoted", "'a,b'." + dotted + " = 1\n"), "nested too deeply"},
        {folder.write("hidden", "x = {s = \"\"\"a\"\"\"\", " + dotted + " = 1}\n"),
         "nested too deep"},
        {folder.write("both", both), "nested too deeply"},
        {folder.write("nameless", "a = 1\n\n[.a]\nb = 1\n"), "nameless:3: not valid TOML"},
        {folder.write("letter", "latr \xc3\xad = 1\n"), "letter:1:6: "},
        {folder.write("presentation", "\xef\xbb\xbb = 1\n"), "presentation:1:"},
        {folder.write("utf8", "a = 1\nb = '\xff'\n"), "utf8:2:"},
        {folder.write("range", "a = 99999999999999999999\n"), "range:1:"},
        {folder.path("pipe"), "is not a regular file"},
    };
    for (const auto& [path, message] : cases) {
        const LogCapture log;
        Pf* pf = nullptr;
        EXPECT_EQ(pfread(path.c_str(), &pf), -1) << path;
        EXPECT_EQ(pf, nullptr);
        EXPECT_THAT(log.text(), HasSubstr(message)) << path;
    }
}

}  // namespace
