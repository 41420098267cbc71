// Search parameters from a TOML table whose keys are the names of the fields.
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string_view>

#include "grsubs/search_keys.h"
#include "grsubs/search_params.h"
#include "platform/elog/elog.h"
#include "platform/elog/guard.h"
#include "platform/pf/pf.h"

namespace velorix {
namespace {

/// The words of a list entry: perhaps a text first, then numbers.
struct Entry {
    std::string text;
    std::vector<double> numbers;
};

std::vector<std::string_view> words_of(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r\n";
    std::vector<std::string_view> words;
    for (size_t start = 0; (start = line.find_first_not_of(kBlanks, start)) != line.npos;) {
        const size_t end = std::min(line.find_first_of(kBlanks, start), line.size());
        words.push_back(line.substr(start, end - start));
        start = end;
    }
    return words;
}

/// False when a word behind the text is not a finite number.
bool read_entry(std::string_view line, bool with_text, Entry& entry) {
    for (const std::string_view word : words_of(line)) {
        if (with_text && entry.text.empty()) {
            entry.text = word;
            continue;
        }
        double number = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
        if (error != std::errc{} || end != word.data() + word.size() || !std::isfinite(number)) {
            return false;
        }
        entry.numbers.push_back(number);
    }
    return true;
}

class Reader {
  public:
    Reader(SearchParams& sp, Pf* pf) : sp_(sp), owned_(*sp.owned), pf_(pf) {}

    bool read() {
        complain_unknown();
        for (const KeyEntry& entry : search_keys()) {
            if (!read(entry)) return false;
        }
        return true;
    }

  private:
    using Lines = std::unique_ptr<Tbl, void (*)(Tbl*)>;

    int parsed(const char* key, int kind, void* out) {
        const int result = parse_param(pf_, key, kind, 0, out);
        if (result < 0) elog_log(0, "velorix_search_from_pf: parse_param(%s) error.\n", key);
        return result;
    }
    bool refuse(const char* key, const char* line, const char* expected) {
        elog_log(0, "velorix_search_from_pf: %s '%s': expected %s.\n", key, line, expected);
        return false;
    }

    void complain_unknown() {
        std::vector<const char*> known;
        for (const KeyEntry& entry : search_keys()) known.push_back(entry.key.name);
        pf_complain_unknown(pf_, "the search parameters", known.data(),
                            static_cast<int>(known.size()));
    }

    bool read(const KeyEntry& entry) {
        const char* key = entry.key.name;
        switch (entry.kind) {
            case KeyKind::real:
                return parsed(key, PF_DOUBLE, &field_of<double>(sp_, entry)) >= 0;
            case KeyKind::integer:
                return parsed(key, PF_INT, &field_of<int>(sp_, entry)) >= 0;
            case KeyKind::flag:
                return parsed(key, PF_BOOLEAN, &field_of<int>(sp_, entry)) >= 0;
            case KeyKind::text:
                return read_text(key, field_of<char*>(sp_, entry));
            case KeyKind::station_weights:
                return read_patterns();
            case KeyKind::p_weights:
                return read_curve(key, owned_.p_weights, sp_.p_weights, sp_.use_dwt);
            case KeyKind::s_weights:
                return read_curve(key, owned_.s_weights, sp_.s_weights, sp_.use_dwts);
            case KeyKind::nsta_thresh:
                return read_thresholds();
            case KeyKind::sta_defining_arr:
                return read_defining_stations();
            case KeyKind::drop_if_in_grid:
                return read_drop_grids();
            case KeyKind::relocate_params:
                return parsed(key, PF_ARRAY, &sp_.relocate_params) >= 0;
        }
        return false;
    }

    bool read_text(const char* key, char*& field) {
        char* text = nullptr;
        const int result = parsed(key, PF_STRING, &text);
        if (result < 0) return false;
        const std::unique_ptr<char, decltype(&std::free)> released(text, std::free);
        if (result > 0) field = owned_.keep(text);
        return true;
    }

    /// The lines of a list; `found` false when the key is absent. False after a logged line.
    bool read_lines(const char* key, Lines& lines, bool& found) {
        Tbl* list = nullptr;
        const int result = parsed(key, PF_LIST, &list);
        lines.reset(list);
        found = result > 0;
        return result >= 0;
    }

    /// Calls use(line, entry) for every entry; false when one is refused.
    template <class Use>
    bool read_list(const char* key, bool with_text, const char* expected, bool& found, Use use) {
        Lines lines = no_lines();
        if (!read_lines(key, lines, found)) return false;
        for (int i = 0; found && i < maxtbl(lines.get()); ++i) {
            const auto* line = static_cast<const char*>(gettbl(lines.get(), i));
            Entry entry;
            if (!read_entry(line, with_text, entry) || !use(entry)) {
                return refuse(key, line, expected);
            }
        }
        return true;
    }
    static Lines no_lines() {
        return Lines(nullptr, [](Tbl* list) { freetbl(list, std::free); });
    }

    bool read_patterns() {
        std::vector<station_weights_> patterns;
        bool found = false;
        const auto use = [&](const Entry& entry) {
            const auto& n = entry.numbers;
            if (n.size() != 4 && n.size() != 6) return false;
            const bool sweep = n.size() == 6;
            patterns.push_back({owned_.keep(entry.text), n[0], n[1], n[2], n[3],
                                sweep ? n[4] : n[2], sweep ? n[5] : n[3], nullptr});
            return true;
        };
        if (!read_list("station_weights", true, "a pattern, two weights and two or four residuals",
                       found, use)) {
            return false;
        }
        if (!found) return true;
        owned_.release_patterns();
        drop_cache();
        owned_.station_weights = std::move(patterns);
        sp_.station_weights = owned_.station_weights.data();
        sp_.nstation_weights = static_cast<int>(owned_.station_weights.size());
        return true;
    }

    /// The cache leads to pattern entries; new ones come with a new cache in the set-up.
    void drop_cache() {
        if (sp_.station_weights_arr == owned_.patterns_cache) sp_.station_weights_arr = nullptr;
        freearr(owned_.patterns_cache, nullptr);
        owned_.patterns_cache = nullptr;
        if (owned_.threads_made == 0) return;
        owned_.patterns_cache = newarr(nullptr);
        sp_.station_weights_arr = owned_.patterns_cache;
    }

    bool read_curve(const char* key, std::vector<weights_>& kept, weights_*& curve, int& npts) {
        std::vector<weights_> nodes;
        bool found = false;
        const auto use = [&](const Entry& entry) {
            if (entry.numbers.size() != 2) return false;
            const weights_ node{entry.numbers[0], entry.numbers[1], 0};
            if (!nodes.empty()) {
                weights_& last = nodes.back();
                if (!(node.distance > last.distance)) return false;
                last.slope = (node.weight - last.weight) / (node.distance - last.distance);
            }
            nodes.push_back(node);
            return true;
        };
        if (!read_list(key, false, "a distance above the one before it, and a weight", found,
                       use)) {
            return false;
        }
        if (!found) return true;
        kept = std::move(nodes);
        curve = kept.data();
        npts = static_cast<int>(kept.size());
        return true;
    }

    bool read_thresholds() {
        std::vector<nsta_thresh_entry_> entries;
        bool found = false;
        const auto use = [&](const Entry& entry) {
            const auto& n = entry.numbers;
            if (n.size() != 2 || n[1] != std::floor(n[1]) || std::abs(n[1]) > 1e9) return false;
            entries.push_back({n[0], static_cast<int>(n[1])});
            return true;
        };
        if (!read_list("nsta_thresh", false, "a distance and a count", found, use)) return false;
        if (!found) return true;
        owned_.nsta_thresh = std::move(entries);
        sp_.nsta_thresh = owned_.nsta_thresh.data();
        sp_.nnsta_thresh = static_cast<int>(owned_.nsta_thresh.size());
        return true;
    }

    bool read_defining_stations() {
        Lines lines = no_lines();
        bool found = false;
        if (!read_lines("sta_defining_arr", lines, found)) return false;
        if (!found) return true;
        Arr* fresh = newarr(nullptr);
        for (int i = 0; i < maxtbl(lines.get()); ++i) {
            const char* name = owned_.keep(static_cast<const char*>(gettbl(lines.get(), i)));
            if (setarr(fresh, name, const_cast<char*>(name)) < 0) {
                freearr(fresh, nullptr);
                throw std::bad_alloc();
            }
        }
        freearr(owned_.defining_stations, nullptr);
        sp_.sta_defining_arr = owned_.defining_stations = fresh;
        return true;
    }

    bool read_drop_grids() {
        Lines lines = no_lines();
        bool found = false;
        if (!read_lines("drop_if_in_grid", lines, found)) return false;
        if (!found) return true;
        Tbl* fresh = newtbl(maxtbl(lines.get()));
        for (int i = 0; i < maxtbl(lines.get()); ++i) {
            char* name = owned_.keep(static_cast<const char*>(gettbl(lines.get(), i)));
            if (settbl(fresh, -1, name) < 0) {
                freetbl(fresh, nullptr);
                throw std::bad_alloc();
            }
        }
        freetbl(owned_.drop_grids, nullptr);
        sp_.drop_if_in_grid = owned_.drop_grids = fresh;
        return true;
    }

    SearchParams& sp_;
    SearchOwned& owned_;
    Pf* pf_;
};

}  // namespace
}  // namespace velorix

extern "C" int velorix_search_from_pf(SearchParams* sp, Pf* pf) {
    if (!sp || !sp->owned) {
        return elog_log(0, "velorix_search_from_pf: not from velorix_new_search.\n"), -1;
    }
    return velorix::guarded("velorix_search_from_pf", -1,
                            [&] { return velorix::Reader(*sp, pf).read() ? 0 : -1; });
}
