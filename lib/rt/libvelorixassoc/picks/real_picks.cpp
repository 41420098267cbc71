// Picks around REAL (Zhang, Ellsworth and Beroza 2019): what it takes, one file a station and phase
// with seconds of a day, and the phases of its events (phase_sel.txt).
#include <cmath>

#include "../support/text_values.h"
#include "../support/times.h"
#include "../support/words.h"
#include "pick_format.h"

namespace velorix::assoc {
namespace {

constexpr double kDay = 86400.0;

bool set_time(double time, const Words& words, size_t i, Pick& pick, std::string& why) {
    pick.time = time;
    if (in_calendar(time)) return true;
    why = "'" + std::string(words[i]) + "' is out of all time" + words.place(i);
    return false;
}

/// "SECONDS WEIGHT AMPLITUDE"; seconds may go beyond the day.
class RealPickFormat : public LineFormat {
  public:
    RealPickFormat(Pick common, double day) : common_(std::move(common)), day_(day) {}
    const char* kind() const override { return "REAL picks"; }

    bool take(std::string_view line, bool cut, std::vector<Pick>& picks,
              std::string& why) override {
        const Words words(line);
        if (words.size() == 0) return true;
        if (words.size() != 3) {
            why = format("%zu of 3 numbers", words.size());
            if (words.size() < 3 && cut) why += ", the file ends in the middle of the line";
            return false;
        }
        Pick pick = common_;
        double seconds = 0.0, amplitude = 0.0;
        if (!words.number(0, "time", seconds, why) ||
            !words.number(1, "weight", pick.quality, why) ||
            !words.number(2, "amplitude", amplitude, why) ||
            !set_time(day_ + seconds, words, 0, pick, why)) {
            return false;
        }
        picks.push_back(std::move(pick));
        return true;
    }

  private:
    Pick common_;
    double day_;
};

/// Events, each with its phases; both count seconds from midnight of the run's first day.
class RealPhaseFormat : public LineFormat {
  public:
    const char* kind() const override { return "REAL phases"; }

    bool take(std::string_view line, bool, std::vector<Pick>& picks, std::string& why) override {
        const Words words(line);
        if (words.size() == 0) return true;
        if (words.size() == kPhaseWords) return take_phase(words, picks, why);
        day_.reset();
        if (words.size() == kEventWords || words.size() == kEventWords - 1) {
            return take_event(words, why);
        }
        why = format("%zu words, an event has %zu and a phase %zu", words.size(), kEventWords,
                     kPhaseWords);
        return false;
    }

  private:
    static constexpr size_t kPhaseWords = 9;
    static constexpr size_t kEventWords = 17;  // one less before May 2021

    // The day of the month is the first day's plus whole days, so that it may pass the month's end.
    bool take_event(const Words& words, std::string& why) {
        constexpr long long kMostDays = 10000;
        long long year = 0, month = 0, day = 0;
        double seconds = 0.0;
        if (!words.whole(1, "year", 1000, 9998, year, why) ||
            !words.whole(2, "month", 1, 12, month, why) ||
            !words.whole(3, "day", 1, kMostDays, day, why) ||
            !words.number(5, "time", seconds, why)) {
            return false;
        }
        const auto clock = epoch("1970-01-01T" + std::string(words[4]));
        if (!clock) {
            why = "'" + std::string(words[4]) + "' is not a time of day" + words.place(4);
            return false;
        }
        const double origin = midnight(year, month, day) + *clock;
        day_ = std::round((origin - seconds) / kDay) * kDay;
        constexpr double kRounded = 0.1;  // s, more than two prints of one time differ by
        if (std::fabs(origin - *day_ - seconds) <= kRounded) return true;
        why = "'" + std::string(words[5]) + "' is not the same time in seconds of a day" +
              words.place(5);
        day_.reset();
        return false;
    }

    bool take_phase(const Words& words, std::vector<Pick>& picks, std::string& why) const {
        Pick pick;
        double seconds = 0.0;
        if (!day_) {
            why = "a phase without an event in front";
            return false;
        }
        if (!words.number(3, "time", seconds, why) ||
            !words.number(7, "weight", pick.quality, why) ||
            !set_time(*day_ + seconds, words, 3, pick, why)) {
            return false;
        }
        pick.network = words[0];
        pick.station = words[1];
        pick.phase = words[2];
        picks.push_back(std::move(pick));
        return true;
    }

    std::optional<double> day_;  // where seconds are counted from
};

/// "20161014", a day.
std::optional<double> day_of(std::string_view name) {
    const auto date = name.size() == 8 ? whole_number(name) : std::nullopt;
    if (!date || *date < 10000101) return std::nullopt;
    const long long month = *date / 100 % 100, day = *date % 100;
    if (month < 1 || month > 12 || day < 1 || day > 31) return std::nullopt;
    return midnight(*date / 10000, month, day);
}

std::string_view file_of(std::string_view path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

bool is_real_pick_file(std::string_view path) {
    const std::string_view file = file_of(path);
    const size_t dot = file.find('.');
    return (file.ends_with(".P.txt") || file.ends_with(".S.txt")) && dot > 0 &&
           dot + 6 < file.size();
}

// The station's code may hold dots itself: WI.N.IKWH.P.txt.
std::unique_ptr<LineFormat> make_real_pick_format(std::string_view path,
                                                  const PickFileOptions& options,
                                                  std::string& error) {
    const std::string_view file = file_of(path);
    const size_t dot = file.find('.');
    Pick common;
    common.network = file.substr(0, dot);
    common.station = file.substr(dot + 1, file.size() - dot - 7);
    common.phase = file.substr(file.size() - 5, 1);
    std::string_view folder = path.substr(0, path.size() - file.size());
    if (folder.ends_with('/')) folder.remove_suffix(1);
    auto day = day_of(file_of(folder));
    if (!day) day = options.start;
    if (!day) {
        error = std::string(path) +
                ": REAL's picks are seconds of a day, and the folder is not called as one "
                "(YYYYMMDD): give it (--start)";
        return nullptr;
    }
    return std::make_unique<RealPickFormat>(std::move(common), *day);
}

// "1 2016 10 14 00:00:09.270 9.2704 ..."
bool looks_like_real_phases(std::string_view line) {
    const Words words(line);
    return words.size() >= 16 && words.all_numbers(0, 4) && whole_number(words[0]) &&
           words[4].find(':') != line.npos && words.all_numbers(5, 10);
}

std::unique_ptr<LineFormat> make_real_phase_format() { return std::make_unique<RealPhaseFormat>(); }

}  // namespace velorix::assoc
