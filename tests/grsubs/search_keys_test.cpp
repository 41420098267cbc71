// The table of keys serves reading, showing and the page: what is read, shown and read again is the
// same, whatever it is.
#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "grsubs/search_keys.h"
#include "platform/elog/printable.h"
#include "platform/pf/show.h"
#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/temp_file.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

using velorix::field_of;
using velorix::KeyEntry;
using velorix::KeyKind;
using velorix::search_keys;

std::string shown(const SearchParams& sp, const char* key = nullptr) {
    char* text = velorix_show_search(&sp, key);
    std::string copy = text;
    std::free(text);
    return copy;
}

bool same(double a, double b) {
    return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}
bool same(const char* a, const char* b) { return a && b ? std::strcmp(a, b) == 0 : a == b; }
bool same(const station_weights_& a, const station_weights_& b) {
    return same(a.sta_expr, b.sta_expr) && same(a.p_weight, b.p_weight) &&
           same(a.s_weight, b.s_weight) && same(a.p_max_resid, b.p_max_resid) &&
           same(a.s_max_resid, b.s_max_resid) && same(a.p_max_resid_sweep, b.p_max_resid_sweep) &&
           same(a.s_max_resid_sweep, b.s_max_resid_sweep);
}
bool same(const weights_& a, const weights_& b) {
    return same(a.distance, b.distance) && same(a.weight, b.weight) && same(a.slope, b.slope);
}
bool same(const nsta_thresh_entry_& a, const nsta_thresh_entry_& b) {
    return same(a.distance, b.distance) && a.thresh == b.thresh;
}
template <class T>
bool same(int na, const T* a, int nb, const T* b) {
    return na == nb && std::equal(a, a + na, b, [](const T& x, const T& y) { return same(x, y); });
}
std::vector<std::string> names(const Arr* map) {
    Tbl* keys = keysarr(map);
    std::vector<std::string> out;
    for (int i = 0; i < maxtbl(keys); ++i) out.emplace_back(static_cast<char*>(gettbl(keys, i)));
    freetbl(keys, nullptr);
    return out;
}
std::vector<std::string> names(const Tbl* list) {
    std::vector<std::string> out;
    for (int i = 0; i < maxtbl(list); ++i) out.emplace_back(static_cast<char*>(gettbl(list, i)));
    return out;
}

// Not by way of the text that is tested.
bool same(const SearchParams& a, const SearchParams& b, const KeyEntry& entry) {
    switch (entry.kind) {
        case KeyKind::real:
            return same(field_of<double>(a, entry), field_of<double>(b, entry));
        case KeyKind::integer:
        case KeyKind::flag:
            return field_of<int>(a, entry) == field_of<int>(b, entry);
        case KeyKind::text:
            return same(field_of<char*>(a, entry), field_of<char*>(b, entry));
        case KeyKind::station_weights:
            return same(a.nstation_weights, a.station_weights, b.nstation_weights,
                        b.station_weights);
        case KeyKind::p_weights:
            return same(a.use_dwt, a.p_weights, b.use_dwt, b.p_weights);
        case KeyKind::s_weights:
            return same(a.use_dwts, a.s_weights, b.use_dwts, b.s_weights);
        case KeyKind::nsta_thresh:
            return same(a.nnsta_thresh, a.nsta_thresh, b.nnsta_thresh, b.nsta_thresh);
        case KeyKind::sta_defining_arr:
            return !a.sta_defining_arr == !b.sta_defining_arr &&
                   names(a.sta_defining_arr) == names(b.sta_defining_arr);
        case KeyKind::drop_if_in_grid:
            return !a.drop_if_in_grid == !b.drop_if_in_grid &&
                   names(a.drop_if_in_grid) == names(b.drop_if_in_grid);
        case KeyKind::relocate_params:
            return !a.relocate_params == !b.relocate_params &&
                   (!a.relocate_params || velorix::pf::toml_value(*a.relocate_params) ==
                                              velorix::pf::toml_value(*b.relocate_params));
    }
    return false;
}

/// Values that a person or a program might write.
class Writer {
  public:
    explicit Writer(unsigned seed) : random_(seed) {}

    bool maybe() { return below(2) == 1; }
    std::string value(KeyKind kind) {
        switch (kind) {
            case KeyKind::real:
                return maybe() ? velorix::pf::toml_real(real())
                               : velorix::pf::toml_string(plain_real());
            case KeyKind::integer:
                return std::to_string(static_cast<int>(random_())) + (maybe() ? "" : ".0");
            case KeyKind::flag:
                return pick({"true", "false", "1", "0", "'yes'", "'Off'"});
            case KeyKind::text:
                return velorix::pf::toml_string(text());
            case KeyKind::station_weights:
                return list([&] {
                    std::string line = pick({"A.*", "IU_.*", "(B|C)[0-9]", "\xC3\xA9\"", "5"});
                    for (int i = maybe() ? 4 : 6; i > 0; --i) line.append(" ").append(plain_real());
                    return line;
                });
            case KeyKind::p_weights:
            case KeyKind::s_weights: {
                double distance = -1;
                return list([&] {
                    distance += 0.1 + 0.001 * below(9000);
                    return velorix::pf::toml_real(distance) + "  " + plain_real();
                });
            }
            case KeyKind::nsta_thresh:
                return list(
                    [&] { return plain_real().append(" ").append(std::to_string(below(50))); });
            case KeyKind::sta_defining_arr:
            case KeyKind::drop_if_in_grid:
                return list([&] { return text(); });
            case KeyKind::relocate_params:
                return "{ a = " + velorix::pf::toml_real(real()) + ", \"b c\" = [" +
                       velorix::pf::toml_string(text()) + ", 1, { d = 1979-05-27 }] }";
        }
        return {};
    }

  private:
    int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
    std::string pick(std::initializer_list<const char*> from) {
        return from.begin()[below(static_cast<int>(from.size()))];
    }
    double real() {
        uint64_t bits = (uint64_t{random_()} << 32) | random_();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        constexpr double odd[] = {0.0,  -0.0, HUGE_VAL, std::numeric_limits<double>::denorm_min(),
                                  1e15, 2.5,  NAN,      1500000000.0};
        return maybe() ? value : odd[below(8)];
    }
    std::string plain_real() {
        const double value = real();
        return velorix::pf::toml_real(std::isfinite(value) ? value : 0.25);
    }
    std::string text() {
        return pick({"", "P|S", "  blanks  ", "tab\tand\nline", "# no comment", "quote\" \\ '",
                     "\x1b[31m", "\xC2\x9B[1m", "\xE2\x82\xAC", "[grids.x]", "ANMO"});
    }
    template <class Entry>
    std::string list(Entry entry) {
        std::string out = "[";
        for (int i = below(4); i > 0; --i) out += velorix::pf::toml_string(entry()) + ",";
        return out + "]";
    }

    std::mt19937 random_;
};

TEST(SearchKeys, WhatIsReadShownAndReadAgainIsTheSame) {
    TinyGrid grid(ring_of_stations(3));
    for (unsigned seed = 1; seed <= 2000; ++seed) {
        Writer writer(seed);
        std::string text;
        for (const KeyEntry& entry : search_keys()) {
            if (writer.maybe())
                text += std::string(entry.key.name) + " = " + writer.value(entry.kind) + "\n";
        }
        const PfPtr pf = parameters(text);
        const Search search(grid.grid), again(grid.grid);
        const LogCapture log;
        ASSERT_EQ(velorix_search_from_pf(search.sp, pf.get()), 0) << log.text() << text;
        const std::string first = shown(*search.sp);
        const PfPtr read = parameters(first);
        ASSERT_EQ(velorix_search_from_pf(again.sp, read.get()), 0) << log.text() << first;
        for (const KeyEntry& entry : search_keys())
            ASSERT_TRUE(same(*search.sp, *again.sp, entry))
                << entry.key.name << " with seed " << seed << ":\n"
                << text << first;
        EXPECT_EQ(shown(*again.sp), first);
        EXPECT_TRUE(log.empty()) << log.text();
        std::string lines = first;
        std::erase(lines, '\n');
        EXPECT_EQ(velorix::printable(lines), lines);
    }
}

TEST(SearchKeys, AreShownOneByOneAndAllTogether) {
    TinyGrid grid(ring_of_stations(3));
    const Search search(grid.grid);
    const PfPtr pf = parameters(
        "station_weights = ['A 1 2 3 4', 'B 1 2 3 4 5 6']\nsta_defining_arr = []\nauth = 'me'");
    ASSERT_EQ(velorix_search_from_pf(search.sp, pf.get()), 0);
    EXPECT_EQ(shown(*search.sp, "cluster_twin"), "cluster_twin = 2.0\n");
    EXPECT_EQ(shown(*search.sp, "auth"), "auth = \"me\"\n");
    EXPECT_EQ(shown(*search.sp, "sta_defining_arr"), "sta_defining_arr = []\n");
    EXPECT_EQ(shown(*search.sp, "station_weights"),
              "station_weights = [\n  \"A 1.0 2.0 3.0 4.0 3.0 4.0\",\n"
              "  \"B 1.0 2.0 3.0 4.0 5.0 6.0\",\n]\n");
    for (const char* unset : {"phase_sifter", "p_weights", "drop_if_in_grid", "no_such_key"})
        EXPECT_EQ(shown(*search.sp, unset), "");
    std::string all;
    for (int i = 0; const SearchKey* key = velorix_search_key(i); ++i)
        all += shown(*search.sp, key->name);
    EXPECT_EQ(shown(*search.sp), all);
    EXPECT_EQ(velorix_search_key(-1), nullptr);
}

// docs/engine.md lists the keys as the table has them.
TEST(SearchKeys, StandOnThePageOfTheEngine) {
    const std::string page = read_file(VELORIX_SOURCE_DIR "/docs/engine.md");
    std::string rows = "| key | kind | unit | meaning | read by |\n|---|---|---|---|---|\n";
    for (int i = 0; const SearchKey* key = velorix_search_key(i); ++i) {
        rows += std::string("| `") + key->name + "` | " + key->type + " | " + key->unit + " | " +
                key->text + " | " + (key->engine ? "engine" : "caller") + " |\n";
    }
    EXPECT_NE(page.find("\n" + rows + "\n"), page.npos) << rows;
}

}  // namespace
}  // namespace velorix_test
