#include "no_memory.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <new>

#include "platform/elog/elog.h"

namespace velorix::tool {
namespace {

[[noreturn]] void complain_and_end() {
    try {
        if (std::current_exception()) throw;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        elog_log(1, "malloc() error.\n");
        _exit(1);
    } catch (...) {
        // a fault of the program, which its trace is to show
    }
    std::abort();
}

}  // namespace

void end_when_memory_fails() { std::set_terminate(complain_and_end); }

}  // namespace velorix::tool
