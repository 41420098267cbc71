#ifndef VELORIX_ASSOC_WORDS_H
#define VELORIX_ASSOC_WORDS_H
// Lines of words between blanks, and of fields in fixed columns.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velorix::assoc {

/// " (column 12)": where a piece of a line begins, counted from 1 in bytes.
std::string at_column(std::string_view line, std::string_view piece);

/// The words of a line between blanks or tabs; views into it.
class Words {
  public:
    explicit Words(std::string_view line);
    size_t size() const { return words_.size(); }
    std::string_view operator[](size_t i) const { return words_[i]; }
    /// " (column 12)" of a word.
    std::string place(size_t i) const { return at_column(line_, words_[i]); }

    /// A word as a number; false with `why`, which calls it `what`.
    bool number(size_t i, const char* what, double& value, std::string& why) const;
    /// The same for a whole number of a range.
    bool whole(size_t i, const char* what, long long low, long long high, long long& value,
               std::string& why) const;
    /// Whether every word from one on, up to but not with another, is a number.
    bool all_numbers(size_t first, size_t end) const;

  private:
    std::string_view line_;
    std::vector<std::string_view> words_;
};

/// Fields of a line by columns, counted from 1 as format descriptions do; a line may end early.
class Columns {
  public:
    explicit Columns(std::string_view line) : line_(line) {}
    /// Untrimmed; shorter, or empty, where the line has ended.
    std::string_view raw(size_t first, size_t last) const;
    std::string text(size_t first, size_t last) const;
    bool blank(size_t first, size_t last) const;
    /// A number with so many implied decimals, which a point in the field overrules; blank is 0.
    std::optional<double> fixed(size_t first, size_t last, int decimals) const;
    /// A whole number; blank is 0.
    std::optional<long long> whole(size_t first, size_t last) const;

  private:
    std::string_view line_;
};

}  // namespace velorix::assoc
#endif
