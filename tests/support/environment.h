#ifndef VELORIX_TESTS_SUPPORT_ENVIRONMENT_H
#define VELORIX_TESTS_SUPPORT_ENVIRONMENT_H
// Process state that a test changes and that is put back afterwards.
#include <stdlib.h>

#include <filesystem>
#include <optional>
#include <string>

namespace velorix_test {

/// Sets (or, with null, removes) an environment variable while it lives.
class ScopedEnvironment {
  public:
    ScopedEnvironment(const char* name, const char* value) : name_(name) {
        if (const char* old = getenv(name)) old_ = old;
        assign(value);
    }
    ~ScopedEnvironment() { assign(old_ ? old_->c_str() : nullptr); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  private:
    void assign(const char* value) const {
        if (value) {
            setenv(name_.c_str(), value, 1);
        } else {
            unsetenv(name_.c_str());
        }
    }

    std::string name_;
    std::optional<std::string> old_;
};

/// Makes a folder the current one while it lives.
class ScopedCurrentFolder {
  public:
    explicit ScopedCurrentFolder(const std::filesystem::path& folder)
        : old_(std::filesystem::current_path()) {
        std::filesystem::current_path(folder);
    }
    ~ScopedCurrentFolder() {
        std::error_code ignored;
        std::filesystem::current_path(old_, ignored);
    }
    ScopedCurrentFolder(const ScopedCurrentFolder&) = delete;
    ScopedCurrentFolder& operator=(const ScopedCurrentFolder&) = delete;

  private:
    std::filesystem::path old_;
};

}  // namespace velorix_test
#endif
