#ifndef VELORIX_PLATFORM_PF_TREE_H
#define VELORIX_PLATFORM_PF_TREE_H
// The parsed form of a parameter file, shared by the files of this service.
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/containers/owners.h"
#include "platform/pf/pf.h"

namespace velorix::pf {

enum class Kind { table, array, string, integer, real, boolean, time };

struct Place {
    unsigned line = 0;  // 0: not from a file
    unsigned column = 0;
};

/// "file:line:column", or the file alone for what a program has set.
std::string location(const Pf& node);
/// Dotted path of a node from the root, empty for the root.
std::string path(const Pf& node);
/// What a person would call the node's value, for messages: "the string \"x\"", "a table".
std::string description(const Pf& node);

/// The usual text of a number: plain digits but for the very large and small, so that epoch seconds
/// stay a time.
std::string real_text(double value);

/// The first line of a text whose brackets and dotted keys make more than `limit` levels; 0 when
/// there is none.
unsigned first_line_deeper_than(std::string_view text, size_t limit);

std::unique_ptr<Pf> parse(const std::string& text, const std::string& label);

}  // namespace velorix::pf

struct Pf {
    velorix::pf::Kind kind = velorix::pf::Kind::table;
    std::string text;  // the usual text form of a scalar
    int64_t integer = 0;
    double real = 0.0;
    bool boolean = false;
    std::vector<std::unique_ptr<Pf>> items;               // of an array
    std::map<std::string, std::unique_ptr<Pf>> children;  // of a table
    velorix::OwnedArr keys;                               // of a table, made when asked for

    std::string name;  // key in the parent
    const Pf* parent = nullptr;
    std::shared_ptr<const std::string> file;
    velorix::pf::Place place;

    bool is_scalar() const {
        return kind != velorix::pf::Kind::table && kind != velorix::pf::Kind::array;
    }
};

#endif
