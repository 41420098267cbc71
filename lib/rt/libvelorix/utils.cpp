// Names and extremes of a grid.
#include <algorithm>
#include <cstring>
#include <span>

#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"
#include "support/grid_view.h"
#include "support/units.h"

namespace {

void extremes(const float* times, int32_t count, double* smallest, double* largest) {
    if (!times || count < 1) return;
    float low = times[0];
    float high = times[0];
    for (int32_t i = 1; i < count; ++i) {
        if (times[i] < low) low = times[i];
        if (times[i] > high) high = times[i];
    }
    *smallest = static_cast<double>(low);
    *largest = static_cast<double>(high);
}

}  // namespace

extern "C" int velorix_get_mode(const Velorix* grid, char* mode) {
    switch (grid->mode) {
        case VELORIX_MODE_GENERAL:
            std::strcpy(mode, "general mesh");
            return 0;
        case VELORIX_MODE_REGULAR:
            std::strcpy(mode, "regular 3d mesh");
            return 0;
        default:
            break;
    }
    elog_log(0, "velorix_get_mode: Unrecognized mode '%d'.\n", grid->mode);
    return -1;
}

extern "C" int velorix_get_type(const Velorix* grid, char* type) {
    switch (grid->type) {
        case VELORIX_TYPE_3D:
            std::strcpy(type, "3D geometry for travel times");
            return 0;
        case VELORIX_TYPE_1D:
            std::strcpy(type, "1D geometry approximation for travel times");
            return 0;
        default:
            break;
    }
    elog_log(0, "velorix_get_type: Unrecognized type '%d'.\n", grid->type);
    return -1;
}

extern "C" int velorix_get_minmax_distance(const Velorix* grid, double* mindistance,
                                           double* maxdistance) {
    using velorix::radians;
    bool first = true;
    const auto count = static_cast<size_t>(std::max(grid->srsize, 0)) / sizeof(Source);
    for (const Source& source : std::span(grid->sources, grid->sources ? count : 0)) {
        for (const Station& station : velorix::stations(*grid)) {
            double delta = 0.0;
            dist(radians(station.lat), radians(station.lon), radians(source.lat),
                 radians(source.lon), &delta, nullptr);
            delta *= velorix::kDegreesPerRadian;
            if (first || delta < *mindistance) *mindistance = delta;
            if (first || delta > *maxdistance) *maxdistance = delta;
            first = false;
        }
    }
    return 0;
}

extern "C" int velorix_get_minmax_ttimes(const Velorix* grid, double* minptime, double* maxptime,
                                         double* minstime, double* maxstime) {
    *minptime = *maxptime = *minstime = *maxstime = -1.0;
    const int32_t count = grid->ttsize / static_cast<int32_t>(sizeof(float));
    extremes(grid->P_times, count, minptime, maxptime);
    extremes(grid->S_times, count, minstime, maxstime);
    return 0;
}
