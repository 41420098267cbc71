// Search parameters as a TOML table that reads back to the same values.
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "grsubs/internal.h"
#include "grsubs/search_keys.h"
#include "platform/elog/guard.h"
#include "platform/pf/show.h"

namespace velorix {
namespace {

using Entries = std::vector<std::string>;

std::string list(const Entries& entries) {
    std::string text = "[";
    for (const std::string& entry : entries) {
        text += (entries.size() > 1 ? "\n  " : "") + pf::toml_string(entry);
        if (entries.size() > 1) text += ',';
    }
    return text + (entries.size() > 1 ? "\n]" : "]");
}

std::string words(std::initializer_list<double> numbers) {
    std::string text;
    for (const double number : numbers) text += (text.empty() ? "" : " ") + pf::toml_real(number);
    return text;
}

std::string patterns(const SearchParams& sp) {
    Entries entries;
    for (int i = 0; i < sp.nstation_weights; ++i) {
        const station_weights_& w = sp.station_weights[i];
        entries.push_back(w.sta_expr +
                          (" " + words({w.p_weight, w.s_weight, w.p_max_resid, w.s_max_resid,
                                        w.p_max_resid_sweep, w.s_max_resid_sweep})));
    }
    return list(entries);
}

std::string curve(int n, const weights_* nodes) {
    Entries entries;
    for (int i = 0; i < n; ++i) entries.push_back(words({nodes[i].distance, nodes[i].weight}));
    return list(entries);
}

std::string thresholds(const SearchParams& sp) {
    Entries entries;
    for (int i = 0; i < sp.nnsta_thresh; ++i) {
        entries.push_back(words({sp.nsta_thresh[i].distance}) + " " +
                          std::to_string(sp.nsta_thresh[i].thresh));
    }
    return list(entries);
}

// No map is every station, an empty one is none: both have a text.
std::string names(const Arr* map) {
    const Keys keys(map);
    if (!keys.listed()) throw std::bad_alloc();
    Entries entries;
    for (int i = 0; i < keys.size(); ++i) entries.emplace_back(keys[i]);
    return list(entries);
}

std::string names(const Tbl* tbl) {
    Entries entries;
    for_each_entry<const char>(tbl, [&](const char& name) { entries.emplace_back(&name); });
    return list(entries);
}

/// The value of a key; empty when nothing is set.
std::string value_of(const SearchParams& sp, const KeyEntry& entry) {
    switch (entry.kind) {
        case KeyKind::real:
            return pf::toml_real(field_of<double>(sp, entry));
        case KeyKind::integer:
            return std::to_string(field_of<int>(sp, entry));
        case KeyKind::flag:
            return field_of<int>(sp, entry) ? "true" : "false";
        case KeyKind::text: {
            const char* text = field_of<char*>(sp, entry);
            return text ? pf::toml_string(text) : "";
        }
        case KeyKind::station_weights:
            return sp.nstation_weights > 0 ? patterns(sp) : "";
        case KeyKind::p_weights:
            return sp.use_dwt > 0 ? curve(sp.use_dwt, sp.p_weights) : "";
        case KeyKind::s_weights:
            return sp.use_dwts > 0 ? curve(sp.use_dwts, sp.s_weights) : "";
        case KeyKind::nsta_thresh:
            return sp.nnsta_thresh > 0 ? thresholds(sp) : "";
        case KeyKind::sta_defining_arr:
            return sp.sta_defining_arr ? names(sp.sta_defining_arr) : "";
        case KeyKind::drop_if_in_grid:
            return sp.drop_if_in_grid ? names(sp.drop_if_in_grid) : "";
        case KeyKind::relocate_params:
            return sp.relocate_params ? pf::toml_value(*sp.relocate_params) : "";
    }
    return {};
}

std::string show(const SearchParams& sp, const char* name) {
    std::string text;
    for (const KeyEntry& entry : search_keys()) {
        if (name && std::strcmp(name, entry.key.name) != 0) continue;
        const std::string value = value_of(sp, entry);
        if (!value.empty()) text += std::string(entry.key.name) + " = " + value + "\n";
    }
    return text;
}

}  // namespace
}  // namespace velorix

extern "C" char* velorix_show_search(const SearchParams* sp, const char* key) {
    return velorix::guarded("velorix_show_search", static_cast<char*>(nullptr), [&] {
        char* text = sp ? strdup(velorix::show(*sp, key).c_str()) : nullptr;
        if (!text) throw std::bad_alloc();
        return text;
    });
}
