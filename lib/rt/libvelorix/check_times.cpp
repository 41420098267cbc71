// Whether the tables of a grid hold what a travel-time pass can have computed.
#include <algorithm>
#include <span>

#include "platform/elog/elog.h"
#include "platform/elog/guard.h"
#include "support/grid_name.h"
#include "support/grid_view.h"
#include "support/table_place.h"

namespace velorix {
namespace {

// An hour: the slowest first S, through mantle and core to the antipode, takes 27 minutes in the
// standard models, and no velocity model of the Earth doubles that.
constexpr float kLongestTime = 3600.0f;      // s
constexpr float kLongestDistance = 180.01f;  // degrees; half a circle and what floats make of it

/// The first entry outside 0 to `most`, which none that is not finite is within; the size when
/// none.
size_t first_outside(std::span<const float> table, float most) {
    const auto outside = [most](float value) { return !(value >= 0.0f && value <= most); };
    return static_cast<size_t>(std::ranges::find_if(table, outside) - table.begin());
}

struct Check {
    TableKind kind;
    const float* values;
    float most;
    const char* what;
    const char* unit;
};

bool check(const Velorix& grid, const Check& c) {
    if (!c.values) return true;
    const std::span<const float> table(c.values, table_entries(grid, c.kind));
    const size_t at = first_outside(table, c.most);
    if (at == table.size()) return true;
    elog_log(0, "velorix_check_times: Grid %s: %s %s is %g %s, expected 0 to %g.\n",
             name_text(grid.name).c_str(), c.what,
             place_text(grid, c.kind, static_cast<int64_t>(at)).c_str(),
             static_cast<double>(table[at]), c.unit, static_cast<double>(c.most));
    return false;
}

bool check(const Velorix& grid) {
    const Check checks[] = {
        {TableKind::times, grid.P_times, kLongestTime, "the P time", "s"},
        {TableKind::times, grid.S_times, kLongestTime, "the S time", "s"},
        {TableKind::distances, grid.distances, kLongestDistance, "the distance", "degrees"}};
    return std::ranges::all_of(checks, [&](const Check& c) { return check(grid, c); });
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_check_times(const Velorix* grid) {
    return velorix::guarded("velorix_check_times", -1,
                            [&] { return velorix::check(*grid) ? 0 : -1; });
}
