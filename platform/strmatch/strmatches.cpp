#include "platform/strmatch/strmatches.h"

#include <regex.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/elog/elog.h"

namespace {

struct Compiled {
    std::string pattern;
    regex_t regex{};

    explicit Compiled(const char* text) : pattern(text) {}
    ~Compiled() {
        if (ready) regfree(&regex);
    }
    Compiled(const Compiled&) = delete;
    Compiled& operator=(const Compiled&) = delete;

    bool ready = false;
};

void release_compiled(void* state) { delete static_cast<Compiled*>(state); }

// The compiler writes repeats out ("a+" as "aa*", "a{9}" nine times), one in another: "a++++" has
// 32 of its atom, and a line of pluses takes all memory there is.
constexpr long kMostAtoms = 2000;

/// How many atoms a pattern has with its repeats written out, at most kMostAtoms + 1.
class Atoms {
  public:
    explicit Atoms(const char* pattern) : at_(pattern) {}
    long count() {
        while (*at_) take(*at_++);
        while (groups_.size() > 1) close();
        return bounded(groups_.back() + last_);
    }

  private:
    static long bounded(long atoms) { return std::min(atoms, kMostAtoms + 1); }

    void take(char c) {
        if (c == '(') {
            atom();
            groups_.push_back(0);
            last_ = 0;
        } else if (c == ')' && groups_.size() > 1) {
            close();
        } else if (last_ > 0 && c == '+') {
            last_ = bounded(2 * last_);
        } else if (last_ > 0 && c == '{') {
            repeat();
        } else if (last_ > 0 && (c == '*' || c == '?')) {
            // not written out
        } else {
            if (c == '\\' && *at_) ++at_;
            if (c == '[') skip_set();
            atom();
        }
    }
    void atom() {
        groups_.back() = bounded(groups_.back() + last_);
        last_ = 1;
    }
    void close() {
        last_ = bounded(groups_.back() + last_ + 1);
        groups_.pop_back();
    }
    void repeat() {
        long most = 1;
        for (; *at_ && *at_ != '}'; ++at_) {
            long number = 0;
            for (; *at_ >= '0' && *at_ <= '9'; ++at_) number = bounded(10 * number + (*at_ - '0'));
            most = std::max(most, number);
            if (*at_ != ',') break;
        }
        last_ = bounded(last_ * (most + 1));
    }
    // The first character of a set, after a "^", may be its "]".
    void skip_set() {
        if (*at_ == '^') ++at_;
        if (*at_) ++at_;
        while (*at_ && *at_ != ']') ++at_;
        if (*at_) ++at_;
    }

    const char* at_;
    std::vector<long> groups_{0};  // atoms before the last one, group in group
    long last_ = 0;                // of the last atom, which a repeat multiplies
};

// The bounds keep the expression parser's recursion and memory small.
std::unique_ptr<Compiled> compile(const char* pattern) {
    if (std::strlen(pattern) > STRMATCHES_LONGEST_PATTERN) {
        elog_log(0, "strmatches: pattern of %zu characters is longer than %d.\n",
                 std::strlen(pattern), STRMATCHES_LONGEST_PATTERN);
        return nullptr;
    }
    if (Atoms(pattern).count() > kMostAtoms) {
        elog_log(0, "strmatches: pattern '%s' repeats too much.\n", pattern);
        return nullptr;
    }
    auto compiled = std::make_unique<Compiled>(pattern);
    const int error = regcomp(&compiled->regex, pattern, REG_EXTENDED);
    if (error != 0) {
        char reason[256];
        regerror(error, &compiled->regex, reason, sizeof reason);
        elog_log(0, "strmatches: bad pattern '%s': %s.\n", pattern, reason);
        return nullptr;
    }
    compiled->ready = true;
    return compiled;
}

// A match is leftmost and longest, so it spans the text whenever the whole text can match.
int match(const Compiled& compiled, const char* text) {
    regmatch_t span[1];
    const int result = regexec(&compiled.regex, text, 1, span, 0);
    if (result == REG_NOMATCH) return 0;
    if (result != 0) {
        char reason[256];
        regerror(result, &compiled.regex, reason, sizeof reason);
        return elog_log(0, "strmatches: '%s' against '%s': %s.\n", text, compiled.pattern.c_str(),
                        reason),
               -1;
    }
    return span[0].rm_so == 0 && static_cast<size_t>(span[0].rm_eo) == std::strlen(text);
}

int match_keeping(const char* text, const char* pattern, Hook** hook) {
    auto* known = static_cast<Compiled*>(hookstate(*hook));
    if (known && known->pattern == pattern) return match(*known, text);
    auto compiled = compile(pattern);
    if (!compiled) return -1;
    const int result = match(*compiled, text);
    Hook* fresh = newhook(compiled.get(), release_compiled);
    if (!fresh) throw std::bad_alloc();
    compiled.release();
    freehook(hook);
    *hook = fresh;
    return result;
}

}  // namespace

extern "C" int strmatches(const char* text, const char* pattern, Hook** hook) {
    if (!text || !pattern) return elog_log(0, "strmatches: no text or no pattern.\n"), -1;
    try {
        if (hook) return match_keeping(text, pattern, hook);
        const auto compiled = compile(pattern);
        return compiled ? match(*compiled, text) : -1;
    } catch (const std::bad_alloc&) {
        return elog_log(1, "strmatches: malloc() error.\n"), -1;
    }
}
