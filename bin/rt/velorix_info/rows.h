#ifndef VELORIX_INFO_ROWS_H
#define VELORIX_INFO_ROWS_H
// Tables of rows, written as CSV or as a JSON array of objects.
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "json.h"

namespace velorix::info {

using Cell = std::variant<std::monostate, std::string_view, int64_t, double, float>;

class RowSink {
  public:
    virtual ~RowSink() = default;
    virtual void begin(std::span<const std::string_view> columns) = 0;
    /// One cell per column.
    virtual void row(std::span<const Cell> cells) = 0;
    virtual void end() {}
};

/// CSV with one header line for all tables; each row starts with the file and the grid it is from.
class CsvRows : public RowSink {
  public:
    explicit CsvRows(FILE* out) : out_(out) {}
    void set_place(std::string_view file, std::string_view grid);
    void begin(std::span<const std::string_view> columns) override;
    void row(std::span<const Cell> cells) override;

  private:
    FILE* out_;
    std::string place_;
    bool has_header_ = false;
};

class JsonRows : public RowSink {
  public:
    /// The rows become the array `name` of the object that is open.
    JsonRows(JsonStream& json, std::string_view name) : json_(json), name_(name) {}
    void begin(std::span<const std::string_view> columns) override;
    void row(std::span<const Cell> cells) override;
    void end() override { json_.end_list(); }

  private:
    JsonStream& json_;
    std::string_view name_;
    std::span<const std::string_view> columns_;
};

}  // namespace velorix::info
#endif
