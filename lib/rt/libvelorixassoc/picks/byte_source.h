#ifndef VELORIX_ASSOC_BYTE_SOURCE_H
#define VELORIX_ASSOC_BYTE_SOURCE_H
// The bytes of a file, a pipe or a text in memory, read once from start to end.
#include <memory>
#include <string>
#include <string_view>

namespace velorix::assoc {

class ByteSource {
  public:
    /// Opens a file; "-" is standard input. Null, with `error` set, when that fails.
    static std::unique_ptr<ByteSource> open(const std::string& path, std::string& error);
    static std::unique_ptr<ByteSource> of_text(std::string text, std::string name);
    ~ByteSource();
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;

    /// What messages call it.
    const std::string& name() const { return name_; }

    /// The first bytes, up to so many, which stay to be read.
    std::string_view peek(size_t bytes);

    /// Up to `bytes` bytes; 0 at the end and after a failure.
    size_t read(char* to, size_t bytes);

    enum class Line {
        line,
        end,
        too_long,  ///< passed over, up to its end
        failed
    };
    /// The next line without its end (LF, CR LF, CR CR LF); valid until the next call. At the end
    /// of the file one without an end is handed over too.
    Line next_line(std::string_view& line);
    /// The last line had no end: the file may have been cut.
    bool cut() const { return cut_; }
    /// "NAME:LINE" of the last line.
    std::string place() const;

    /// Why reading failed, empty when it did not.
    const std::string& failure() const { return failure_; }

  private:
    ByteSource() = default;
    bool fill();

    std::string name_;
    int fd_ = -1;
    bool close_ = false;
    long long size_ = -1;  // of a regular file when it was opened
    long long taken_ = 0;  // bytes that have come
    std::string buffer_;
    size_t at_ = 0;  // of the first byte not consumed
    bool ended_ = false, cut_ = false;
    long line_ = 0;
    std::string failure_;
};

}  // namespace velorix::assoc
#endif
