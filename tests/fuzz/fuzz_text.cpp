// Small texts of users: times, numbers, patterns. The first line is a pattern, the rest its text.
#include <cmath>
#include <string>

#include "fuzz.h"
#include "platform/elog/printable.h"
#include "platform/strmatch/strmatches.h"
#include "platform/timeconv/timeconv.h"
#include "support/csv_line.h"
#include "support/text_values.h"
#include "support/times.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using velorix_fuzz::require;
    const velorix_fuzz::Lines lines;
    const std::string whole(velorix_fuzz::text_of(data, size));
    double epoch = 1.5;
    const int result = zstr2epoch(whole.c_str(), &epoch);
    require(result == 0 ? std::isfinite(epoch) : result == -1 && epoch == 1.5);
    if (result == 0) yearday(epoch);
    if (const auto value = velorix::assoc::epoch(whole)) require(std::isfinite(*value));
    if (const auto value = velorix::assoc::number(whole)) require(std::isfinite(*value));
    velorix::assoc::split_csv(whole, ',');
    const std::string shown = velorix::printable(whole);
    for (const unsigned char c : shown) require(c >= 0x20 && c != 0x7f);

    const size_t end = std::min(whole.find('\n'), whole.size());
    const std::string pattern = whole.substr(0, end);
    const std::string text = whole.substr(end);
    const int matches = strmatches(text.c_str(), pattern.c_str(), nullptr);
    require(matches == -1 ? lines.number() > 0 : matches == 0 || matches == 1);
    return 0;
}
