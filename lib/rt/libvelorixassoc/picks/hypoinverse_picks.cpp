// Phases of an HYPOINVERSE archive in its Y2000 form (Klein 2002, USGS Open-File Report 02-171):
// fixed columns with implied decimals; an event is a header, phases and a terminator.
#include "../support/text_values.h"
#include "../support/times.h"
#include "../support/words.h"
#include "pick_format.h"

namespace velorix::assoc {
namespace {

// Year, month, day, hour and minute in twelve columns from one on; parts may be padded with blanks.
std::optional<double> minute_of(const Columns& columns, size_t first) {
    const auto year = columns.whole(first, first + 3), month = columns.whole(first + 4, first + 5),
               day = columns.whole(first + 6, first + 7),
               hour = columns.whole(first + 8, first + 9),
               minute = columns.whole(first + 10, first + 11);
    if (!year || !month || !day || !hour || !minute) return std::nullopt;
    const bool good = *year >= 1900 && *year < 2100 && *month >= 1 && *month <= 12 && *day >= 1 &&
                      *day <= 31 && *hour >= 0 && *hour <= 24 && *minute >= 0 && *minute <= 60;
    if (!good) return std::nullopt;
    return midnight(*year, *month, *day) + static_cast<double>(3600 * *hour + 60 * *minute);
}

// The hour stands where a list of events leaves blanks, and a phase its component.
bool is_header(std::string_view line) {
    constexpr size_t kShortest = 36;  // up to the depth
    const Columns columns(line);
    return line.size() >= kShortest && !columns.blank(9, 10) && minute_of(columns, 1) &&
           columns.fixed(13, 16, 2) &&
           line.substr(0, kShortest).find_first_of(",;|\t") == line.npos;
}

// Converters are met that write the minutes one column too wide. Picks do not need the place.
bool place_is_possible(const Columns& columns) {
    const auto lat = columns.fixed(17, 18, 0), lat_minutes = columns.fixed(20, 23, 2),
               lon = columns.fixed(24, 26, 0), lon_minutes = columns.fixed(28, 31, 2);
    const auto within = [](const std::optional<double>& value, double most) {
        return value && *value >= 0.0 && *value <= most;
    };
    return within(lat, 90.0) && within(lat_minutes, 60.0) && within(lon, 180.0) &&
           within(lon_minutes, 60.0);
}

/// Where a phase of a line stands.
struct PhaseColumns {
    char phase;
    size_t remark, weight, seconds;
};
constexpr PhaseColumns kP{'P', 14, 17, 30};
constexpr PhaseColumns kS{'S', 47, 50, 42};
// Weight codes from here on: a pick that an analyst or the program has thrown out, and the
// placeholder of a P beside an S.
constexpr long long kNotUsed = 4;

class HypoinverseFormat : public LineFormat {
  public:
    const char* kind() const override { return "HYPOINVERSE archive"; }

    bool take(std::string_view line, bool, std::vector<Pick>& picks, std::string& why) override {
        const Columns columns(line);
        // Shadow lines, and terminators.
        if (line.starts_with('$') || columns.blank(1, 4)) return true;
        if (is_header(line)) {
            if (!shifted_ && !place_is_possible(columns)) {
                shifted_ = true;
                remark =
                    "an event whose columns are shifted, its place makes no sense; phases are "
                    "taken as they stand";
            }
            return true;
        }
        std::vector<Pick> both;  // of a broken line neither counts
        if (!take_phase(columns, kP, both, why) || !take_phase(columns, kS, both, why)) {
            return false;
        }
        for (Pick& pick : both) picks.push_back(std::move(pick));
        return true;
    }

  private:
    static bool take_phase(const Columns& columns, const PhaseColumns& at, std::vector<Pick>& picks,
                           std::string& why) {
        if (columns.blank(at.remark, at.remark + 1)) return true;
        const auto code = columns.whole(at.weight, at.weight);
        const auto minute = minute_of(columns, 18);
        const auto seconds = columns.fixed(at.seconds, at.seconds + 4, 2);
        const auto refuse = [&](const char* what, size_t first, size_t last) {
            why = std::string("'") + std::string(columns.raw(first, last)) + "' is not " + what +
                  " (column " + std::to_string(first) + ")";
            return false;
        };
        if (!minute) return refuse("a year, month, day, hour and minute", 18, 29);
        if (!code) return refuse("a weight code", at.weight, at.weight);
        if (*code >= kNotUsed) return true;
        if (!seconds || columns.blank(at.seconds, at.seconds + 4)) {
            return refuse("a number of seconds", at.seconds, at.seconds + 4);
        }
        Pick pick;
        pick.station = columns.text(1, 5);
        pick.network = columns.text(6, 7);
        pick.channel = columns.text(10, 12);
        pick.location = columns.text(112, 113);
        if (pick.location == "--") pick.location.clear();
        pick.phase = at.phase;
        pick.time = *minute + *seconds;
        pick.quality = 1.0 - 0.25 * static_cast<double>(*code);
        if (pick.station.empty()) return refuse("a station", 1, 5);
        picks.push_back(std::move(pick));
        return true;
    }

    bool shifted_ = false;  // said once a file
};

}  // namespace

bool looks_like_hypoinverse(std::string_view line) { return is_header(line); }

// "8501240219587137 5299122 1449 ...": ten digits of a date where a year has two.
bool looks_like_old_hypoinverse(std::string_view line) {
    constexpr size_t kShortest = 60;
    if (line.size() < kShortest || line.find_first_of(",;|\t") != line.npos) return false;
    const Columns columns(line);
    const auto within = [&](size_t first, long long low, long long high) {
        const auto value = columns.whole(first, first + 1);
        return !columns.blank(first, first + 1) && value && *value >= low && *value <= high;
    };
    return within(1, 0, 99) && within(3, 1, 12) && within(5, 1, 31) && within(7, 0, 24) &&
           within(9, 0, 60) && columns.fixed(11, 14, 2);
}

std::unique_ptr<LineFormat> make_hypoinverse_format() {
    return std::make_unique<HypoinverseFormat>();
}

}  // namespace velorix::assoc
