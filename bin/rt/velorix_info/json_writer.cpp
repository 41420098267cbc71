#include "json_writer.h"

#include <cmath>
#include <string>

#include "text.h"

namespace velorix::info {

void JsonWriter::separate() {
    if (after_key_) {
        after_key_ = false;
        return;
    }
    if (!first_) fputc(',', out_);
    if (depth_ > 0) fprintf(out_, "\n%*s", 2 * depth_, "");
    first_ = false;
}

void JsonWriter::value(std::string_view text) {
    separate();
    fwrite(text.data(), 1, text.size(), out_);
}

void JsonWriter::open(char bracket) {
    value(std::string_view(&bracket, 1));
    ++depth_;
    first_ = true;
}

void JsonWriter::close(char bracket) {
    --depth_;
    if (!first_) fprintf(out_, "\n%*s", 2 * depth_, "");
    fputc(bracket, out_);
    first_ = false;
    if (depth_ == 0) fputc('\n', out_);
}

void JsonWriter::key(std::string_view name) {
    value(json_string(name));
    fputs(": ", out_);
    after_key_ = true;
}

void JsonWriter::string(std::string_view text) { value(json_string(text)); }
void JsonWriter::integer(int64_t number) { value(std::to_string(number)); }
void JsonWriter::number(double value) {
    std::isfinite(value) ? this->value(shortest(value)) : null();
}
void JsonWriter::number(float value) {
    std::isfinite(value) ? this->value(shortest(value)) : null();
}
void JsonWriter::boolean(bool value) { this->value(value ? "true" : "false"); }
void JsonWriter::null() { value("null"); }

}  // namespace velorix::info
