#include "platform/ttcalc/earth_model.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace velorix::tt {
namespace {

// Cuts the next blank-separated token off the front of a line.
std::string_view next_token(std::string_view& line) {
    const size_t start = std::min(line.find_first_not_of(" \t\r"), line.size());
    line.remove_prefix(start);
    const std::string_view token = line.substr(0, line.find_first_of(" \t\r"));
    line.remove_prefix(token.size());
    return token;
}

bool to_number(std::string_view token, double& value) {
    if (!token.empty() && token.front() == '+') token.remove_prefix(1);
    const auto [end, status] = std::from_chars(token.data(), token.data() + token.size(), value);
    return status == std::errc() && end == token.data() + token.size() && std::isfinite(value);
}

// Sampling the rays takes time in proportion to the square of the rows.
constexpr size_t kMostRows = 3000;

std::string quoted(std::string_view token) {
    constexpr size_t kLongest = 40;
    std::string text(1, '\'');
    text.append(token.substr(0, kLongest));
    return text.append(1, '\'');
}

class Parser {
  public:
    Parser(ModelFormat format, const std::string& origin) : format_(format), origin_(origin) {}

    bool parse(std::string_view text) {
        while (!text.empty()) {
            ++line_number_;
            const size_t end = std::min(text.find('\n'), text.size());
            if (!parse_line(text.substr(0, end))) return false;
            text.remove_prefix(std::min(end + 1, text.size()));
        }
        if (model.points.empty()) {
            error = origin_ + ": no velocity rows in this model file";
            return false;
        }
        return true;
    }

    EarthModel model;
    std::string error;

  private:
    bool fail(const std::string& what) {
        error = origin_ + ":" + std::to_string(line_number_) + ": " + what;
        return false;
    }

    bool parse_line(std::string_view line) {
        std::string_view rest = line;
        const std::string_view first = next_token(rest);
        if (first.empty() || first.front() == '#') return true;
        double number = 0;
        if (to_number(first, number)) return parse_row(line);
        if (format_ == ModelFormat::kNamedDiscontinuities) return parse_label(first);
        // The two header lines of a .tvel file are free text.
        if (line_number_ <= 2 && model.points.empty()) return true;
        return fail(quoted(first) + " is not a depth");
    }

    bool parse_label(std::string_view label) {
        double* boundary = label == "mantle"       ? &model.moho
                           : label == "outer-core" ? &model.cmb
                           : label == "inner-core" ? &model.icb
                                                   : nullptr;
        if (boundary == nullptr) {
            return fail(quoted(label) +
                        " is neither a number nor mantle, outer-core or inner-core");
        }
        if (model.points.empty()) {
            return fail(quoted(label) + " stands before the first row");
        }
        *boundary = model.points.back().depth;
        return true;
    }

    bool parse_row(std::string_view line) {
        constexpr int kColumns = 4;
        std::array<double, kColumns> column{};
        int n = 0;
        for (std::string_view token = next_token(line); !token.empty(); token = next_token(line)) {
            double value = 0;
            if (!to_number(token, value)) {
                return fail(quoted(token) + " is not a number");
            }
            if (n < kColumns) column[static_cast<size_t>(n)] = value;
            ++n;
        }
        if (n < kColumns) {
            return fail("a row needs depth, vp, vs and density, this one has " + std::to_string(n) +
                        (n == 1 ? " column" : " columns"));
        }
        return add_point({column[0], column[1], column[2]});
    }

    bool add_point(const ModelPoint& point) {
        std::vector<ModelPoint>& points = model.points;
        if (points.empty() && point.depth != 0.0) {
            return fail("the first row must be at the surface, depth 0");
        }
        if (!points.empty() && point.depth < points.back().depth) {
            return fail("depth decreases from the row before");
        }
        if (points.size() > 1 && point.depth == points[points.size() - 2].depth) {
            return fail("a depth may be given at most twice");
        }
        if (point.depth > kEarthRadius)
            return fail("depth beyond the centre of the earth, 6371 km");
        if (!(point.vp > 0.0)) return fail("the P velocity must be greater than zero");
        if (point.vs < 0.0) return fail("the S velocity must not be negative");
        if (point.vs >= point.vp) return fail("the S velocity must be below the P velocity");
        if (point.vp < 1e-3 || point.vp > 1e3 || (point.vs > 0.0 && point.vs < 1e-3)) {
            return fail("velocities must lie between 0.001 and 1000 km/s");
        }
        if (points.size() >= kMostRows) return fail("a model has at most 3000 rows");
        points.push_back(point);
        return true;
    }

    ModelFormat format_;
    const std::string& origin_;
    int line_number_ = 0;
};

bool is_step(const EarthModel& model, size_t i) {
    return i > 0 && model.points[i].depth == model.points[i - 1].depth;
}

// The deepest step up of the P velocity above `limit` km that `accept` takes; kNoBoundary if none.
template <class Accept>
double deepest_step_up(const EarthModel& model, double limit, Accept accept) {
    double depth = kNoBoundary;
    for (size_t i = 1; i < model.points.size() && model.points[i].depth < limit; ++i) {
        const ModelPoint &above = model.points[i - 1], &below = model.points[i];
        if (is_step(model, i) && below.vp > above.vp && accept(above, below)) depth = below.depth;
    }
    return depth;
}

void find_core(EarthModel& model) {
    constexpr double kShallowestCore = 1000.0;  // km; a fluid layer above is no core
    for (size_t i = 1; i < model.points.size(); ++i) {
        const ModelPoint& point = model.points[i];
        if (!is_step(model, i) || point.depth < kShallowestCore) continue;
        const bool was_fluid = model.points[i - 1].vs == 0.0;
        const bool is_fluid = point.vs == 0.0;
        if (model.cmb == kNoBoundary && is_fluid && !was_fluid) model.cmb = point.depth;
        if (model.icb == kNoBoundary && point.depth > model.cmb && was_fluid && !is_fluid) {
            model.icb = point.depth;
        }
    }
}

// The boundaries after which crustal and upper-mantle phases are named. Global models differ in
// their depths (Conrad 15 or 20 km, Moho 24 to 35 km, transition zone 400 or 410 km).
void find_upper_boundaries(EarthModel& model) {
    constexpr double kDeepestMoho = 90.0, kMantleVp = 7.6;
    if (model.moho == kNoBoundary) {
        for (size_t i = 1; i < model.points.size() && model.points[i].depth <= kDeepestMoho; ++i) {
            const ModelPoint& point = model.points[i];
            if (point.vp >= kMantleVp && model.points[i - 1].vp < point.vp) {
                model.moho = point.depth;
                break;
            }
        }
    }
    const double crust_end = model.moho == kNoBoundary ? 0.0 : model.moho;
    model.conrad = deepest_step_up(model, crust_end, [](const auto&, const auto&) { return true; });
    if (model.conrad == kNoBoundary) model.conrad = model.moho;
    model.transition = deepest_step_up(
        model, 460.0, [](const auto&, const auto& below) { return below.depth > 360.0; });
    if (model.transition == kNoBoundary) model.transition = 410.0;
}

}  // namespace

bool parse_model(std::string_view text, ModelFormat format, const std::string& origin,
                 EarthModel& model, std::string& error) {
    Parser parser(format, origin);
    if (!parser.parse(text)) {
        error = parser.error;
        return false;
    }
    find_core(parser.model);
    find_upper_boundaries(parser.model);
    model = std::move(parser.model);
    return true;
}

}  // namespace velorix::tt
