#ifndef VELORIX_ASSOC_COLUMNS_H
#define VELORIX_ASSOC_COLUMNS_H
// JSON by columns: what a page needs of half a million picks as arrays of whole numbers, which a
// browser reads without an object for each pick.
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace velorix::assoc {

/// A text in quotes. No character is left with which a page that holds it could take it for markup.
std::string json_text(std::string_view text);

/// An array of numbers that grows.
class Column {
  public:
    void add(int64_t value);
    /// In whole units of 1 / parts; null when it is not finite or has no place in 53 bits.
    void add(double value, double parts);
    size_t size() const { return size_; }
    std::string json() const { return "[" + text_ + "]"; }

  private:
    void separate() {
        if (size_++ > 0) text_ += ',';
    }
    std::string text_;
    size_t size_ = 0;
};

/// Every text once; the columns hold numbers. Number 0 is the empty text.
class Texts {
  public:
    Texts() { number(""); }
    int64_t number(const std::string& text);
    std::string json() const { return "[" + text_ + "]"; }

  private:
    std::unordered_map<std::string, int64_t> known_;
    std::string text_;
};

/// Members of a JSON object, in order.
class Members {
  public:
    /// `value` is JSON.
    Members& add(std::string_view name, std::string_view value);
    std::string json() const { return "{" + text_ + "}"; }

  private:
    std::string text_;
};

}  // namespace velorix::assoc
#endif
