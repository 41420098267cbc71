#ifndef VELORIX_TESTS_FUZZ_H
#define VELORIX_TESTS_FUZZ_H
// What the fuzz programs share. A promise that does not hold ends the program, as a crash does.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/elog/elog.h"

namespace velorix_fuzz {

inline void require(bool holds) {
    if (!holds) __builtin_trap();
}

inline std::string_view text_of(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Counts log lines instead of writing them: every failure must have said something.
class Lines {
  public:
    Lines() { elog_set_hook(count, this); }
    ~Lines() { elog_set_hook(nullptr, nullptr); }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;
    int number() const { return number_; }

  private:
    static void count(int, int, const char* message, void* user) {
        require(message != nullptr && *message != '\0');
        ++static_cast<Lines*>(user)->number_;
    }
    int number_ = 0;
};

/// A folder for the files of one process.
inline const std::string& folder() {
    static const struct Folder {
        Folder() {
            path = (std::filesystem::temp_directory_path() / "velorix-fuzz-XXXXXX").string();
            require(mkdtemp(path.data()) != nullptr);
        }
        ~Folder() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
        std::string path;
    } made;
    return made.path;
}

/// Writes a file of that folder anew; returns its path.
inline std::string write_file(std::string_view name, std::string_view content) {
    const std::string path = folder() + "/" + std::string(name);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    return path;
}

}  // namespace velorix_fuzz
#endif
