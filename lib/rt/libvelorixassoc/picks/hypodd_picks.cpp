// Phases as ph2dt takes them for hypoDD (Waldhauser 2001): events, and below each travel times.
#include <cmath>

#include "../support/text_values.h"
#include "../support/times.h"
#include "../support/words.h"
#include "pick_format.h"
#include "station_code.h"

namespace velorix::assoc {
namespace {

// "# yr mo dy hh mm ss.ss lat lon depth mag eh ez rms id"; some write "#2016" and fewer errors.
constexpr size_t kLeastNumbers = 10;

class HypoDdFormat : public LineFormat {
  public:
    const char* kind() const override { return "hypoDD phases"; }

    bool take(std::string_view line, bool, std::vector<Pick>& picks, std::string& why) override {
        if (trim(line).empty()) return true;
        if (line.front() == '#') return take_event(line, why);
        const Words words(line);
        if (words.size() != 4) {
            why = format("%zu words, not 'station traveltime weight phase'", words.size());
            return false;
        }
        return take_phase(words, picks, why);
    }

  private:
    bool take_event(std::string_view line, std::string& why) {
        origin_.reset();
        const Words words(line.substr(1));
        long long year = 0, month = 0, day = 0, hour = 0, minute = 0;
        double seconds = 0.0;
        if (words.size() < kLeastNumbers) {
            why = format("%zu numbers of an event, at least %zu are needed", words.size(),
                         kLeastNumbers);
            return false;
        }
        if (!words.whole(0, "year", 1000, 9998, year, why) ||
            !words.whole(1, "month", 1, 12, month, why) ||
            !words.whole(2, "day", 1, 31, day, why) || !words.whole(3, "hour", 0, 24, hour, why) ||
            !words.whole(4, "minute", 0, 60, minute, why) ||
            !words.number(5, "seconds", seconds, why)) {
            return false;
        }
        origin_ =
            midnight(year, month, day) + static_cast<double>(3600 * hour + 60 * minute) + seconds;
        return true;
    }

    // A weight below 0 marks a good pick that is to stay, and its size is the weight.
    bool take_phase(const Words& words, std::vector<Pick>& picks, std::string& why) const {
        if (!origin_) {
            why = "a phase without an event in front";
            return false;
        }
        Pick pick;
        double travel_time = 0.0, weight = 0.0;
        if (!words.number(1, "travel time", travel_time, why) ||
            !words.number(2, "weight", weight, why)) {
            return false;
        }
        pick.time = *origin_ + travel_time;
        if (!in_calendar(pick.time)) {
            why = "'" + std::string(words[1]) + "' is out of all time" + words.place(1);
            return false;
        }
        pick.station = words[0];
        take_network_apart(pick);
        pick.phase = words[3];
        pick.quality = std::fabs(weight);
        picks.push_back(std::move(pick));
        return true;
    }

    std::optional<double> origin_;
};

}  // namespace

bool looks_like_hypodd(std::string_view line) {
    if (!line.starts_with('#')) return false;
    const Words words(line.substr(1));
    if (words.size() < kLeastNumbers || !words.all_numbers(0, words.size())) return false;
    const auto year = whole_number(words[0]), month = whole_number(words[1]);
    return year && *year >= 1000 && *year <= 9998 && month && *month >= 1 && *month <= 12;
}

std::unique_ptr<LineFormat> make_hypodd_format() { return std::make_unique<HypoDdFormat>(); }

}  // namespace velorix::assoc
