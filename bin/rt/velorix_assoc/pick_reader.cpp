#include "pick_reader.h"

#include <cerrno>
#include <cstring>

#include "text.h"

namespace velorix::assoc {
namespace {

class EmptyReader : public PickReader {
  public:
    ReadResult next(Pick&, std::string&) override { return ReadResult::end; }
    const char* kind() const override { return "empty file"; }
};

constexpr long kSample = 4096;

// The columns of an arrival row that a comma-separated line can hardly meet by accident: blanks
// between fields, a time and an identifier where they belong.
bool looks_like_arrival(std::string_view line) {
    if (line.size() < 70) return false;
    for (size_t blank : {6u, 24u, 33u, 42u, 51u, 60u, 69u}) {
        if (line[blank] != ' ') return false;
    }
    return number(line.substr(7, 17)) && whole_number(line.substr(25, 8));
}

// TOML has "key = value" or "[table]" lines in front of anything else.
bool looks_like_toml(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = trim(text.substr(0, text.find('\n')));
        if (!line.empty() && line[0] != '#') {
            const size_t equals = line.find('=');
            return line[0] == '[' || (equals != line.npos && line.find(',') > equals);
        }
        const size_t end = text.find('\n');
        if (end == text.npos) break;
        text.remove_prefix(end + 1);
    }
    return false;
}

}  // namespace

bool LineSource::next(std::string& line) {
    // A NUL is part of the line, for the reader to refuse.
    line.clear();
    int c = 0;
    while (c != '\n' && (c = getc_unlocked(file_.file)) != EOF) line += static_cast<char>(c);
    if (line.empty()) return false;
    ++line_;
    open_end_ = line.back() != '\n';
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    return true;
}

std::string LineSource::place() const { return file_.name + ":" + std::to_string(line_); }

std::optional<std::string> whole_text(const PickFile& file) {
    std::rewind(file.file);
    std::string text;
    char buffer[65536];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file.file)) > 0;)
        text.append(buffer, n);
    if (std::ferror(file.file)) return std::nullopt;
    return text;
}

std::unique_ptr<PickReader> make_reader(const PickFile& file, std::string& error) {
    std::rewind(file.file);
    std::string sample(kSample, '\0');
    sample.resize(std::fread(sample.data(), 1, sample.size(), file.file));
    if (std::ferror(file.file)) {
        error = file.name + ": " + std::strerror(errno);
        return nullptr;
    }
    std::rewind(file.file);
    std::string_view text = sample;
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    text = trim(text);
    if (text.empty()) return std::make_unique<EmptyReader>();
    if (text.find('\0') != text.npos) {
        error = file.name + ": binary data, not a pick file";
        return nullptr;
    }
    if (text[0] == '<') return make_quakeml_reader(file, error);
    if (looks_like_arrival(sample.substr(0, sample.find('\n')))) return make_css_reader(file);
    if (looks_like_toml(text)) return make_toml_reader(file, error);
    return make_csv_reader(file, error);
}

}  // namespace velorix::assoc
