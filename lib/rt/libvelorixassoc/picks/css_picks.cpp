// Picks as a CSS3.0 arrival table. Columns: CSS Version 3.0 Database: Schema Reference Manual
// (Anderson et al., Center for Seismic Studies Technical Report C90-01, 1990).
#include "../support/text_values.h"
#include "../support/times.h"
#include "pick_format.h"
#include "station_code.h"

namespace velorix::assoc {
namespace {

/// Columns counted from 1, as the manual does.
std::string field(std::string_view line, size_t first, size_t last) {
    if (line.size() < first) return {};
    const std::string text(trim(line.substr(first - 1, last - first + 1)));
    return text == "-" ? std::string() : text;
}

constexpr double kNoTime = -9999999999.0;  // the null value stands below

class CssFormat : public LineFormat {
  public:
    bool take(std::string_view line, bool cut, std::vector<Pick>& picks, std::string& why) override;
    const char* kind() const override { return "CSS3.0 arrival"; }
};

bool parse(std::string_view line, Pick& pick, std::string& why) {
    for (size_t blank : {7u, 25u, 34u, 43u, 52u, 61u, 70u}) {
        if (line.size() >= blank && line[blank - 1] != ' ') {
            why = format("column %zu is not blank: not an arrival row", blank);
            return false;
        }
    }
    pick.station = field(line, 1, 6);
    take_network_apart(pick);
    const auto time = epoch_seconds(field(line, 8, 24));
    const auto arid = whole_number(field(line, 26, 33));
    if (pick.station.empty())
        why = "no station";
    else if (!time)
        why = "time '" + field(line, 8, 24) + "' is not a number of epoch seconds";
    else if (*time < kNoTime)
        why = "no time";
    else if (!arid)
        why = "arid '" + field(line, 26, 33) + "' is not a whole number";
    if (!why.empty()) return false;
    pick.time = *time;
    pick.arid = *arid;
    if (*arid >= 0) pick.id = std::to_string(*arid);
    pick.channel = field(line, 62, 69);
    pick.phase = field(line, 71, 78);
    pick.quality = number(field(line, 169, 178)).value_or(-1.0);
    return true;
}

bool CssFormat::take(std::string_view line, bool, std::vector<Pick>& picks, std::string& why) {
    if (trim(line).empty()) return true;
    Pick pick;
    if (!parse(line, pick, why)) return false;
    picks.push_back(std::move(pick));
    return true;
}

}  // namespace

// The columns of an arrival row that a comma-separated line can hardly meet by accident: blanks
// between fields, a time and an identifier where they belong.
bool looks_like_css(std::string_view line) {
    if (line.size() < 70) return false;
    for (size_t blank : {6u, 24u, 33u, 42u, 51u, 60u, 69u}) {
        if (line[blank] != ' ') return false;
    }
    return number(line.substr(7, 17)) && whole_number(line.substr(25, 8));
}

std::unique_ptr<LineFormat> make_css_format() { return std::make_unique<CssFormat>(); }

}  // namespace velorix::assoc
