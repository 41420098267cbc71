// Writing that leaves either the whole catalogue or what was there before.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "output.h"
#include "platform/elog/elog.h"
#include "text.h"

namespace velorix::assoc {
namespace {

/// A file on its way: a temporary one in the folder of its target, removed unless renamed. What is
/// there already and is no file (a device, a pipe) is written as it stands.
class Outgoing {
  public:
    explicit Outgoing(const std::string& target) : given_(target), target_(target) {}
    Outgoing(Outgoing&& other) noexcept
        : given_(std::move(other.given_)),
          target_(std::move(other.target_)),
          name_(std::move(other.name_)),
          mode_(other.mode_) {
        other.name_.clear();
    }
    ~Outgoing() {
        if (!name_.empty()) unlink(name_.c_str());
    }
    Outgoing& operator=(Outgoing&&) = delete;

    /// Whether write can succeed, as far as that can be told beforehand.
    bool probe();
    bool write(const std::string& text);
    bool rename_to_target();

  private:
    enum class Kind { file, special, wrong };
    Kind look();
    void follow_links();
    int make_temporary();
    bool write_to(int fd, const std::string& text);
    bool failed() const {
        elog_log(1, "cannot write '%s'\n", given_.c_str());
        return false;
    }

    std::string given_, target_, name_;
    std::optional<mode_t> mode_;  // of the file that is replaced
};

bool write_all(int fd, const std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

Outgoing::Kind Outgoing::look() {
    struct stat info {};
    follow_links();
    if (stat(target_.c_str(), &info) != 0) return Kind::file;
    mode_ = info.st_mode & 0777;
    if (S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        return Kind::wrong;
    }
    return S_ISREG(info.st_mode) ? Kind::file : Kind::special;
}

// A link leads to its file, there or not yet.
void Outgoing::follow_links() {
    constexpr int kMost = 40;
    std::error_code none;
    for (int i = 0; i < kMost && std::filesystem::is_symlink(target_, none); ++i) {
        const auto to = std::filesystem::read_symlink(target_, none);
        if (none) return;
        target_ = (std::filesystem::path(target_).parent_path() / to).string();
    }
}

int Outgoing::make_temporary() {
    std::string name = target_ + ".XXXXXX";
    const int fd = mkstemp(name.data());
    if (fd >= 0) name_ = name;
    return fd;
}

bool Outgoing::probe() {
    const Kind kind = look();
    if (kind == Kind::special) return access(target_.c_str(), W_OK) == 0 || failed();
    const int fd = kind == Kind::file ? make_temporary() : -1;
    if (fd < 0) return failed();
    close(fd);
    return true;
}

bool Outgoing::write_to(int fd, const std::string& text) {
    bool good = write_all(fd, text);
    // A device has nothing to wait for.
    good = good && (fsync(fd) == 0 || errno == EINVAL || errno == EROFS);
    const int reason = errno;
    if (close(fd) != 0) good = false;
    if (!good && reason != 0) errno = reason;
    return good || failed();
}

bool Outgoing::write(const std::string& text) {
    const Kind kind = look();
    if (kind == Kind::wrong) return failed();
    const bool special = kind == Kind::special;
    const int fd = special ? open(target_.c_str(), O_WRONLY | O_NOCTTY) : make_temporary();
    if (fd < 0) return failed();
    const mode_t mask = umask(0);
    umask(mask);
    if (!special && fchmod(fd, mode_.value_or(0666 & ~mask)) != 0) {
        close(fd);
        return failed();
    }
    return write_to(fd, text);
}

bool Outgoing::rename_to_target() {
    if (name_.empty()) return true;
    if (rename(name_.c_str(), target_.c_str()) != 0) return failed();
    name_.clear();
    return true;
}

std::string target_of(const std::string& path, const std::string& suffix) {
    if (suffix.starts_with('.') || !path.ends_with(".csv")) return path + suffix;
    return path.substr(0, path.size() - 4) + suffix + ".csv";
}

}  // namespace

bool can_write_documents(const std::vector<Document>& documents, const std::string& path) {
    for (const Document& document : documents) {
        if (!Outgoing(target_of(path, document.suffix)).probe()) return false;
    }
    return true;
}

bool write_documents(const std::vector<Document>& documents, const std::string& path) {
    std::vector<Outgoing> files;
    for (const Document& document : documents) {
        files.emplace_back(target_of(path, document.suffix));
        if (!files.back().write(document.text)) return false;
    }
    for (Outgoing& file : files) {
        if (!file.rename_to_target()) return false;
    }
    return true;
}

bool print_documents(const std::vector<Document>& documents) {
    bool good = true;
    for (const Document& document : documents) {
        if (documents.size() > 1) {
            good = good && std::printf("%s# %s\n", &document == &documents[0] ? "" : "\n",
                                       document.suffix.empty() ? "events"
                                                               : document.suffix.c_str() + 1) >= 0;
        }
        good = good && std::fwrite(document.text.data(), 1, document.text.size(), stdout) ==
                           document.text.size();
    }
    return flush_output() && good;
}

bool flush_output() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
    elog_log(1, "cannot write standard output\n");
    return false;
}

}  // namespace velorix::assoc
