#ifndef VELORIX_TESTS_SUPPORT_LOG_CAPTURE_H
#define VELORIX_TESTS_SUPPORT_LOG_CAPTURE_H
// Captures log lines while it lives; afterwards they go to standard error again.
#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "platform/elog/elog.h"

namespace velorix_test {

struct LogLine {
    int severity;
    int flag;
    std::string message;

    bool operator==(const LogLine&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << "{severity " << line.severity << ", flag " << line.flag << ", \"" << line.message
               << "\"}";
}

class LogCapture {
  public:
    LogCapture() { elog_set_hook(collect, this); }
    ~LogCapture() { elog_set_hook(nullptr, nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// The lines so far, in order.
    std::vector<LogLine> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    /// Their messages alone.
    std::vector<std::string> messages() const {
        std::vector<std::string> texts;
        for (const LogLine& line : lines()) texts.push_back(line.message);
        return texts;
    }
    /// All messages behind one another, for matching parts of them.
    std::string text() const {
        std::string all;
        for (const LogLine& line : lines()) all += line.message;
        return all;
    }
    size_t count() const { return lines().size(); }
    bool empty() const { return lines().empty(); }

  private:
    static void collect(int severity, int flag, const char* message, void* user) {
        auto* self = static_cast<LogCapture*>(user);
        const std::lock_guard lock(self->mutex_);
        self->lines_.push_back({severity, flag, message});
    }

    mutable std::mutex mutex_;
    std::vector<LogLine> lines_;
};

}  // namespace velorix_test
#endif
