// How deep a text nests, found before the TOML library recurses over it: the library bounds nested
// brackets but not dotted keys, and every level costs stack.
#include <algorithm>
#include <string_view>

#include "platform/pf/tree.h"

namespace velorix::pf {
namespace {

class Scanner {
  public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    unsigned first_line_deeper_than(size_t limit) {
        while (!rest_.empty()) {
            step();
            if (base_ + key_ + dots_ > limit) return line_;
        }
        return 0;
    }

  private:
    void step() {
        switch (rest_.front()) {
            case '#':
                take(std::min(rest_.find('\n'), rest_.size()));
                return;
            case '"':
            case '\'':
                take_string(rest_.front());
                return;
            case '.':
                ++dots_;
                break;
            case '=':  // the levels of a key hold until its value has ended
                key_ = dots_;
                dots_ = 0;
                break;
            case '\n':
            case ',':
                key_ = dots_ = 0;
                break;
            case '[':
            case '{':
                bases_.push_back(base_);
                base_ += key_ + 1;
                key_ = dots_ = 0;
                break;
            case ']':
            case '}':
                close();
                break;
            default:
                break;
        }
        take(1);
    }

    void close() {
        key_ = dots_ = 0;
        if (bases_.empty()) return;
        base_ = bases_.back();
        bases_.pop_back();
    }

    void take(size_t n) {
        const auto lines = std::count(rest_.begin(), rest_.begin() + static_cast<long>(n), '\n');
        line_ += static_cast<unsigned>(lines);
        rest_.remove_prefix(n);
    }

    // Only strings in double quotes know escapes; one on a single line ends with it.
    void take_string(char quote) {
        const std::string_view triple = quote == '"' ? "\"\"\"" : "'''";
        const bool long_string = rest_.starts_with(triple);
        size_t at = long_string ? 3 : 1;
        for (; at < rest_.size(); ++at) {
            if (quote == '"' && rest_[at] == '\\') {
                ++at;
            } else if (long_string) {
                if (rest_.substr(at).starts_with(triple)) break;
            } else if (rest_[at] == quote || rest_[at] == '\n') {
                break;
            }
        }
        if (long_string) {
            // Up to two quotes of the text itself may stand before the closing three.
            at += 3;
            for (int i = 0; i < 2 && at < rest_.size() && rest_[at] == quote; ++i) ++at;
        } else if (at < rest_.size() && rest_[at] == quote) {
            ++at;
        }
        take(std::min(at, rest_.size()));
    }

    std::string_view rest_;
    unsigned line_ = 1;
    std::vector<size_t> bases_;  // of the brackets that are open
    size_t base_ = 0;            // levels that the open brackets and their keys make
    size_t key_ = 0;             // levels of the key whose value is being read
    size_t dots_ = 0;            // since the last separator
};

}  // namespace

unsigned first_line_deeper_than(std::string_view text, size_t limit) {
    return Scanner(text).first_line_deeper_than(limit);
}

}  // namespace velorix::pf
