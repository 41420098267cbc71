#include "outgoing.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <utility>

#include "../support/say.h"
#include "../support/text_values.h"
#include "write_all.h"

namespace velorix::assoc {
namespace {

constexpr size_t kBuffer = 65536;

bool same_file(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

Outgoing::~Outgoing() {
    if (fd_ >= 0) close(fd_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

bool Outgoing::failed() const {
    return fail_with_errno(given_.empty() ? "cannot write standard output"
                                          : "cannot write '" + given_ + "'");
}

bool Outgoing::open(const std::vector<std::string>& inputs) {
    if (given_.empty()) {
        kind_ = Kind::stream;
        return true;
    }
    if (!look()) return failed();
    if (is_input(inputs)) {
        return fail("--out '" + given_ + "' is one of the files that are read");
    }
    if (kind_ == Kind::stream) return access(given_.c_str(), W_OK) == 0 || failed();
    return make_temporary() || failed();
}

// What the name stands for. Descriptors by name (/dev/stdout, /dev/fd/63) are written, whatever
// they lead to.
bool Outgoing::look() {
    struct stat info {};
    const bool there = stat(given_.c_str(), &info) == 0;
    const bool descriptor = given_.starts_with("/dev/fd/") || given_.starts_with("/dev/std") ||
                            given_.starts_with("/proc/");
    if (there && (descriptor || (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)))) {
        kind_ = Kind::stream;
        return true;
    }
    if (!there && errno != ENOENT) return false;  // a loop of links, a folder that is none
    if (there && S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        return false;
    }
    if (there) mode_ = info.st_mode & 0777;
    return resolve();
}

// A link leads to its file, there or not yet.
bool Outgoing::resolve() {
    constexpr int kMost = 40;
    target_ = given_;
    std::error_code none;
    for (int i = 0; std::filesystem::is_symlink(target_, none); ++i) {
        const auto to = std::filesystem::read_symlink(target_, none);
        if (none || i == kMost) {
            errno = ELOOP;
            return false;
        }
        target_ = (std::filesystem::path(target_).parent_path() / to).string();
    }
    return true;
}

bool Outgoing::is_input(const std::vector<std::string>& inputs) const {
    struct stat own {};
    if (kind_ != Kind::file || stat(target_.c_str(), &own) != 0) return false;
    return std::ranges::any_of(inputs, [&](const std::string& input) {
        struct stat other {};
        return stat(input.c_str(), &other) == 0 && same_file(own, other);
    });
}

// With the permissions of the file that it replaces, else those that the user's mask leaves.
bool Outgoing::make_temporary() {
    constexpr int kTries = 100;
    std::random_device random;
    for (int i = 0; i < kTries && fd_ < 0; ++i) {
        const std::string name = target_ + format(".%08x", static_cast<unsigned>(random()));
        fd_ = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ >= 0) temporary_ = name;
        if (fd_ < 0 && errno != EEXIST) return false;
    }
    return fd_ >= 0 && (!mode_ || fchmod(fd_, *mode_) == 0);
}

bool Outgoing::put(std::string_view text) {
    return kind_ == Kind::stream ? spool_.write(text) : write_all(fd_, text);
}

bool Outgoing::write(std::string_view text) {
    if (broken_) return false;
    buffer_ += text;
    if (buffer_.size() < kBuffer) return true;
    broken_ = !put(buffer_);
    buffer_.clear();
    return !broken_ || failed();
}

bool Outgoing::restart() {
    buffer_.clear();
    broken_ = false;
    if (kind_ == Kind::stream) {
        spool_.clear();
        return true;
    }
    return (ftruncate(fd_, 0) == 0 && lseek(fd_, 0, SEEK_SET) == 0) || failed();
}

bool Outgoing::finish(const std::string& heading) {
    if (broken_) return false;
    if (!put(buffer_)) return failed();
    buffer_.clear();
    if (kind_ == Kind::stream) {
        const int fd = given_.empty() ? STDOUT_FILENO
                                      : ::open(given_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) return failed();
        bool good = write_all(fd, heading) && spool_.copy_to(fd);
        const int reason = errno;
        if (!given_.empty() && close(fd) != 0) return failed();
        errno = reason;
        return good || failed();
    }
    // A file system that cannot wait has nothing to wait for.
    if (fsync(fd_) != 0 && errno != EINVAL && errno != EROFS) return failed();
    const int fd = std::exchange(fd_, -1);
    return close(fd) == 0 || failed();
}

bool Outgoing::set_aside() {
    if (kind_ != Kind::file || !mode_) return true;
    const std::string name = temporary_ + ".old";
    if (rename(target_.c_str(), name.c_str()) != 0) return errno == ENOENT || failed();
    aside_ = name;
    return true;
}

bool Outgoing::appear() {
    if (kind_ != Kind::file) return true;
    if (rename(temporary_.c_str(), target_.c_str()) != 0) return failed();
    temporary_.clear();
    appeared_ = true;
    return true;
}

void Outgoing::take_back() {
    if (appeared_) unlink(target_.c_str());
    appeared_ = false;
    if (!aside_.empty() && rename(aside_.c_str(), target_.c_str()) != 0) {
        fail_with_errno("what was in '" + target_ + "' is now in '" + aside_ + "'");
    }
    aside_.clear();
}

void Outgoing::settle() {
    if (!aside_.empty()) unlink(aside_.c_str());
    aside_.clear();
    if (kind_ != Kind::file) return;
    // The name itself is on the disk when the folder is.
    const std::string folder = std::filesystem::path(target_).parent_path().string();
    const int fd =
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0 || (fsync(fd) != 0 && errno != EINVAL && errno != EROFS)) {
        elog_complain(1, "the folder of '%s' may not be on the disk yet\n", given_.c_str());
    }
    if (fd >= 0) close(fd);
}

}  // namespace velorix::assoc
