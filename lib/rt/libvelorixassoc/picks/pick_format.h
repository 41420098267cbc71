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

    std::string remark;  ///< of the last line, for the log: odd, and no reason to refuse it
};

/// What the first lines tell about the format.
struct Header {
    std::unique_ptr<LineFormat> format{};  ///< null: not known yet
    bool row = false;                      ///< the line is a row of it already
    std::string why{};     ///< what is wrong with it as a header; empty for a blank line
    bool comment = false;  ///< which may be wrong: a later line can be the header
};

/// Rows of a table whose columns are called as in a CSV file of picks.
class PickRows {
  public:
    PickRows();
    ~PickRows();
    /// Whether a column of this name (in lower case) is one that is read.
    static bool knows(std::string_view name);
    /// Takes the names of the columns; false with what is wrong.
    bool take_names(std::vector<std::string> names, std::string& why);
    /// A row's pick, from as many fields as there are names; false with what is wrong.
    bool take(const std::vector<std::string>& fields, Pick& pick, std::string& why) const;

  private:
    class Columns;
    std::unique_ptr<Columns> columns_;
};

/// Looks at a line in front of which no format was known.
Header recognise_line(std::string_view line, const PickFileOptions& options);

// One for each kind of line.
Header recognise_csv(std::string_view line);
bool looks_like_css(std::string_view line);
std::unique_ptr<LineFormat> make_css_format();
bool looks_like_json(std::string_view line);
std::unique_ptr<LineFormat> make_json_format();
// CSV of programs whose rows hold several picks; false, or nothing, when the header is not theirs.
bool looks_like_eqtransformer(std::string_view line);
Header recognise_eqtransformer(std::string_view line);
bool looks_like_phasenet_samples(std::string_view line);
Header recognise_phasenet_samples(std::string_view line, const PickFileOptions& options);
// Phases grouped by event.
bool looks_like_real_phases(std::string_view line);
std::unique_ptr<LineFormat> make_real_phase_format();
bool looks_like_hypodd(std::string_view line);
std::unique_ptr<LineFormat> make_hypodd_format();
bool looks_like_nonlinloc(std::string_view line);
std::unique_ptr<LineFormat> make_nonlinloc_format();
bool looks_like_hypoinverse(std::string_view line);
std::unique_ptr<LineFormat> make_hypoinverse_format();
/// Two-digit years: another layout under the same name.
bool looks_like_old_hypoinverse(std::string_view line);

/// REAL's picks of one station and phase, NET.STA.P.txt: the name says which, the folder the day.
bool is_real_pick_file(std::string_view path);
/// Null, with `error` set, when no day is known.
std::unique_ptr<LineFormat> make_real_pick_format(std::string_view path,
                                                  const PickFileOptions& options,
                                                  std::string& error);

// Kinds that are read as a whole or element by element. Null with `error` set.
/// Lines of a known format, or (null) of one that the first lines tell.
std::unique_ptr<PickReader> make_line_reader(std::unique_ptr<ByteSource> source,
                                             const PickFileOptions& options,
                                             std::unique_ptr<LineFormat> format);
std::unique_ptr<PickReader> make_quakeml_reader(std::unique_ptr<ByteSource> source,
                                                std::string& error);
std::unique_ptr<PickReader> make_toml_reader(std::unique_ptr<ByteSource> source,
                                             std::string& error);
/// The pick files in a folder as REAL and EQTransformer leave them, each day by time.
std::unique_ptr<PickReader> make_folder_reader(const std::string& folder,
                                               const PickFileOptions& options, std::string& error);

/// A reader that holds all picks of another and gives them in order of time.
std::unique_ptr<PickReader> make_sorted_reader(std::unique_ptr<PickReader> reader);

}  // namespace velorix::assoc
#endif
