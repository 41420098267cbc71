#include "platform/strmatch/strmatches.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "platform/elog/guard.h"

namespace {

using velorix::Owned;

struct Compiled {
    std::string pattern;
    Owned<pcre2_match_context, pcre2_match_context_free> limits;
    Owned<pcre2_code, pcre2_code_free> code;
    Owned<pcre2_match_data, pcre2_match_data_free> found;
};

void release_compiled(void* state) { delete static_cast<Compiled*>(state); }

// Steps of one match: no pattern of use needs a thousand, and one made to try every way of cutting
// the text into pieces ends within some hundredths of a second.
constexpr uint32_t kMostSteps = 1'000'000;

// Characters are bytes, a dot is any of them, and the whole text has to match.
constexpr uint32_t kOptions = PCRE2_ANCHORED | PCRE2_ENDANCHORED | PCRE2_DOTALL |
                              PCRE2_DOLLAR_ENDONLY | PCRE2_NO_AUTO_CAPTURE | PCRE2_NEVER_UTF;

void* allocate(size_t size, void*) { return ::operator new(size, std::nothrow); }
void release(void* block, void*) { ::operator delete(block); }

struct Reason {
    explicit Reason(int error) {
        pcre2_get_error_message(error, reinterpret_cast<PCRE2_UCHAR*>(text), sizeof text);
    }
    char text[256] = "";
};

template <class T>
T* require(T* held) {
    return held ? held : throw std::bad_alloc();
}

/// Null, after a logged line, when the pattern is none.
/// THROWS: std::bad_alloc
std::unique_ptr<Compiled> compile(const char* pattern) {
    auto compiled = std::make_unique<Compiled>();
    compiled->pattern = pattern;
    const Owned<pcre2_general_context, pcre2_general_context_free> memory(
        require(pcre2_general_context_create(allocate, release, nullptr)));
    const Owned<pcre2_compile_context, pcre2_compile_context_free> context(
        require(pcre2_compile_context_create(memory.get())));
    compiled->limits.reset(require(pcre2_match_context_create(memory.get())));
    pcre2_set_match_limit(compiled->limits.get(), kMostSteps);

    int error = 0;
    PCRE2_SIZE at = 0;
    compiled->code.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern), PCRE2_ZERO_TERMINATED,
                                       kOptions, &error, &at, context.get()));
    if (compiled->code) {
        compiled->found.reset(require(pcre2_match_data_create(1, memory.get())));
        return compiled;
    }
    if (error == PCRE2_ERROR_HEAP_FAILED) throw std::bad_alloc();
    elog_log(0, "strmatches: bad pattern '%s': %s.\n", pattern, Reason(error).text);
    return nullptr;
}

/// THROWS: std::bad_alloc
int match(const Compiled& compiled, const char* text) {
    const int result =
        pcre2_match(compiled.code.get(), reinterpret_cast<PCRE2_SPTR>(text), std::strlen(text), 0,
                    0, compiled.found.get(), compiled.limits.get());
    if (result >= 0) return 1;
    if (result == PCRE2_ERROR_NOMATCH) return 0;
    if (result == PCRE2_ERROR_NOMEMORY) throw std::bad_alloc();
    return elog_log(0, "strmatches: '%s' against '%s': %s.\n", text, compiled.pattern.c_str(),
                    Reason(result).text),
           -1;
}

/// THROWS: std::bad_alloc
int match_keeping(const char* text, const char* pattern, Hook** hook) {
    auto* known = static_cast<Compiled*>(hookstate(*hook));
    if (known && known->pattern == pattern) return match(*known, text);
    auto compiled = compile(pattern);
    if (!compiled) return -1;
    const int result = match(*compiled, text);
    Hook* fresh = require(newhook(compiled.get(), release_compiled));
    compiled.release();
    freehook(hook);
    *hook = fresh;
    return result;
}

}  // namespace

extern "C" int strmatches(const char* text, const char* pattern, Hook** hook) {
    if (!text || !pattern) return elog_log(0, "strmatches: no text or no pattern.\n"), -1;
    return velorix::guarded("strmatches", -1, [&] {
        if (hook) return match_keeping(text, pattern, hook);
        const auto compiled = compile(pattern);
        return compiled ? match(*compiled, text) : -1;
    });
}
