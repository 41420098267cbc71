#include "setupgrid/coords_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "support/c_array.h"
#include "support/scan_number.h"
#include "velorix.h"

namespace {

constexpr int kFirstCapacity = 1000;
constexpr double kGrowth = 1.5;
// As many positions as the 32-bit sizes of a grid hold.
constexpr int kMostPoints = INT32_MAX / static_cast<int>(sizeof(Source));
// A device may never end; what a pipe brings stays far below it. 320 MB of points.
constexpr int kMostStreamed = 10'000'000;

using CoordsPtr = velorix::Owned<Coords, coords_free>;

struct Column {
    const char* name;
    double* Coords::*values;
};
constexpr Column kColumns[] = {{"lat", &Coords::lat},
                               {"lon", &Coords::lon},
                               {"depth", &Coords::depth},
                               {"prob", &Coords::prob}};

CoordsPtr new_coords() {
    CoordsPtr coords(static_cast<Coords*>(velorix::c_allocate(sizeof(Coords))));
    if (!coords) {
        elog_log(1, "read_coords: malloc(Coords,%ld) error.\n", static_cast<long>(sizeof(Coords)));
        return nullptr;
    }
    constexpr size_t bytes = kFirstCapacity * sizeof(double);
    for (const Column& column : kColumns) {
        auto* values = static_cast<double*>(velorix::c_allocate(bytes));
        if (!values) {
            elog_log(1, "read_coords: malloc(%s,%ld) error.\n", column.name,
                     static_cast<long>(bytes));
            return nullptr;
        }
        (*coords).*column.values = values;
    }
    coords->size = kFirstCapacity;
    return coords;
}

bool grow(Coords& coords) {
    const int capacity = static_cast<int>(coords.size * kGrowth);
    const size_t bytes = static_cast<size_t>(capacity) * sizeof(double);
    for (const Column& column : kColumns) {
        auto* values = static_cast<double*>(velorix::c_reallocate(coords.*column.values, bytes));
        if (!values) {
            elog_log(1, "read_coords: realloc(%s,%ld) error.\n", column.name,
                     static_cast<long>(bytes));
            return false;
        }
        coords.*column.values = values;
    }
    coords.size = capacity;
    return true;
}

bool append(Coords& coords, const double (&point)[3]) {
    if (coords.npoints == coords.size && !grow(coords)) return false;
    coords.lat[coords.npoints] = point[0];
    coords.lon[coords.npoints] = point[1];
    coords.depth[coords.npoints] = point[2];
    coords.prob[coords.npoints] = 0.0;
    ++coords.npoints;
    return true;
}

constexpr int kInputFailure = -1;

// How many of the three numbers a line starts with; kInputFailure when it holds nothing but blanks.
int scan_point(std::string_view line, double (&point)[3]) {
    velorix::skip_blanks(line);
    if (line.empty()) return kInputFailure;
    int count = 0;
    while (count < 3 && velorix::scan_number(line, point[count])) ++count;
    return count;
}

bool too_long(const char* filename, int most, const char* what) {
    elog_log(0, "read_coords: %s has more than %d %s.\n", filename, most, what);
    return false;
}

bool is_regular(FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
}

bool read_points(FILE* file, const char* filename, Coords& coords, double depth) {
    constexpr int longest_piece = 127;
    char line[longest_piece + 2];
    const bool ends = is_regular(file);
    int pieces = 0;
    while (std::fgets(line, longest_piece + 1, file)) {
        if (!ends && ++pieces > kMostStreamed) return too_long(filename, kMostStreamed, "lines");
        double point[3] = {0.0, 0.0, depth};
        const int count = scan_point(line, point);
        if (count == kInputFailure) {
            errno = EINVAL;  // the scan itself leaves whatever was there
            elog_log(1, "read_coords: scanf(%s) error.\n", line);
            return false;
        }
        if (count < 2) continue;
        if (count == 2) point[2] = depth;
        if (coords.npoints == kMostPoints) return too_long(filename, kMostPoints, "points");
        if (!append(coords, point)) return false;
    }
    return true;
}

}  // namespace

extern "C" int read_coords(const char* filename, Coords** grid, double depth) {
    *grid = nullptr;
    CoordsPtr coords = new_coords();
    if (!coords) return -1;
    const velorix::Owned<FILE, std::fclose> file(std::fopen(filename, "r"));
    if (!file) {
        elog_log(1, "read_coords: fopen(%s) error.\n", filename);
        return -1;
    }
    if (!read_points(file.get(), filename, *coords, depth)) return -1;
    if (std::ferror(file.get())) {
        elog_log(1, "read_coords: fgets(%s) error.\n", filename);
        return -1;
    }
    *grid = coords.release();
    return 0;
}

extern "C" int coords_free(Coords* g) {
    if (!g) return 0;
    for (const Column& column : kColumns) std::free(g->*column.values);
    std::free(g);
    return 0;
}
