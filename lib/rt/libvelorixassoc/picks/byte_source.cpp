#include "byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace velorix::assoc {
namespace {

constexpr size_t kBlock = 65536;
// A longer line is no pick, and an endless one would take all memory.
constexpr size_t kLongestLine = 1 << 20;

}  // namespace

std::unique_ptr<ByteSource> ByteSource::open(const std::string& path, std::string& error) {
    std::unique_ptr<ByteSource> source(new ByteSource);
    const bool standard = path == "-";
    source->name_ = standard ? "standard input" : path;
    source->fd_ = standard ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    source->close_ = !standard;
    struct stat info {};
    if (source->fd_ < 0 || fstat(source->fd_, &info) != 0) {
        error = source->name_ + ": " + std::strerror(errno);
        return nullptr;
    }
    if (S_ISREG(info.st_mode)) {
        const off_t at = lseek(source->fd_, 0, SEEK_CUR);
        source->size_ = info.st_size - std::max<off_t>(0, at);
    }
    return source;
}

std::unique_ptr<ByteSource> ByteSource::of_text(std::string text, std::string name) {
    std::unique_ptr<ByteSource> source(new ByteSource);
    source->name_ = std::move(name);
    source->buffer_ = std::move(text);
    source->ended_ = true;
    return source;
}

ByteSource::~ByteSource() {
    if (close_ && fd_ >= 0) close(fd_);
}

// More bytes behind those that are there; false at the end and after a failure.
bool ByteSource::fill() {
    if (ended_) return false;
    if (at_ > 0) {
        buffer_.erase(0, at_);
        at_ = 0;
    }
    const size_t old = buffer_.size();
    buffer_.resize(old + kBlock);
    ssize_t n = 0;
    do {
        n = ::read(fd_, buffer_.data() + old, kBlock);
    } while (n < 0 && errno == EINTR);
    buffer_.resize(old + static_cast<size_t>(std::max<ssize_t>(0, n)));
    if (n > 0) {
        taken_ += n;
        return true;
    }
    ended_ = true;
    if (n < 0) failure_ = name_ + ": " + std::strerror(errno);
    if (n == 0 && taken_ < size_) failure_ = name_ + ": shorter than when it was opened";
    return false;
}

std::string_view ByteSource::peek(size_t bytes) {
    while (buffer_.size() - at_ < bytes && fill()) {
    }
    return std::string_view(buffer_).substr(at_, bytes);
}

size_t ByteSource::read(char* to, size_t bytes) {
    if (at_ == buffer_.size() && !fill()) return 0;
    const size_t n = std::min(bytes, buffer_.size() - at_);
    std::memcpy(to, buffer_.data() + at_, n);
    at_ += n;
    return n;
}

ByteSource::Line ByteSource::next_line(std::string_view& line) {
    bool too_long = false;
    size_t end = buffer_.find('\n', at_);
    while (end == buffer_.npos) {
        size_t seen = buffer_.size() - at_;
        if (seen > kLongestLine) {
            too_long = true;
            at_ = buffer_.size();
            seen = 0;
        }
        if (!fill()) break;
        end = buffer_.find('\n', at_ + seen);
    }
    if (!failure_.empty()) return Line::failed;
    if (at_ == buffer_.size() && !too_long) return Line::end;
    ++line_;
    cut_ = end == buffer_.npos;
    line = std::string_view(buffer_).substr(at_, (cut_ ? buffer_.size() : end) - at_);
    at_ = cut_ ? buffer_.size() : end + 1;
    while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return too_long || line.size() > kLongestLine ? Line::too_long : Line::line;
}

std::string ByteSource::place() const { return name_ + ":" + std::to_string(line_); }

}  // namespace velorix::assoc
