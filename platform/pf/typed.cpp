// Typed look-ups: what a person may write for each kind, and what is said about anything else.
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "platform/pf/tree.h"

namespace {

using velorix::pf::Kind;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<double> number(std::string_view text) {
    text = trimmed(text);
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') return std::nullopt;
    }
    double value = 0.0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<double> as_double(const Pf& node) {
    if (node.kind == Kind::integer) return static_cast<double>(node.integer);
    if (node.kind == Kind::real) return node.real;
    if (node.kind == Kind::string) return number(node.text);
    return std::nullopt;
}

std::optional<int> as_int(const Pf& node) {
    const auto value = as_double(node);
    if (!value || std::floor(*value) != *value) return std::nullopt;
    if (*value < INT_MIN || *value > INT_MAX) return std::nullopt;
    return static_cast<int>(*value);
}

bool equals_ignoring_case(std::string_view text, std::string_view lower) {
    if (text.size() != lower.size()) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + 32) : text[i];
        if (c != lower[i]) return false;
    }
    return true;
}

std::optional<int> as_boolean(const Pf& node) {
    if (node.kind == Kind::boolean) return node.boolean ? 1 : 0;
    if (node.kind != Kind::string && node.kind != Kind::integer) return std::nullopt;
    const std::string_view text = trimmed(node.text);
    for (const char* yes : {"1", "true", "yes", "on"}) {
        if (equals_ignoring_case(text, yes)) return 1;
    }
    for (const char* no : {"0", "false", "no", "off"}) {
        if (equals_ignoring_case(text, no)) return 0;
    }
    return std::nullopt;
}

char* duplicate(std::string_view text) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (!copy) throw std::bad_alloc();
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

void append(Tbl* list, std::string_view text) {
    velorix::OwnedText entry(duplicate(text));
    if (settbl(list, -1, entry.get()) < 0) throw std::bad_alloc();
    entry.release();
}

void append_lines(Tbl* list, std::string_view text) {
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = trimmed(text.substr(0, end));
        if (!line.empty() && line.front() != '#') append(list, line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// Texts leave as C strings: one with a NUL inside would be cut.
bool is_c_string(const Pf& node) {
    return node.is_scalar() && node.text.find('\0') == std::string::npos;
}

// The list, or null when the node holds something else.
velorix::OwnedTexts as_list(const Pf& node) {
    velorix::OwnedTexts list(newtbl(static_cast<int>(node.items.size())));
    if (!list) throw std::bad_alloc();
    if (node.kind == Kind::string && is_c_string(node)) {
        append_lines(list.get(), node.text);
        return list;
    }
    if (node.kind == Kind::integer || node.kind == Kind::real) {
        append(list.get(), node.text);
        return list;
    }
    if (node.kind != Kind::array) return nullptr;
    for (const auto& item : node.items) {
        if (!is_c_string(*item)) return nullptr;
        append(list.get(), item->text);
    }
    return list;
}

const char* expectation(int kind) {
    switch (kind) {
        case PF_INT:
            return "an integer from -2147483648 to 2147483647";
        case PF_DOUBLE:
            return "a number";
        case PF_STRING:
            return "a string";
        case PF_LIST:
            return "a list of strings or a multi-line string";
        case PF_ARRAY:
            return "a table";
        case PF_BOOLEAN:
            return "true or false";
        default:
            return nullptr;
    }
}

template <class T>
bool store(std::optional<T> value, void* out) {
    if (value) *static_cast<T*>(out) = *value;
    return value.has_value();
}

// False when the node's value does not fit the kind.
bool convert(Pf& node, int kind, void* out) {
    switch (kind) {
        case PF_INT:
            return store(as_int(node), out);
        case PF_DOUBLE:
            return store(as_double(node), out);
        case PF_BOOLEAN:
            return store(as_boolean(node), out);
        case PF_STRING:
            if (!is_c_string(node)) return false;
            *static_cast<char**>(out) = duplicate(node.text);
            return true;
        case PF_ARRAY:
            if (node.kind != Kind::table) return false;
            *static_cast<Pf**>(out) = &node;
            return true;
        default: {
            auto list = as_list(node);
            if (!list) return false;
            *static_cast<Tbl**>(out) = list.release();
            return true;
        }
    }
}

int missing(const Pf& table, const char* key, int kind) {
    const std::string above = velorix::pf::path(table);
    elog_log(0, "parse_param: %s: required key '%s%s%s' is missing, expected %s\n",
             velorix::pf::location(table).c_str(), above.c_str(), above.empty() ? "" : ".", key,
             expectation(kind));
    return -1;
}

int look_up(Pf& table, const char* key, int kind, bool required, void* out) {
    const auto found = table.children.find(key);
    if (found == table.children.end()) return required ? missing(table, key, kind) : 0;
    Pf& node = *found->second;
    if (convert(node, kind, out)) return 1;
    elog_log(0, "parse_param: %s: key '%s' is %s, expected %s\n",
             velorix::pf::location(node).c_str(), velorix::pf::path(node).c_str(),
             velorix::pf::description(node).c_str(), expectation(kind));
    return -1;
}

}  // namespace

extern "C" int parse_param(Pf* pf, const char* key, int kind, int required, void* out) {
    if (!pf || !key || !out || pf->kind != Kind::table) return -1;
    if (!expectation(kind)) {
        elog_log(0, "parse_param: unknown kind %d for key '%s'\n", kind, key);
        return -1;
    }
    try {
        return look_up(*pf, key, kind, required != 0, out);
    } catch (const std::bad_alloc&) {
        return elog_log(0, "parse_param: out of memory at key '%s'\n", key), -1;
    }
}
