#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "outgoing.h"
#include "write_all.h"

namespace velorix::assoc {
namespace {

constexpr size_t kInMemory = 1 << 20;

/// A descriptor of a file without a name, in the folder for temporary files. -1 with errno set.
int unnamed_file() {
    const char* folder = std::getenv("TMPDIR");
    std::string name = (folder && *folder ? folder : "/tmp") + std::string("/velorix.XXXXXX");
    const int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd >= 0) unlink(name.c_str());
    return fd;
}

}  // namespace

Spool::~Spool() { clear(); }

void Spool::clear() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    spilled_ = false;
    text_.clear();
}

bool Spool::write(std::string_view text) {
    text_ += text;
    return text_.size() < kInMemory || spill();
}

bool Spool::spill() {
    if (fd_ < 0) fd_ = unnamed_file();
    if (fd_ < 0 || !write_all(fd_, text_)) return false;
    spilled_ = true;
    text_.clear();
    return true;
}

bool Spool::copy_to(int fd) {
    if (spilled_) {
        if (lseek(fd_, 0, SEEK_SET) != 0) return false;
        std::string block(65536, '\0');
        for (;;) {
            const ssize_t n = ::read(fd_, block.data(), block.size());
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) return false;
            if (n == 0) break;
            if (!write_all(fd, std::string_view(block).substr(0, static_cast<size_t>(n)))) {
                return false;
            }
        }
    }
    return write_all(fd, text_);
}

}  // namespace velorix::assoc
