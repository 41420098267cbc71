#include "mapped_files.h"

#include <errno.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

namespace velorix::tool {
namespace {

// Only what may be called in a signal handler.
void complain_and_end(int) {
    constexpr char message[] =
        ": a grid file was shortened or cannot be read any more while in use\n";
    if (write(STDERR_FILENO, program_invocation_short_name, strlen(program_invocation_short_name)) <
            0 ||
        write(STDERR_FILENO, message, sizeof message - 1) < 0) {
        _exit(2);
    }
    _exit(1);
}

}  // namespace

void end_when_mapped_file_is_lost() {
    struct sigaction action {};
    action.sa_handler = complain_and_end;
    sigaction(SIGBUS, &action, nullptr);
}

}  // namespace velorix::tool
