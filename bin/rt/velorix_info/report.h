#ifndef VELORIX_INFO_REPORT_H
#define VELORIX_INFO_REPORT_H
// Summaries as text for a person and as JSON for a script.
#include <cstdio>
#include <string>
#include <vector>

#include "json.h"
#include "velorix.h"

namespace velorix::info {

/// A paragraph of labelled lines; paragraphs are separated by an empty line.
class TextReport {
  public:
    explicit TextReport(FILE* out) : out_(out) {}
    void grid(const std::string& file, const Velorix& grid);

  private:
    void line(const char* label, const std::string& value);

    FILE* out_;
    bool first_ = true;
};

/// One row for each grid, in columns as wide as their widest entry.
class BriefReport {
  public:
    void grid(const Velorix& grid);
    void print(FILE* out) const;

  private:
    std::vector<std::vector<std::string>> rows_;
};

/// The members of a grid's JSON object.
Json json_summary(const std::string& file, const Velorix& grid);

}  // namespace velorix::info
#endif
