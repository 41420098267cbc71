#include "ray_times.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/geodesy/geodesy.h"
#include "platform/ttcalc/arrival_selection.h"
#include "support/units.h"

namespace velorix::assoc {
namespace {

std::string text_of(const char* field) {
    return std::string(field, strnlen(field, VELORIX_NAME_SIZE));
}

}  // namespace

RayTimes::RayTimes(const Velorix& grid)
    : grid_(grid), method_(text_of(grid.method)), model_(text_of(grid.model)) {}

RayTimes::~RayTimes() { freehook(&hook_); }

Times RayTimes::at(const Position& from, int station) const {
    const Station& sta = grid_.stations[station];
    const TTGeometry geometry{{from.lat, from.lon, from.depth, 0.0, ""},
                              {sta.lat, sta.lon, -sta.elev, 0.0, ""}};
    Times out;
    const int found = ttcalc(method_.c_str(), model_.c_str(), "P,S", 0, &geometry, &times_, &hook_);
    if (found < 1) return out;
    double delta = 0.0;
    dist(radians(sta.lat), radians(sta.lon), radians(from.lat), radians(from.lon), &delta, nullptr);
    delta *= kDegreesPerRadian;
    if (grid_.P_times) out.p = first_arrival(times_, delta, qualifies_as_P);
    if (grid_.S_times) out.s = first_arrival(times_, delta, qualifies_as_S);
    return out;
}

// A few nodes and stations: a grid may come from another model under the same name.
bool RayTimes::agrees() const {
    constexpr double kSame = 0.01;  // s
    if (method_.empty() || model_.empty() || grid_.nn < 1 || grid_.ns < 1) return false;
    for (int k = 0; k < 5; ++k) {
        const int32_t node = static_cast<int32_t>(int64_t{grid_.nn - 1} * k / 4);
        const int32_t station = static_cast<int32_t>(int64_t{grid_.ns - 1} * k / 4);
        const Source& source = grid_.sources[node];
        const Times now = at({source.lat, source.lon, source.depth}, station);
        Times then;
        velorix_get_ttimes(&grid_, station, node, 0, 0, &then.p, &then.s);
        if (!(std::fabs(now.p - then.p) <= kSame && std::fabs(now.s - then.s) <= kSame)) {
            return false;
        }
    }
    return true;
}

}  // namespace velorix::assoc
