// Stations of NonLinLoc: statements GTSRCE or LOCSRCE of a control file, or of a list it includes.
//   GTSRCE label LATLON   lat lon z elev
//   GTSRCE label LATLONDM deg min N|S deg min E|W z elev
//   GTSRCE label LATLONDS deg min sec N|S deg min sec E|W z elev
// z is km down, elev km up; the sensor stands at z - elev.
#include <set>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

using Words = std::vector<std::string_view>;

/// Reads words of a statement one by one, and says which was wrong.
class Statement {
  public:
    Statement(std::string_view line, const Words& words, const RowPlace& at)
        : line_(line), words_(words), at_(at) {}

    bool number(const char* name, double& value) {
        const std::string_view word = words_[next_++];
        return parse_coordinate(word, name, at_, value, at_column(line_, word));
    }
    /// Degrees of so many parts (degrees, minutes, seconds) and a letter, where there are parts.
    bool angle(const char* name, int parts, std::string_view letters, double& degrees) {
        constexpr double sixtieth = 1.0 / 60.0;
        degrees = 0.0;
        double scale = 1.0;
        for (int i = 0; i < parts; ++i, scale *= sixtieth) {
            double part = 0.0;
            if (!number(name, part)) return false;
            degrees += scale * part;
        }
        if (parts == 1) return true;
        const std::string_view word = words_[next_++];
        const size_t which = word.size() == 1 ? letters.find(word[0]) : letters.npos;
        if (which == letters.npos) {
            return malformed(at_, "'" + std::string(word) + "' is not " + letters[0] + " or " +
                                      letters[1] + at_column(line_, word));
        }
        if (which == 1) degrees = -degrees;
        return true;
    }

  private:
    std::string_view line_;
    const Words& words_;
    const RowPlace& at_;
    size_t next_ = 3;  // behind statement, label and kind
};

bool parse(std::string_view line, const Words& words, const RowPlace& at, Site& epoch) {
    const std::string_view kind = words.size() > 2 ? words[2] : std::string_view();
    const int parts = kind == "LATLON" ? 1 : kind == "LATLONDM" ? 2 : kind == "LATLONDS" ? 3 : 0;
    if (kind == "XYZ") {
        return malformed(at, "a position in km of a grid, latitude and longitude are needed" +
                                 at_column(line, kind));
    }
    if (parts == 0) return malformed(at, "neither LATLON, LATLONDM nor LATLONDS");
    const size_t letters = parts == 1 ? 0 : 2;
    const size_t expected = 5 + 2 * static_cast<size_t>(parts) + letters;
    if (words.size() < expected) {
        return malformed(at, std::to_string(words.size()) + " words, " + std::string(kind) +
                                 " has " + std::to_string(expected));
    }
    Statement statement(line, words, at);
    double z = 0.0, elevation = 0.0;
    if (!statement.angle("latitude", parts, "NS", epoch.lat) ||
        !statement.angle("longitude", parts, "EW", epoch.lon) || !statement.number("z", z) ||
        !statement.number("elevation", elevation)) {
        return false;
    }
    epoch.elev = elevation - z;
    take_codes(words[1], epoch);
    const std::string fault = fault_of_codes(epoch.net.empty() ? "-" : epoch.net, epoch.code);
    return fault.empty() || malformed(at, fault + at_column(line, words[1]));
}

bool is_source(std::string_view word) { return word == "GTSRCE" || word == "LOCSRCE"; }

}  // namespace

bool is_gtsrce(std::string_view line) {
    const Words words = words_of(line);
    return words.size() > 2 && (is_source(words[0]) ||
                                (words[0] == "CONTROL" && to_long(words[1]) && to_long(words[2])));
}

// Of a label that is given twice the first counts, as NonLinLoc has it.
Read read_gtsrce(const std::string& path, std::vector<Site>& epochs) {
    const auto text = read_text(path);
    if (!text) return Read::absent;
    std::set<std::string> labels;
    std::string_view line;
    for (Lines lines(*text); lines.next(line);) {
        const RowPlace place{path, lines.number()};
        if (!is_text(line, place)) return Read::malformed;
        const Words words = words_of(line);
        if (words[0] == "INCLUDE") {
            elog_complain(0, "dblookup: %s:%zu: INCLUDE is not followed, name that file itself\n",
                          path.c_str(), lines.number());
        }
        if (!is_source(words[0])) continue;
        Site epoch;
        epoch.line = lines.number();
        if (!parse(line, words, place, epoch)) return Read::malformed;
        if (labels.insert(std::string(words[1])).second) epochs.push_back(std::move(epoch));
    }
    if (!epochs.empty()) return Read::good;
    elog_log(0, "dblookup: %s: no GTSRCE or LOCSRCE in it\n", path.c_str());
    return Read::malformed;
}

}  // namespace velorix::db
