#ifndef VELORIX_ASSOC_LINE_FEED_H
#define VELORIX_ASSOC_LINE_FEED_H
// Lines of a stream or of a file that grows, as they come.
#include <string>
#include <string_view>

namespace velorix::assoc {

class LineFeed {
  public:
    LineFeed() = default;
    ~LineFeed();
    LineFeed(const LineFeed&) = delete;
    LineFeed& operator=(const LineFeed&) = delete;

    /// "-" is standard input. False after a logged line.
    bool open(const std::string& path);

    enum class Next {
        line,
        waiting,  ///< none has come in the time given
        end,      ///< of a stream: a file may always grow
        failed    ///< after a logged line
    };
    /// The next whole line, valid until the next call; waits up to so many milliseconds.
    Next next(std::string_view& line, int milliseconds);
    const std::string& name() const { return name_; }

  private:
    bool take_line(std::string_view& line);
    Next wait(int milliseconds) const;
    Next read_more();

    std::string name_, buffer_;
    int fd_ = -1;
    bool grows_ = false, ended_ = false;
    long long taken_ = 0;
    size_t at_ = 0;
};

}  // namespace velorix::assoc
#endif
