#ifndef VELORIX_PLATFORM_ELOG_GUARD_H
#define VELORIX_PLATFORM_ELOG_GUARD_H
// Where C++ ends: no exception leaves a function that C calls.
#include <exception>

#include "platform/elog/elog.h"

namespace velorix {

/// What `body` returns; when it throws, which is for want of memory, `failed` after the line
/// "<who>: malloc() error." with the system's reason.
template <class Result, class Body>
Result guarded(const char* who, Result failed, Body body) {
    try {
        return body();
    } catch (const std::exception&) {
        elog_log(1, "%s: malloc() error.\n", who);
        return failed;
    }
}

}  // namespace velorix

#endif
