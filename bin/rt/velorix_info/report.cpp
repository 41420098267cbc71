#include "report.h"

#include <algorithm>

#include "nodes.h"
#include "number_text.h"
#include "platform/elog/printable.h"
#include "summary.h"

namespace velorix::info {
namespace {

const std::string kNone = "-";

template <size_t N>
std::string name_text(const char (&field)[N]) {
    return printable(fixed_name(field));
}

std::string range_text(const std::optional<Range>& range, int decimals, const char* unit) {
    if (!range) return kNone;
    return fixed(range->min, decimals) + " to " + fixed(range->max, decimals) + unit;
}

/// As narrow as a column wants it.
std::string span_text(const std::optional<Range>& range, int decimals) {
    if (!range) return kNone;
    const std::string low = fixed(range->min, decimals);
    const std::string high = fixed(range->max, decimals);
    return low == high ? low : low + ".." + high;
}

std::string area_text(const std::optional<Area>& area) {
    if (!area) return kNone;
    std::string text = "latitude " + fixed(area->south, 4) + " to " + fixed(area->north, 4) +
                       ", longitude " + fixed(area->west, 4) + " to " + fixed(area->east, 4);
    if (area->west > area->east) text += " across 180";
    return text;
}

std::string depths_text(const std::vector<double>& depths) {
    constexpr size_t kListed = 8;
    if (depths.empty()) return kNone;
    if (depths.size() > kListed) {
        return std::to_string(depths.size()) + " values, " + shortest(depths.front()) + " to " +
               shortest(depths.back()) + " km";
    }
    std::string text;
    for (const double depth : depths) text += shortest(depth) + ' ';
    return text + "km";
}

std::string mesh_text(const Velorix& grid, const std::string& mode) {
    if (!is_regular(grid)) return mode;
    return mode + ", " + std::to_string(grid.nx) + " x " + std::to_string(grid.ny) + " x " +
           std::to_string(grid.nd);
}

std::string type_text(const Velorix& grid, const std::string& type) {
    if (grid.type != VELORIX_TYPE_1D) return type;
    return type + ", " + std::to_string(grid.ndist) + " distances";
}

std::string tables_text(const Velorix& grid) {
    std::string text;
    for (const std::string_view table : tables(grid)) {
        if (!text.empty()) text += ", ";
        text += table;
    }
    return text.empty() ? kNone : text;
}

/// Reference point and extents as far as the builder has set them.
std::string mesh_geometry(const Velorix& grid) {
    std::string text = shortest(grid.latr) + ' ' + shortest(grid.lonr);
    if (is_set(grid.strike)) text += ", strike " + shortest(grid.strike);
    text += ", x " + shortest(grid.xmin) + " to " + shortest(grid.xmax) + ", y " +
            shortest(grid.ymin) + " to " + shortest(grid.ymax);
    return text;
}

Json json_range(const std::optional<Range>& range) {
    if (!range) return nullptr;
    return Json::array({json_number(range->min), json_number(range->max)});
}

Json json_field(double field) { return is_set(field) ? json_number(field) : Json(nullptr); }

Json json_area(const std::optional<Area>& area) {
    if (!area) return nullptr;
    return {{"south", json_number(area->south)},
            {"north", json_number(area->north)},
            {"west", json_number(area->west)},
            {"east", json_number(area->east)}};
}

}  // namespace

void TextReport::line(const char* label, const std::string& value) {
    fprintf(out_, "  %-14s%s\n", label, value.c_str());
}

void TextReport::grid(const std::string& file, const Velorix& grid) {
    const Summary summary = summarize(grid);
    if (!first_) fputc('\n', out_);
    first_ = false;
    fprintf(out_, "%s: %s\n", printable(file).c_str(), name_text(grid.name).c_str());
    line("mode", mesh_text(grid, summary.mode));
    line("type", type_text(grid, summary.type));
    line("travel times", name_text(grid.method) + ", " + name_text(grid.model));
    line("nodes", std::to_string(grid.nn));
    line("stations", std::to_string(grid.ns));
    line("tables", tables_text(grid));
    line("bytes", std::to_string(grid.size));
    line("area", area_text(summary.area));
    line("depths", depths_text(summary.depths));
    if (is_set(grid.xmin)) line("mesh", mesh_geometry(grid));
    line("distances", range_text(summary.distances, 4, " degrees"));
    line("P times", range_text(summary.p_times, 3, " s"));
    line("S times", range_text(summary.s_times, 3, " s"));
}

void BriefReport::grid(const Velorix& grid) {
    const Summary summary = summarize(grid);
    if (rows_.empty()) {
        rows_.push_back({"grid", "mode", "type", "model", "nodes", "stations", "bytes", "depth km",
                         "distance deg", "P s", "S s"});
    }
    const std::optional<Range> depths =
        summary.depths.empty()
            ? std::nullopt
            : std::optional<Range>({summary.depths.front(), summary.depths.back()});
    rows_.push_back({name_text(grid.name), is_regular(grid) ? "regular" : "general",
                     grid.type == VELORIX_TYPE_1D ? "1D" : "3D", name_text(grid.model),
                     std::to_string(grid.nn), std::to_string(grid.ns), std::to_string(grid.size),
                     span_text(depths, 0), span_text(summary.distances, 1),
                     span_text(summary.p_times, 1), span_text(summary.s_times, 1)});
}

void BriefReport::print(FILE* out) const {
    if (rows_.empty()) return;
    std::vector<size_t> widths(rows_[0].size());
    for (const auto& row : rows_) {
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    for (const auto& row : rows_) {
        std::string text;
        for (size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) text.append(widths[i] + 2 - row[i].size(), ' ');
        }
        fprintf(out, "%s\n", text.c_str());
    }
}

Json json_summary(const std::string& file, const Velorix& grid) {
    const Summary summary = summarize(grid);
    Json names_of_tables = Json::array(), depths = Json::array();
    for (const std::string_view table : tables(grid)) names_of_tables.push_back(json_text(table));
    for (const double depth : summary.depths) depths.push_back(json_number(depth));
    return {{"file", json_text(file)},
            {"name", json_text(fixed_name(grid.name))},
            {"mode", json_text(summary.mode)},
            {"type", json_text(summary.type)},
            {"method", json_text(fixed_name(grid.method))},
            {"model", json_text(fixed_name(grid.model))},
            {"bytes", grid.size},
            {"ns", grid.ns},
            {"nn", grid.nn},
            {"nh", grid.nh},
            {"nd", grid.nd},
            {"ny", grid.ny},
            {"nx", grid.nx},
            {"ndist", grid.ndist},
            {"tables", names_of_tables},
            {"latr", json_field(grid.latr)},
            {"lonr", json_field(grid.lonr)},
            {"strike", json_field(grid.strike)},
            {"xmin", json_field(grid.xmin)},
            {"xmax", json_field(grid.xmax)},
            {"ymin", json_field(grid.ymin)},
            {"ymax", json_field(grid.ymax)},
            {"area", json_area(summary.area)},
            {"depths_km", depths},
            {"distances_deg", json_range(summary.distances)},
            {"p_times_s", json_range(summary.p_times)},
            {"s_times_s", json_range(summary.s_times)}};
}

}  // namespace velorix::info
