#include "report.h"

#include <algorithm>

#include "nodes.h"
#include "summary.h"
#include "text.h"

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

void write_range(JsonWriter& json, const char* name, const std::optional<Range>& range) {
    json.key(name);
    if (!range) return json.null();
    json.begin_array();
    json.number(range->min);
    json.number(range->max);
    json.end_array();
}

void write_field(JsonWriter& json, const char* name, double field) {
    json.key(name);
    is_set(field) ? json.number(field) : json.null();
}

void write_names(JsonWriter& json, const std::string& file, const Velorix& grid,
                 const Summary& summary) {
    const std::pair<const char*, std::string_view> names[] = {{"file", file},
                                                              {"name", fixed_name(grid.name)},
                                                              {"mode", summary.mode},
                                                              {"type", summary.type},
                                                              {"method", fixed_name(grid.method)},
                                                              {"model", fixed_name(grid.model)}};
    for (const auto& [name, text] : names) {
        json.key(name);
        json.string(text);
    }
}

void write_counts(JsonWriter& json, const Velorix& grid) {
    const std::pair<const char*, int32_t> counts[] = {
        {"bytes", grid.size}, {"ns", grid.ns}, {"nn", grid.nn}, {"nh", grid.nh},
        {"nd", grid.nd},      {"ny", grid.ny}, {"nx", grid.nx}, {"ndist", grid.ndist}};
    for (const auto& [name, count] : counts) {
        json.key(name);
        json.integer(count);
    }
}

void write_geometry(JsonWriter& json, const Velorix& grid) {
    const std::pair<const char*, double> fields[] = {
        {"latr", grid.latr}, {"lonr", grid.lonr}, {"strike", grid.strike}, {"xmin", grid.xmin},
        {"xmax", grid.xmax}, {"ymin", grid.ymin}, {"ymax", grid.ymax}};
    for (const auto& [name, field] : fields) write_field(json, name, field);
}

void write_area(JsonWriter& json, const std::optional<Area>& area) {
    json.key("area");
    if (!area) return json.null();
    json.begin_object();
    const std::pair<const char*, double> sides[] = {
        {"south", area->south}, {"north", area->north}, {"west", area->west}, {"east", area->east}};
    for (const auto& [name, side] : sides) write_field(json, name, side);
    json.end_object();
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

void write_summary(const std::string& file, const Velorix& grid, JsonWriter& json) {
    const Summary summary = summarize(grid);
    write_names(json, file, grid, summary);
    write_counts(json, grid);
    json.key("tables");
    json.begin_array();
    for (const std::string_view table : tables(grid)) json.string(table);
    json.end_array();
    write_geometry(json, grid);
    write_area(json, summary.area);
    json.key("depths_km");
    json.begin_array();
    for (const double depth : summary.depths) json.number(depth);
    json.end_array();
    write_range(json, "distances_deg", summary.distances);
    write_range(json, "p_times_s", summary.p_times);
    write_range(json, "s_times_s", summary.s_times);
}

}  // namespace velorix::info
