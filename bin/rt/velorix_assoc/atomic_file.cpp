// Writing that leaves either the whole catalogue or what was there before.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "output.h"
#include "platform/elog/elog.h"
#include "text.h"

namespace velorix::assoc {
namespace {

/// A temporary file in the folder of its target; removed unless renamed.
class Temporary {
  public:
    explicit Temporary(std::string target) : target_(std::move(target)) {}
    Temporary(Temporary&& other) noexcept
        : target_(std::move(other.target_)), name_(std::move(other.name_)) {
        other.name_.clear();
    }
    ~Temporary() {
        if (!name_.empty()) unlink(name_.c_str());
    }
    Temporary& operator=(Temporary&&) = delete;

    bool write(const std::string& text);
    bool rename_to_target();

  private:
    bool failed(const char* what) const {
        elog_log(1, "velorix-assoc: cannot %s '%s'\n", what, target_.c_str());
        return false;
    }
    static bool write_all(int fd, const std::string& text);

    std::string target_, name_;
};

bool Temporary::write_all(int fd, const std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        done += static_cast<size_t>(n);
    }
    return fsync(fd) == 0 || errno == EINVAL;
}

bool Temporary::write(const std::string& text) {
    std::string name = target_ + ".XXXXXX";
    const int fd = mkstemp(name.data());
    if (fd < 0) return failed("write");
    name_ = name;
    const mode_t mask = umask(0);
    umask(mask);
    bool good = fchmod(fd, 0666 & ~mask) == 0 && write_all(fd, text);
    const int reason = errno;
    if (close(fd) != 0) good = false;
    if (!good && reason != 0) errno = reason;
    return good || failed("write");
}

bool Temporary::rename_to_target() {
    if (rename(name_.c_str(), target_.c_str()) != 0) return failed("write");
    name_.clear();
    return true;
}

std::string target_of(const std::string& path, const std::string& suffix) {
    if (suffix.starts_with('.') || !path.ends_with(".csv")) return path + suffix;
    return path.substr(0, path.size() - 4) + suffix + ".csv";
}

}  // namespace

bool write_documents(const std::vector<Document>& documents, const std::string& path) {
    std::vector<Temporary> files;
    for (const Document& document : documents) {
        files.emplace_back(target_of(path, document.suffix));
        if (!files.back().write(document.text)) return false;
    }
    for (Temporary& file : files) {
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
    if (good && std::fflush(stdout) == 0) return true;
    elog_log(1, "velorix-assoc: cannot write standard output\n");
    return false;
}

}  // namespace velorix::assoc
