#include "case_file.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "synthetic_grids.h"

namespace velorix_test {
namespace {

constexpr const char* kParameters = "velorix.toml";

std::vector<std::string> split(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

std::string unescaped(const std::string& line) {
    std::string out;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\') {
            out += line[i];
            continue;
        }
        const char kind = line.at(++i);
        if (kind == 'x') {
            out += static_cast<char>(std::stoi(line.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind;
        }
    }
    return out;
}

/// Replaces the line of a key or adds one at the end; removes it when `line` is empty.
void edit(std::string& toml, const std::string& key, const std::string& line) {
    const size_t at = std::min(('\n' + toml).find('\n' + key + ' '), toml.size());
    const size_t end = std::min(toml.find('\n', at), toml.size() - 1) + 1;
    toml.replace(at, end - at, line.empty() ? line : line + '\n');
}

const std::map<std::string, Output> kOutputs{{"full-device", Output::full_device},
                                             {"pipe-without-reader", Output::pipe_without_reader},
                                             {"closed", Output::closed}};

/// What the rest of a directive's line does to its case.
const std::map<std::string, std::function<void(Case&, const std::string&)>> kDirectives{
    {"@run", [](auto& c, auto& rest) { c.command.words = split(rest); }},
    {"@set", [](auto& c, auto& rest) { edit(c.files[kParameters], split(rest).at(0), rest); }},
    {"@drop", [](auto& c, auto& rest) { edit(c.files[kParameters], rest, ""); }},
    {"@heap",
     [](auto& c, auto& rest) { c.files[split(rest).at(0)] = synthetic_grids(split(rest).at(1)); }},
    {"@folder", [](auto& c, auto& rest) { c.folders.push_back(rest); }},
    {"@env", [](auto& c, auto& rest) { c.command.environment.push_back(rest); }},
    {"@in", [](auto& c, auto& rest) { c.input_file = rest; }},
    {"@to", [](auto& c, auto& rest) { c.command.output = kOutputs.at(rest); }},
    {"@grids", [](auto& c, auto& rest) { c.grids = split(rest); }},
    {"@status", [](auto& c, auto& rest) { c.status = std::stoi(rest); }}};

class Reader {
  public:
    void line(const std::string& line) {
        if (line.starts_with("== ")) {
            cases_.push_back(shared_);
            cases_.back().name = line.substr(3);
            text_ = nullptr;
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
    void directive(const std::string& line) {
        const size_t space = std::min(line.find(' '), line.size());
        const std::string name = line.substr(0, space);
        const std::string rest = line.substr(std::min(space + 1, line.size()));
        Case& c = cases_.empty() ? shared_ : cases_.back();
        text_ = nullptr;
        if (name == "@file" || name == "@bytes") text_ = &c.files[rest];
        if (name == "@out") text_ = &c.out;
        if (name == "@err") text_ = &c.err;
        escaped_ = name == "@bytes";
        if (text_) {
            text_->clear();
        } else {
            kDirectives.at(name)(c, rest);
        }
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
