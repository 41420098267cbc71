#include "cells.h"

#include <charconv>
#include <cstdio>
#include <sstream>
#include <stdexcept>

#include "geodesic_mesh.h"

namespace telegrid {

namespace {

constexpr size_t kLineLength = 98;

// The words of a text, comment lines left out.
class Words {
  public:
    explicit Words(std::string_view text) : rest_(text) { skip(); }

    bool done() const { return rest_.empty(); }
    std::string_view next() {
        const size_t end = std::min(rest_.find_first_of(" \n"), rest_.size());
        const std::string_view word = rest_.substr(0, end);
        rest_.remove_prefix(end);
        skip();
        return word;
    }
    void expect(std::string_view wanted) {
        const std::string_view word = next();
        if (word != wanted) fail(word);
    }
    template <class Number>
    Number number() {
        const std::string_view word = next();
        Number value{};
        const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
        if (result.ec != std::errc() || result.ptr != word.data() + word.size()) fail(word);
        return value;
    }
    [[noreturn]] static void fail(std::string_view word) {
        throw std::runtime_error("cells: unexpected '" + std::string(word) + "'");
    }

  private:
    void skip() {
        for (;;) {
            rest_.remove_prefix(std::min(rest_.find_first_not_of(" \n"), rest_.size()));
            if (!rest_.starts_with('#')) return;
            rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
        }
    }

    std::string_view rest_;
};

}  // namespace

std::string cells_to_text(const std::vector<CellGroup>& groups) {
    std::string text;
    for (const CellGroup& group : groups) {
        char head[80];
        std::snprintf(head, sizeof head, "layer %d weight %.2f cells %zu\n", group.depth_km,
                      group.weight, group.vertices.size());
        text += head;
        std::string line;
        int32_t previous = 0;
        for (const int32_t vertex : group.vertices) {
            const std::string word = std::to_string(vertex - previous);
            previous = vertex;
            if (line.size() + 1 + word.size() > kLineLength) {
                text += line + '\n';
                line.clear();
            }
            if (!line.empty()) line += ' ';
            line += word;
        }
        text += line + '\n';
    }
    return text;
}

std::vector<CellGroup> cells_from_text(std::string_view text) {
    std::vector<CellGroup> groups;
    Words words(text);
    while (!words.done()) {
        CellGroup group{};
        words.expect("layer");
        group.depth_km = words.number<int>();
        words.expect("weight");
        group.weight = words.number<double>();
        words.expect("cells");
        const auto count = words.number<size_t>();
        int32_t vertex = 0;
        for (size_t i = 0; i < count; ++i) {
            const auto step = words.number<int32_t>();
            if (step < 0 || step >= kFineVertices - vertex) Words::fail(std::to_string(step));
            group.vertices.push_back(vertex += step);
        }
        groups.push_back(std::move(group));
    }
    return groups;
}

}  // namespace telegrid
