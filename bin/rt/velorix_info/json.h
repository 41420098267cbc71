#ifndef VELORIX_INFO_JSON_H
#define VELORIX_INFO_JSON_H
// JSON (RFC 8259) that may be long: an array of objects to a stream, row by row.
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

namespace velorix::info {

using Json = nlohmann::ordered_json;

/// A number as it is stored, with as many digits as tell it apart, for a JsonStream to write; null
/// when it is not finite, which JSON has no text for.
Json json_number(double value);
Json json_number(float value);
/// A text of a file; what would reach a terminal as a command is escaped when it is written.
Json json_text(std::string_view text);

/// Writes the array of a run: begin, then for each grid its object and perhaps the rows of a list,
/// which becomes the object's last member.
class JsonStream {
  public:
    explicit JsonStream(FILE* out) : out_(out) {}
    void begin() { fputs("[", out_); }
    void begin_object(const Json& members);
    void begin_list(std::string_view name);
    void row(const Json& members);
    void end_list();
    void end_object();
    void end() { fputs(first_object_ ? "]\n" : "\n]\n", out_); }

  private:
    FILE* out_;
    bool first_object_ = true;
    bool first_row_ = true;
};

}  // namespace velorix::info
#endif
