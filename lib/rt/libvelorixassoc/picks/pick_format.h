#ifndef VELORIX_ASSOC_PICK_FORMAT_H
#define VELORIX_ASSOC_PICK_FORMAT_H
// The kinds of pick files: one maker each, and what those whose rows are lines have in common.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "../velorixassoc.h"
#include "byte_source.h"

namespace velorix::assoc {

/// A kind of file whose rows are lines.
class LineFormat {
  public:
    virtual ~LineFormat() = default;
    /**
     * Takes a line behind the header.
     * @param[in]  cut   the line has no end: the file may have been cut there
     * @param[out] picks what the line holds is appended; a blank or a comment holds nothing
     * @param[out] why   what is wrong, when the result is false
     */
    virtual bool take(std::string_view line, bool cut, std::vector<Pick>& picks,
                      std::string& why) = 0;
    virtual const char* kind() const = 0;
};

/// What the first lines tell about the format.
struct Header {
    std::unique_ptr<LineFormat> format{};  ///< null: not known yet
    bool row = false;                      ///< the line is a row of it already
    std::string why{};     ///< what is wrong with it as a header; empty for a blank line
    bool comment = false;  ///< which may be wrong: a later line can be the header
};

/// Looks at a line in front of which no format was known.
Header recognise_line(std::string_view line);

// One for each kind of line.
Header recognise_csv(std::string_view line);
bool looks_like_css(std::string_view line);
std::unique_ptr<LineFormat> make_css_format();

// Kinds that are read as a whole or element by element. Null with `error` set.
std::unique_ptr<PickReader> make_line_reader(std::unique_ptr<ByteSource> source);
std::unique_ptr<PickReader> make_quakeml_reader(std::unique_ptr<ByteSource> source,
                                                std::string& error);
std::unique_ptr<PickReader> make_toml_reader(std::unique_ptr<ByteSource> source,
                                             std::string& error);

/// A reader that holds all picks of another and gives them in order of time.
std::unique_ptr<PickReader> make_sorted_reader(std::unique_ptr<PickReader> reader);

}  // namespace velorix::assoc
#endif
