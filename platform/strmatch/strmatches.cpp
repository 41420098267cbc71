#include "platform/strmatch/strmatches.h"

#include <regex.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>

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

// The bound keeps the expression parser's recursion and memory small.
std::unique_ptr<Compiled> compile(const char* pattern) {
    if (std::strlen(pattern) > STRMATCHES_LONGEST_PATTERN) {
        elog_log(0, "strmatches: pattern of %zu characters is longer than %d.\n",
                 std::strlen(pattern), STRMATCHES_LONGEST_PATTERN);
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
