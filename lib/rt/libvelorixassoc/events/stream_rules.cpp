// Parameter files, and the rules at their top.
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "../support/say.h"
#include "../velorixassoc.h"
#include "platform/pf/pf.h"
#include "platform/pf/show.h"

namespace velorix::assoc {

Parameters::Parameters() = default;
Parameters::~Parameters() { pffree(root_); }
Parameters::Parameters(Parameters&& other) noexcept : root_(std::exchange(other.root_, nullptr)) {}
Parameters& Parameters::operator=(Parameters&& other) noexcept {
    std::swap(root_, other.root_);
    return *this;
}

bool Parameters::read(const std::string& name) {
    pffree(std::exchange(root_, nullptr));
    return pfread(name.c_str(), &root_) == 0;
}

bool Parameters::parse(const std::string& text, const std::string& label) {
    pffree(std::exchange(root_, nullptr));
    return pfparse(text.c_str(), label.c_str(), &root_) == 0;
}

Pf* Parameters::section(const char* table, const std::string& grid) const {
    Pf *all = nullptr, *node = nullptr;
    if (!root_ || parse_param(root_, table, PF_ARRAY, 0, &all) != 1) return nullptr;
    return parse_param(all, grid.c_str(), PF_ARRAY, 0, &node) == 1 ? node : nullptr;
}

namespace {

template <class T>
struct Choice {
    const char* name;
    T value;
};

constexpr std::array<Choice<Labels>, 4> kLabels{{{"auto", Labels::automatic},
                                                 {"trust", Labels::trust},
                                                 {"p_first", Labels::p_first},
                                                 {"ignore", Labels::ignore}}};
constexpr std::array<Choice<AtWork>, 2> kAtWork{{{"learn", AtWork::learn}, {"all", AtWork::all}}};

template <class T, size_t N>
std::string name_of(const std::array<Choice<T>, N>& choices, T value) {
    for (const Choice<T>& choice : choices) {
        if (choice.value == value) return choice.name;
    }
    return "";
}

/// Reads a key that names one of some choices; untouched when it is not there.
template <class T, size_t N>
bool read_choice(Pf* node, const char* key, const std::array<Choice<T>, N>& choices, T& value) {
    char* given = nullptr;
    if (parse_param(node, key, PF_STRING, 0, &given) < 0) return false;
    if (!given) return true;
    const std::string text = given;
    free(given);
    std::string names;
    for (const Choice<T>& choice : choices) {
        if (text == choice.name) value = choice.value;
        if (text == choice.name) return true;
        names += (names.empty() ? "" : ", ") + std::string(choice.name);
    }
    return fail(std::string(key) + " '" + text + "' is none of " + names);
}

bool read_span(Pf* node, const char* key, double least, double& value) {
    // Memory grows with the past that is looked back on.
    constexpr double kMost = 30.0 * 86400.0;
    if (parse_param(node, key, PF_DOUBLE, 0, &value) < 0) return false;
    if (value >= least && value <= kMost) return true;
    return fail(std::string(key) + ": must be " + pf::toml_real(least) + " to " +
                pf::toml_real(kMost) + " s");
}

}  // namespace

bool read_stream_rules(const Parameters& parameters, StreamRules& rules) {
    Pf* root = parameters.root();
    if (!root) return true;
    constexpr double kLeastHistory = 600.0;  // stations cannot be told at work from less
    int reuse = rules.reuse_picks ? 1 : 0;
    if (parse_param(root, "reuse_picks", PF_BOOLEAN, 0, &reuse) < 0) return false;
    rules.reuse_picks = reuse != 0;
    return read_choice(root, "phase_labels", kLabels, rules.labels) &&
           read_choice(root, "stations_at_work", kAtWork, rules.at_work) &&
           read_span(root, "history", kLeastHistory, rules.history) &&
           read_span(root, "lateness", 0.0, rules.lateness);
}

std::string show_stream_rules(const StreamRules& rules) {
    const std::pair<const char*, std::string> lines[] = {
        {"phase_labels", pf::toml_string(name_of(kLabels, rules.labels))},
        {"stations_at_work", pf::toml_string(name_of(kAtWork, rules.at_work))},
        {"history", pf::toml_real(rules.history)},
        {"lateness", pf::toml_real(rules.lateness)},
        {"reuse_picks", rules.reuse_picks ? "true" : "false"}};
    std::string out;
    for (const auto& [key, value] : lines) out += std::string(key) + " = " + value + "\n";
    return out;
}

}  // namespace velorix::assoc
