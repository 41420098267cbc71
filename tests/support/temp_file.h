#ifndef VELORIX_TESTS_SUPPORT_TEMP_FILE_H
#define VELORIX_TESTS_SUPPORT_TEMP_FILE_H
// Folders and files that vanish with the test.
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velorix_test {

/// The bytes of a file; throws when it cannot be read.
inline std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(in), {}};
}

/// A fresh folder, removed with all that is in it.
class TempFolder {
  public:
    TempFolder() {
        std::string name =
            (std::filesystem::temp_directory_path() / "velorix-test-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("cannot create " + name);
        path_ = name;
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string path(std::string_view name) const { return (path_ / name).string(); }
    /// Writes a file of this folder, creating folders on the way; returns its path.
    std::string write(std::string_view name, std::string_view content) const {
        const std::filesystem::path file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream out(file, std::ios::binary);
        out.write(content.data(), static_cast<std::streamsize>(content.size()));
        if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
        return file.string();
    }

  private:
    std::filesystem::path path_;
};

/// One file in a folder of its own.
class TempFile {
  public:
    explicit TempFile(std::string_view content, std::string_view name = "file")
        : path_(folder_.write(name, content)) {}

    const std::string& path() const { return path_; }
    const char* c_str() const { return path_.c_str(); }

  private:
    TempFolder folder_;
    std::string path_;
};

}  // namespace velorix_test
#endif
