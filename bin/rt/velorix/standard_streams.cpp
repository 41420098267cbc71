#include "standard_streams.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

namespace velorix::tool {
namespace {

/// Puts something harmless in the place of a closed descriptor; open takes the lowest free number.
void occupy(int fd, int flags) {
    if (fcntl(fd, F_GETFD) != -1) return;
    const int opened = open("/dev/null", flags);
    if (opened != -1 && opened != fd) close(opened);
}

}  // namespace

void occupy_standard_streams() {
    occupy(STDIN_FILENO, O_RDONLY);
    occupy(STDOUT_FILENO, O_RDONLY);  // a write fails, as it would on the closed descriptor
    occupy(STDERR_FILENO, O_WRONLY);
}

void prepare_standard_streams() {
    signal(SIGPIPE, SIG_IGN);
    occupy_standard_streams();
}

bool write_block(const void* data, size_t nbytes) {
    return fwrite(data, 1, nbytes, stdout) == nbytes && fflush(stdout) == 0;
}

bool close_output() {
    if (fflush(stdout) != 0 || ferror(stdout)) return false;
    return close(STDOUT_FILENO) == 0 || errno == EINTR;  // Linux has closed it then
}

}  // namespace velorix::tool
