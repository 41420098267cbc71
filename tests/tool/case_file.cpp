#include "case_file.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "synthetic_grids.h"

namespace velorix_test {
namespace {

std::vector<std::string> split(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

int hex_digit(char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

std::string unescaped(const std::string& line) {
    std::string out;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\') {
            out += line[i];
            continue;
        }
        const char kind = line.at(++i);
        if (kind == 'x') {
            out += static_cast<char>(hex_digit(line.at(i + 1)) * 16 + hex_digit(line.at(i + 2)));
            i += 2;
        } else {
            out += kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind;
        }
    }
    return out;
}

/// Replaces the line of a key, or removes it when `line` is empty.
void edit(std::string& toml, const std::string& key, const std::string& line) {
    std::istringstream in(toml);
    std::string edited;
    bool found = false;
    for (std::string old; std::getline(in, old);) {
        if (!old.starts_with(key + " ")) {
            edited += old + '\n';
        } else if (!line.empty()) {
            edited += line + '\n';
            found = true;
        }
    }
    toml = edited + (found || line.empty() ? "" : line + '\n');
}

Output output_kind(const std::string& name) {
    if (name == "full-device") return Output::full_device;
    if (name == "pipe-without-reader") return Output::pipe_without_reader;
    if (name == "closed") return Output::closed;
    throw std::runtime_error("unknown output " + name);
}

class Reader {
  public:
    void line(const std::string& line) {
        if (line.starts_with("== ")) {
            start_case(line.substr(3));
        } else if (line.starts_with("@")) {
            directive(line);
        } else if (text_) {
            *text_ += escaped_ ? unescaped(line) : line + '\n';
        } else if (!line.empty() && line[0] != '#') {
            throw std::runtime_error("unexpected '" + line + "'");
        }
    }
    std::vector<Case> finish() { return std::move(cases_); }

  private:
    Case& current() { return cases_.empty() ? shared_ : cases_.back(); }

    void start_case(const std::string& name) {
        Case fresh = shared_;
        fresh.name = name;
        cases_.push_back(std::move(fresh));
        text_ = nullptr;
    }

    void start_text(std::string& text, bool escaped = false) {
        text.clear();
        text_ = &text;
        escaped_ = escaped;
    }

    void directive(const std::string& line) {
        const size_t space = std::min(line.find(' '), line.size());
        const std::string name = line.substr(0, space);
        const std::string rest = line.substr(std::min(space + 1, line.size()));
        text_ = nullptr;
        if (!text_directive(name, rest) && !value_directive(name, rest))
            throw std::runtime_error("unknown directive " + name);
    }

    bool text_directive(const std::string& name, const std::string& rest) {
        Case& c = current();
        if (name == "@file" || name == "@bytes") {
            start_text(c.files[rest], name == "@bytes");
        } else if (name == "@out" || name == "@err") {
            start_text(name == "@out" ? c.out : c.err);
        } else {
            return false;
        }
        return true;
    }

    bool value_directive(const std::string& name, const std::string& rest) {
        Case& c = current();
        std::vector<std::string> words = split(rest);
        std::string& toml = c.files["velorix.toml"];
        if (name == "@run") {
            c.command.words = std::move(words);
        } else if (name == "@before") {
            c.before.emplace_back(words.at(0),
                                  std::vector<std::string>(words.begin() + 1, words.end()));
        } else if (name == "@set" || name == "@drop") {
            edit(toml, words.at(0), name == "@set" ? rest : "");
        } else if (name == "@heap") {
            c.files[words.at(0)] = synthetic_grids(words.at(1));
        } else if (name == "@folder") {
            c.folders.push_back(rest);
        } else if (name == "@env") {
            c.command.environment.push_back(rest);
        } else if (name == "@in") {
            c.input_file = rest;
        } else if (name == "@to") {
            c.command.output = output_kind(rest);
        } else if (name == "@grids") {
            c.grids = std::move(words);
        } else if (name == "@status") {
            c.status = std::stoi(rest);
        } else {
            return false;
        }
        return true;
    }

    Case shared_;
    std::vector<Case> cases_;
    std::string* text_ = nullptr;  // receives the lines of a text directive
    bool escaped_ = false;
};

std::vector<Case> read_case_file(const std::filesystem::path& path) {
    std::ifstream in(path);
    Reader reader;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        try {
            reader.line(line);
        } catch (const std::exception& error) {
            throw std::runtime_error(path.string() + ":" + std::to_string(number) + ": " +
                                     error.what());
        }
    }
    std::vector<Case> cases = reader.finish();
    for (Case& c : cases) c.name = path.stem().string() + "_" + c.name;
    return cases;
}

}  // namespace

std::vector<Case> read_cases(const std::string& folder) {
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".txt") paths.push_back(entry.path());
    }
    std::ranges::sort(paths);
    std::vector<Case> all;
    for (const auto& path : paths) {
        for (Case& c : read_case_file(path)) all.push_back(std::move(c));
    }
    return all;
}

}  // namespace velorix_test
