#ifndef VELORIX_ASSOC_OUTGOING_H
#define VELORIX_ASSOC_OUTGOING_H
// One document on its way to a file, a device or standard output.
#include <sys/stat.h>

#include <optional>
#include <string>

#include "../velorixassoc.h"

namespace velorix::assoc {

/// Text kept until it is wanted: small ones in memory, larger ones in an unnamed file.
class Spool {
  public:
    ~Spool();
    Spool() = default;
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    /// False with errno set.
    bool write(std::string_view text);
    /// Everything so far into a descriptor. False with errno set.
    bool copy_to(int fd);
    void clear();

  private:
    bool spill();

    std::string text_;
    int fd_ = -1;
    bool spilled_ = false;
};

/**
 * A document for a target of its own: a temporary file in the target's folder, removed unless it
 * takes the target's name. What is there already and is no file (a device, a pipe) gets the text at
 * the end, as it stands.
 */
class Outgoing : public Sink {
  public:
    /// @param target as given by the user; empty: standard output
    explicit Outgoing(std::string target) : given_(std::move(target)) {}
    ~Outgoing() override;
    Outgoing(const Outgoing&) = delete;
    Outgoing& operator=(const Outgoing&) = delete;

    /// False after a logged line, when it cannot be written there, or is one of the inputs.
    bool open(const std::vector<std::string>& inputs);
    bool write(std::string_view text) override;
    /// Starts anew. False after a logged line.
    bool restart();

    /// The text is whole: it is on the disk, or, where the target is no file, written. The heading
    /// goes in front where several documents share one stream.
    bool finish(const std::string& heading);
    /// What stands under the target's name gives way. False after a logged line.
    bool set_aside();
    /// The document takes the name. False after a logged line.
    bool appear();
    /// What stood there before is there again.
    void take_back();
    /// Nothing can go wrong any more: what stood there goes for good.
    void settle();

    bool to_file() const { return kind_ == Kind::file; }

  private:
    enum class Kind { file, stream };
    bool failed() const;
    bool look();
    bool resolve();
    bool is_input(const std::vector<std::string>& inputs) const;
    bool make_temporary();
    bool put(std::string_view text);

    std::string given_, target_, temporary_, aside_;
    Kind kind_ = Kind::file;
    std::optional<mode_t> mode_;  // of the file that is replaced
    int fd_ = -1;
    std::string buffer_;
    Spool spool_;
    bool broken_ = false, appeared_ = false;
};

}  // namespace velorix::assoc
#endif
