// Picks as a CSS3.0 arrival table. Columns: CSS Version 3.0 Database: Schema Reference Manual
// (Anderson et al., Center for Seismic Studies Technical Report C90-01, 1990).
#include "pick_reader.h"
#include "text.h"

namespace velorix::assoc {
namespace {

/// Columns counted from 1, as the manual does.
std::string field(const std::string& line, size_t first, size_t last) {
    if (line.size() < first) return {};
    const std::string text(trim(std::string_view(line).substr(first - 1, last - first + 1)));
    return text == "-" ? std::string() : text;
}

constexpr double kNoTime = -9999999999.0;  // the null value stands below

class CssReader : public PickReader {
  public:
    explicit CssReader(const PickFile& file) : lines_(file) {}
    ReadResult next(Pick& pick, std::string& error) override;
    const char* kind() const override { return "CSS3.0 arrival"; }

  private:
    static bool parse(const std::string& line, Pick& pick, std::string& why);
    LineSource lines_;
};

bool CssReader::parse(const std::string& line, Pick& pick, std::string& why) {
    if (line.find('\0') != line.npos) {
        why = "binary data";
        return false;
    }
    for (size_t blank : {7u, 25u, 34u, 43u, 52u, 61u, 70u}) {
        if (line.size() >= blank && line[blank - 1] != ' ') {
            why = format("column %zu is not blank: not an arrival row", blank);
            return false;
        }
    }
    pick = Pick();
    pick.station = field(line, 1, 6);
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

ReadResult CssReader::next(Pick& pick, std::string& error) {
    std::string line;
    do {
        if (!lines_.next(line)) return ReadResult::end;
    } while (trim(line).empty());
    std::string why;
    if (parse(line, pick, why)) return ReadResult::pick;
    error = lines_.place() + ": " + why;
    return ReadResult::bad;
}

}  // namespace

std::unique_ptr<PickReader> make_css_reader(const PickFile& file) {
    return std::make_unique<CssReader>(file);
}

}  // namespace velorix::assoc
