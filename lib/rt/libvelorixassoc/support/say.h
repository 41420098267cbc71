#ifndef VELORIX_ASSOC_SAY_H
#define VELORIX_ASSOC_SAY_H
// Messages, through the error log.
#include <string>

#include "platform/elog/elog.h"

namespace velorix::assoc {

/// Logs a line and is false, for `return fail(...)`.
inline bool fail(const std::string& message) {
    elog_log(0, "%s\n", message.c_str());
    return false;
}
/// The same with the system's own words for errno behind it.
inline bool fail_with_errno(const std::string& message) {
    elog_log(1, "%s\n", message.c_str());
    return false;
}
inline void complain(const std::string& message) { elog_complain(0, "%s\n", message.c_str()); }

}  // namespace velorix::assoc
#endif
