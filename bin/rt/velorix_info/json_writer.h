#ifndef VELORIX_INFO_JSON_WRITER_H
#define VELORIX_INFO_JSON_WRITER_H
// JSON (RFC 8259) to a stream, value by value.
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace velorix::info {

class JsonWriter {
  public:
    explicit JsonWriter(FILE* out) : out_(out) {}

    void begin_object() { open('{'); }
    void end_object() { close('}'); }
    void begin_array() { open('['); }
    void end_array() { close(']'); }
    /// The name of the next value of an object.
    void key(std::string_view name);

    void string(std::string_view text);
    void integer(int64_t value);
    /// Null when the value is not finite, which JSON has no text for.
    void number(double value);
    void number(float value);
    void boolean(bool value);
    void null();

  private:
    void open(char bracket);
    void close(char bracket);
    void value(std::string_view text);
    void separate();

    FILE* out_;
    int depth_ = 0;
    bool first_ = true;  // nothing yet in the innermost bracket
    bool after_key_ = false;
};

}  // namespace velorix::info
#endif
