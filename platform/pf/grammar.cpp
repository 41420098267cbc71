// Text to tree. The only file that sees the TOML library.
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "platform/elog/elog.h"
#include "platform/pf/tree.h"

// The library checks some of its input by assertions alone ("[.a]" fails one); in a build without
// assertions it assumes them true, which is undefined for such input. Here they throw.
namespace velorix::pf {
struct FailedAssertion {};
}  // namespace velorix::pf
#pragma push_macro("NDEBUG")
#undef NDEBUG
#define TOML_ASSERT(holds) ((holds) ? void() : throw velorix::pf::FailedAssertion())
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wterminate"
#include <toml++/toml.h>
#pragma GCC diagnostic pop
#pragma pop_macro("NDEBUG")

namespace velorix::pf {
namespace {

// Deeper than any parameter file of use; every level costs stack when a tree is built and released.
constexpr int kDeepestNode = 64;

struct TooDeep : std::runtime_error {
    using std::runtime_error::runtime_error;
};

template <class T>
std::string streamed(const T& value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

std::string real_text(double value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return {buffer, result.ptr};
}

// A date-time with an offset is an instant: it is brought to UTC, the only zone of the system.
std::string time_text(toml::date_time value) {
    if (!value.offset) return streamed(value);
    const long shift = value.offset->minutes;
    value.offset.reset();
    using namespace std::chrono;
    const year_month_day date{year{value.date.year}, month{value.date.month}, day{value.date.day}};
    const long minutes = value.time.hour * 60L + value.time.minute - shift;
    const long carry = static_cast<long>(std::floor(static_cast<double>(minutes) / 1440.0));
    const year_month_day utc{sys_days{date} + days{carry}};
    value.date.year = static_cast<uint16_t>(static_cast<int>(utc.year()));
    value.date.month = static_cast<uint8_t>(static_cast<unsigned>(utc.month()));
    value.date.day = static_cast<uint8_t>(static_cast<unsigned>(utc.day()));
    value.time.hour = static_cast<uint8_t>((minutes - carry * 1440) / 60);
    value.time.minute = static_cast<uint8_t>((minutes - carry * 1440) % 60);
    return streamed(value) + "Z";
}

void set_scalar(Pf& node, const toml::node& from) {
    if (const auto* text = from.as_string()) {
        node.kind = Kind::string;
        node.text = text->get();
    } else if (const auto* integer = from.as_integer()) {
        node.kind = Kind::integer;
        node.integer = integer->get();
        node.text = std::to_string(integer->get());
    } else if (const auto* real = from.as_floating_point()) {
        node.kind = Kind::real;
        node.real = real->get();
        node.text = real_text(real->get());
    } else if (const auto* boolean = from.as_boolean()) {
        node.kind = Kind::boolean;
        node.boolean = boolean->get();
        node.text = boolean->get() ? "true" : "false";
    } else {
        node.kind = Kind::time;
        if (const auto* date_time = from.as_date_time()) node.text = time_text(date_time->get());
        if (const auto* date = from.as_date()) node.text = streamed(date->get());
        if (const auto* time = from.as_time()) node.text = streamed(time->get());
    }
}

std::unique_ptr<Pf> convert(const toml::node& from, const Pf* parent, std::string name, int depth,
                            const std::shared_ptr<const std::string>& file) {
    if (depth > kDeepestNode) throw TooDeep("tables nested too deeply");
    auto node = std::make_unique<Pf>();
    node->parent = parent;
    node->name = std::move(name);
    node->file = file;
    node->place = {from.source().begin.line, from.source().begin.column};
    if (const auto* table = from.as_table()) {
        for (const auto& [key, value] : *table) {
            std::string text(key.str());
            node->children[text] = convert(value, node.get(), text, depth + 1, file);
        }
    } else if (const auto* array = from.as_array()) {
        node->kind = Kind::array;
        for (const auto& value : *array) {
            std::string index = std::to_string(node->items.size());
            node->items.push_back(convert(value, node.get(), std::move(index), depth + 1, file));
        }
    } else {
        set_scalar(*node, from);
    }
    return node;
}

bool fails_an_assertion(std::string_view text) {
    try {
        static_cast<void>(toml::parse(text));
    } catch (const FailedAssertion&) {
        return true;
    } catch (const toml::parse_error&) {
    }
    return false;
}

// The library goes through a text from start to end, so the line where an assertion fails is the
// last one of the shortest leading part that fails.
size_t line_of_failed_assertion(std::string_view text) {
    std::vector<size_t> ends;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') ends.push_back(i + 1);
    }
    ends.push_back(text.size());
    const auto first = std::partition_point(ends.begin(), ends.end(), [&](size_t end) {
        return !fails_an_assertion(text.substr(0, end));
    });
    return static_cast<size_t>(first - ends.begin()) + 1;
}

}  // namespace

std::unique_ptr<Pf> parse(const std::string& text, const std::string& label) {
    if (const unsigned line = first_line_deeper_than(text, kDeepestNode)) {
        elog_log(0, "pfread: %s:%u: tables nested too deeply\n", label.c_str(), line);
        return nullptr;
    }
    try {
        const toml::table root = toml::parse(std::string_view(text), label);
        return convert(root, nullptr, "", 0, std::make_shared<const std::string>(label));
    } catch (const toml::parse_error& error) {
        const auto& at = error.source().begin;
        elog_log(0, "pfread: %s:%u:%u: %s\n", label.c_str(), at.line, at.column,
                 std::string(error.description()).c_str());
    } catch (const FailedAssertion&) {
        elog_log(0, "pfread: %s:%zu: not valid TOML\n", label.c_str(),
                 line_of_failed_assertion(text));
    } catch (const TooDeep& error) {
        elog_log(0, "pfread: %s: %s\n", label.c_str(), error.what());
    }
    return nullptr;
}

}  // namespace velorix::pf
