#ifndef VELORIX_ASSOC_ACTIVITY_H
#define VELORIX_ASSOC_ACTIVITY_H
// When a station was at work, as far as its picks tell.
#include <cmath>
#include <cstdint>
#include <map>

namespace velorix::assoc {

/// Hours with a pick, a word of bits a day: about 20 kB for a year.
class Activity {
  public:
    void add(double time) {
        const int64_t hour = hour_of(time);
        days_[day_of(hour)] |= bit_of(hour);
        ++picks_;
    }
    /// A pick in the hour of a time, the one before or the one behind.
    bool near(double time) const {
        const int64_t hour = hour_of(time);
        return has(hour - 1) || has(hour) || has(hour + 1);
    }
    long picks() const { return picks_; }

  private:
    static int64_t hour_of(double time) { return static_cast<int64_t>(std::floor(time / 3600.0)); }
    static int64_t day_of(int64_t hour) { return (hour - (hour % 24 + 24) % 24) / 24; }
    static uint32_t bit_of(int64_t hour) {
        return uint32_t{1} << static_cast<uint32_t>((hour % 24 + 24) % 24);
    }
    bool has(int64_t hour) const {
        const auto day = days_.find(day_of(hour));
        return day != days_.end() && (day->second & bit_of(hour)) != 0;
    }

    std::map<int64_t, uint32_t> days_;
    long picks_ = 0;
};

}  // namespace velorix::assoc
#endif
