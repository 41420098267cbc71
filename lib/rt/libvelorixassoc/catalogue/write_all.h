#ifndef VELORIX_ASSOC_WRITE_ALL_H
#define VELORIX_ASSOC_WRITE_ALL_H
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace velorix::assoc {

/// The whole text into a descriptor; false with errno set.
inline bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(fd, text.data(), text.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        text.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

}  // namespace velorix::assoc
#endif
