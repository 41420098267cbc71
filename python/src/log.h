#ifndef VELORIX_PYTHON_LOG_H
#define VELORIX_PYTHON_LOG_H
// What the library logs becomes exceptions and warnings of Python.
#include <chrono>
#include <stdexcept>
#include <string>

namespace velorix::python {

/// Becomes velorix.VelorixError.
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A signal's handler has raised: Python's error is set.
class Interrupted {};

/// Takes over the library's log, for the life of the process.
void install_log();

/// Holds what is logged while one call into the library runs on this thread.
class LogScope {
  public:
    LogScope();
    ~LogScope();
    LogScope(const LogScope&) = delete;
    LogScope& operator=(const LogScope&) = delete;

    /// The lines so far, as a failure to throw; `otherwise` when there are none.
    Failure failure(const char* otherwise) const;
    /// Makes each complaint so far a VelorixWarning. REQUIRES: the interpreter's lock.
    void warn();
    void take(int severity, const std::string& line);

  private:
    std::string lines_, complaints_;
    LogScope* outer_;
};

/// Asks now and then, in a long call without the interpreter's lock, whether to go on.
class Patience {
  public:
    /// Throws Interrupted after a KeyboardInterrupt or the like.
    void check();

  private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point last_ = Clock::now();
};

}  // namespace velorix::python
#endif
