#include "platform/elog/elog.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>

#include "platform/elog/printable.h"

namespace {

// Everything the log remembers between calls.
struct LogState {
    std::recursive_mutex mutex;  // a hook may log or replace itself
    char program[64] = "velorix";
    elog_hook hook = nullptr;
    void* user = nullptr;
};

LogState& state() {
    // Never destroyed: lines may still be logged while static objects are being torn down. Never
    // allocated: the first line may be the one that says that memory has run out.
    alignas(LogState) static std::byte storage[sizeof(LogState)];
    static LogState* const instance = new (storage) LogState;
    return *instance;
}

// A formatted message: on the stack when it fits, else on the heap; cut short if memory fails. It
// quotes files of others, so nothing of it may reach a terminal as a command.
class Message {
  public:
    Message(const char* format, va_list arguments) {
        va_list again;
        va_copy(again, arguments);
        const int length = std::vsnprintf(small_, sizeof small_, format, arguments);
        if (length >= static_cast<int>(sizeof small_)) {
            const size_t size = static_cast<size_t>(length) + 1;
            large_.reset(new (std::nothrow) char[size]);
            if (large_) std::vsnprintf(large_.get(), size, format, again);
        } else if (length < 0) {
            std::snprintf(small_, sizeof small_, "%s", format);
        }
        va_end(again);
        char* written = large_ ? large_.get() : small_;
        velorix::make_printable({written, std::strlen(written)}, "\n\t");
    }
    const char* text() const { return large_ ? large_.get() : small_; }

  private:
    char small_[1024];
    std::unique_ptr<char[]> large_;
};

// Collects "program: text" lines for one write; what does not fit is written in pieces.
class LineWriter {
  public:
    void line(std::string_view program, std::string_view text) {
        if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
        for (const std::string_view part :
             {program, std::string_view(": "), text, std::string_view("\n")}) {
            append(part);
        }
    }
    void flush() {
        std::fwrite(buffer_, 1, used_, stderr);
        std::fflush(stderr);
        used_ = 0;
    }

  private:
    void append(std::string_view part) {
        while (!part.empty()) {
            const size_t count = part.copy(buffer_ + used_, sizeof buffer_ - used_);
            used_ += count;
            part.remove_prefix(count);
            if (used_ == sizeof buffer_) flush();
        }
    }

    char buffer_[4096];
    size_t used_ = 0;
};

// Lines never mix: one lock spans a message and its system error line, and they leave together.
void emit(int severity, int flag, int error, const char* message) {
    LogState& log = state();
    const std::lock_guard lock(log.mutex);
    if (log.hook) {
        log.hook(severity, flag, message, log.user);
        return;
    }
    LineWriter writer;
    writer.line(log.program, message);
    if (flag == 1) {
        char buffer[256];
        writer.line(log.program, strerror_r(error, buffer, sizeof buffer));
    }
    writer.flush();
}

int log_with_errno_kept(int severity, int flag, const char* format, va_list arguments) {
    const int error = errno;
    const Message message(format, arguments);
    emit(severity, flag, error, message.text());
    errno = error;
    return 0;
}

}  // namespace

extern "C" void elog_init(int argc, char* const* argv) {
    if (argc < 1 || !argv || !argv[0]) return;
    const char* slash = std::strrchr(argv[0], '/');
    LogState& log = state();
    const std::lock_guard lock(log.mutex);
    std::snprintf(log.program, sizeof log.program, "%s", slash ? slash + 1 : argv[0]);
    velorix::make_printable({log.program, std::strlen(log.program)});
}

extern "C" int elog_log(int flag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_with_errno_kept(ELOG_LOG, flag, format, arguments);
    va_end(arguments);
    return 0;
}

extern "C" int elog_complain(int flag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_with_errno_kept(ELOG_COMPLAIN, flag, format, arguments);
    va_end(arguments);
    return 0;
}

extern "C" void elog_die(int flag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_with_errno_kept(ELOG_DIE, flag, format, arguments);
    va_end(arguments);
    std::fflush(stdout);
    std::fflush(stderr);
    std::exit(1);
}

extern "C" void elog_set_hook(elog_hook hook, void* user) {
    LogState& log = state();
    const std::lock_guard lock(log.mutex);
    log.hook = hook;
    log.user = user;
}
