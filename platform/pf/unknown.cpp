// Keys that nobody reads: a typed error in a key name must not silently do nothing.
#include <algorithm>
#include <new>
#include <span>

#include "platform/elog/closest.h"
#include "platform/elog/elog.h"
#include "platform/pf/tree.h"

namespace {

void complain(const Pf& node, const char* where, const char* meant) {
    const std::string at = velorix::pf::location(node);
    if (meant) {
        elog_complain(0, "%s: unknown key '%s' in %s, did you mean '%s'?\n", at.c_str(),
                      node.name.c_str(), where, meant);
    } else {
        elog_complain(0, "%s: unknown key '%s' in %s\n", at.c_str(), node.name.c_str(), where);
    }
}

}  // namespace

extern "C" int pf_complain_unknown(Pf* pf, const char* where, const char* const* known,
                                   int nknown) {
    if (!pf || !where || !known || nknown < 0) return 0;
    const std::span<const char* const> names(known, static_cast<size_t>(nknown));
    int count = 0;
    try {
        for (const auto& [key, node] : pf->children) {
            const std::string& text = key;
            if (std::any_of(names.begin(), names.end(), [&](const char* k) { return text == k; }))
                continue;
            complain(*node, where, velorix::closest(text, names));
            ++count;
        }
    } catch (const std::bad_alloc&) {
        return count;
    }
    return count;
}
