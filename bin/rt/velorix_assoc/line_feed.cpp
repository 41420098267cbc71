#include "line_feed.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "support/say.h"

namespace velorix::assoc {
namespace {

constexpr size_t kBlock = 65536;
constexpr size_t kLongestLine =
    1 << 20;  // a longer one is no pick, an endless one takes all memory

}  // namespace

LineFeed::~LineFeed() {
    if (fd_ > STDIN_FILENO) close(fd_);
}

bool LineFeed::open(const std::string& path) {
    name_ = path == "-" ? "standard input" : path;
    fd_ = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    struct stat info {};
    if (fd_ < 0 || fstat(fd_, &info) != 0) return fail_with_errno("cannot read '" + name_ + "'");
    grows_ = path != "-" && S_ISREG(info.st_mode);
    return true;
}

bool LineFeed::take_line(std::string_view& line) {
    size_t end = buffer_.find('\n', at_);
    if (end == buffer_.npos && ended_ && at_ < buffer_.size()) end = buffer_.size();
    if (end == buffer_.npos) return false;
    line = std::string_view(buffer_).substr(at_, end - at_);
    at_ = std::min(buffer_.size(), end + 1);
    return true;
}

// A file always says that it can be read, so that its end is looked at again after a while.
LineFeed::Next LineFeed::wait(int milliseconds) const {
    if (grows_) {
        constexpr int kLook = 100;  // ms
        poll(nullptr, 0, std::min(kLook, milliseconds));
        return Next::waiting;
    }
    pollfd waiting{fd_, POLLIN, 0};
    const int ready = poll(&waiting, 1, milliseconds);
    if (ready < 0 && errno != EINTR) {
        fail_with_errno("cannot read '" + name_ + "'");
        return Next::failed;
    }
    return ready > 0 ? Next::line : Next::waiting;
}

LineFeed::Next LineFeed::read_more() {
    buffer_.erase(0, at_);
    at_ = 0;
    if (buffer_.size() > kLongestLine) {
        fail(name_ + ": a line of more than a million bytes");
        return Next::failed;
    }
    const size_t old = buffer_.size();
    buffer_.resize(old + kBlock);
    const ssize_t n = ::read(fd_, buffer_.data() + old, kBlock);
    const int reason = errno;
    buffer_.resize(old + static_cast<size_t>(n > 0 ? n : 0));
    taken_ += n > 0 ? n : 0;
    if (n > 0) return Next::line;
    if (n < 0 && reason == EINTR) return Next::waiting;
    errno = reason;
    struct stat info {};
    if (n < 0 || (grows_ && fstat(fd_, &info) != 0)) {
        fail_with_errno("cannot read '" + name_ + "'");
        return Next::failed;
    }
    if (grows_ && info.st_size < taken_) {
        fail(name_ + ": shorter than what has been read of it");
        return Next::failed;
    }
    ended_ = !grows_;
    return grows_ ? Next::waiting : Next::end;
}

LineFeed::Next LineFeed::next(std::string_view& line, int milliseconds) {
    for (;;) {
        if (take_line(line)) return Next::line;
        if (ended_) return Next::end;
        if (!grows_) {
            const Next ready = wait(milliseconds);
            if (ready != Next::line) return ready;
        }
        const Next more = read_more();
        if (more == Next::waiting && grows_) return wait(milliseconds);
        if (more == Next::waiting || more == Next::failed) return more;
    }
}

}  // namespace velorix::assoc
