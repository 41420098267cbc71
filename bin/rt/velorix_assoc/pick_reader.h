#ifndef VELORIX_ASSOC_PICK_READER_H
#define VELORIX_ASSOC_PICK_READER_H
// Pick files of several kinds, told apart by looking at them, read one pick at a time.
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "pick.h"

namespace velorix::assoc {

/// What next() met.
enum class ReadResult { pick, end, bad };

class PickReader {
  public:
    virtual ~PickReader() = default;
    /// The next pick; after `bad` the caller may go on behind the bad record. `error` says file,
    /// line and what is wrong.
    virtual ReadResult next(Pick& pick, std::string& error) = 0;
    /// The kind of file, for the report.
    virtual const char* kind() const = 0;
};

/// An open file and its name for messages.
struct PickFile {
    std::string name;
    std::FILE* file = nullptr;
};

/**
 * A reader from the start of an open file, which stays the caller's.
 * @return null, with `error` set, when the file is of no known kind; an empty file gives a reader
 *         that ends at once
 */
std::unique_ptr<PickReader> make_reader(const PickFile& file, std::string& error);

// One maker per kind.
std::unique_ptr<PickReader> make_csv_reader(const PickFile& file, std::string& error);
std::unique_ptr<PickReader> make_css_reader(const PickFile& file);
std::unique_ptr<PickReader> make_quakeml_reader(const PickFile& file, std::string& error);
std::unique_ptr<PickReader> make_toml_reader(const PickFile& file, std::string& error);

/// Lines of a file with their numbers; a line without its end at the end of the file is handed
/// over.
class LineSource {
  public:
    explicit LineSource(const PickFile& file) : file_(file) {}
    bool next(std::string& line);
    /// "FILE:LINE".
    std::string place() const;
    bool ended_without_newline() const { return open_end_; }

  private:
    PickFile file_;
    long line_ = 0;
    bool open_end_ = false;
};

/// Whole text from the start of a file; nothing when it cannot be read.
std::optional<std::string> whole_text(const PickFile& file);

}  // namespace velorix::assoc
#endif
