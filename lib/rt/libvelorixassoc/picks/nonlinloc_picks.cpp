// Phases of NonLinLoc (Lomax et al. 2000): observations (.obs), and the same lines in the PHASE
// blocks of its locations (.hyp), whose calculated part stands behind '>'.
#include "../support/csv_line.h"
#include "../support/text_values.h"
#include "../support/times.h"
#include "../support/words.h"
#include "pick_format.h"
#include "station_code.h"

namespace velorix::assoc {
namespace {

enum Word { kStation, kInstrument, kComponent, kOnset, kPhase, kMotion, kDate, kClock, kSeconds };
constexpr size_t kLeastWords = 9;
constexpr size_t kPriorWeight = 14;  // from the second version on

std::string known(std::string_view word) { return std::string(word == "?" ? "" : word); }

// There is no field for codes beside the station's: people write NET_STA_LOC_CHA.
void take_codes_apart(Pick& pick) {
    const auto parts = split_csv(pick.station, '_');
    if (parts && parts->size() == 4 && !(*parts)[0].empty() && !(*parts)[1].empty()) {
        pick.network = (*parts)[0];
        pick.station = (*parts)[1];
        pick.location = (*parts)[2];
        pick.channel = (*parts)[3];
    }
    take_network_apart(pick);
}

bool parse(const Words& words, Pick& pick, std::string& why) {
    if (words.size() < kLeastWords) {
        why = format("%zu words, a phase has at least %zu", words.size(), kLeastWords);
        return false;
    }
    long long date = 0, clock = 0;
    double seconds = 0.0;
    if (!words.whole(kDate, "date", 10000101, 99981231, date, why) ||
        !words.whole(kClock, "hour and minute", 0, 2459, clock, why) ||
        !words.number(kSeconds, "seconds", seconds, why)) {
        return false;
    }
    const long long month = date / 100 % 100, day = date % 100;
    if (month < 1 || month > 12 || day < 1 || day > 31) {
        why = "'" + std::string(words[kDate]) + "' is not a date (YYYYMMDD)" + words.place(kDate);
        return false;
    }
    // Below 0 or above 60 where phases of an event count from one minute.
    const long long minutes = clock / 100 * 60 + clock % 100;
    pick.time = midnight(date / 10000, month, day) + 60.0 * static_cast<double>(minutes) + seconds;
    if (!in_calendar(pick.time)) {
        why = "'" + std::string(words[kSeconds]) + "' is out of all time" + words.place(kSeconds);
        return false;
    }
    if (words.size() > kPriorWeight && words[kPriorWeight] != ">" &&
        !words.number(kPriorWeight, "prior weight", pick.quality, why)) {
        return false;
    }
    pick.station = words[kStation];
    pick.channel = known(words[kComponent]);
    pick.phase = known(words[kPhase]);
    take_codes_apart(pick);
    return true;
}

class NonLinLocFormat : public LineFormat {
  public:
    const char* kind() const override { return "NonLinLoc phases"; }

    bool take(std::string_view line, bool, std::vector<Pick>& picks, std::string& why) override {
        const Words words(line);
        if (words.size() == 0 || words[0].starts_with('#') || !wanted(words[0])) return true;
        Pick pick;
        if (!parse(words, pick, why)) return false;
        picks.push_back(std::move(pick));
        return true;
    }

  private:
    // Of a location only what stands between PHASE and END_PHASE.
    bool wanted(std::string_view first) {
        if (first == "PUBLIC_ID") return false;
        if (first == "NLLOC" || first == "END_NLLOC") {
            location_ = first == "NLLOC";
            phases_ = false;
            return false;
        }
        if (!location_) return true;
        if (first == "PHASE" || first == "END_PHASE") {
            phases_ = first == "PHASE";
            return false;
        }
        return phases_;
    }

    bool location_ = false, phases_ = false;
};

}  // namespace

bool looks_like_nonlinloc(std::string_view line) {
    const Words words(line);
    if (words.size() == 0) return false;
    if ((words[0] == "NLLOC" || words[0] == "PUBLIC_ID") && words.size() > 1) return true;
    return words.size() > kLeastWords && words[kDate].size() == 8 && words[kClock].size() == 4 &&
           words.all_numbers(kDate, kSeconds + 1) && !number(words[kSeconds + 1]);
}

std::unique_ptr<LineFormat> make_nonlinloc_format() { return std::make_unique<NonLinLocFormat>(); }

}  // namespace velorix::assoc
