#include "setupgrid/coords_file.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/elog/elog.h"
#include "support/c_array.h"

namespace {

constexpr int kFirstCapacity = 1000;
constexpr double kGrowth = 1.5;

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};
struct FreeCoords {
    void operator()(Coords* coords) const { coords_free(coords); }
};
using CoordsPtr = std::unique_ptr<Coords, FreeCoords>;

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

void skip_blanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
}

bool is_letter(const char* at, const char* last, char lower) {
    return at != last && (*at | 0x20) == lower;
}

// Where scanf goes on behind a number that from_chars ended at `end`: it takes the start of an
// exponent without digits along, knows no payload of a nan, and fails on half of "infinity".
const char* end_of_number(const char* first, const char* end, const char* last, char exponent) {
    constexpr int short_name = 3;  // "inf", "nan"
    if (is_letter(first, last, 'n')) return first + short_name;
    if (is_letter(first, last, 'i'))
        return end - first == short_name && is_letter(end, last, 'i') ? nullptr : end;
    const bool complete = std::any_of(first, end, [&](char c) { return (c | 0x20) == exponent; });
    if (complete || !is_letter(end, last, exponent)) return end;
    ++end;
    return end != last && (*end == '+' || *end == '-') ? end + 1 : end;
}

// One number as "%lf" takes it in the C locale: sign, decimal or hexadecimal, inf, nan.
bool scan_number(std::string_view& text, double& value) {
    skip_blanks(text);
    std::string_view body = text;
    const bool negative = body.starts_with('-');
    if (negative || body.starts_with('+')) body.remove_prefix(1);
    if (body.empty() || body.front() == '-' || body.front() == '+') return false;
    const bool hexadecimal = body.starts_with("0x") || body.starts_with("0X");
    if (hexadecimal) {
        body.remove_prefix(2);
        if (body.find_first_of("0123456789abcdefABCDEF.") != 0) return false;
    }
    const char* first = body.data();
    const char* last = body.data() + body.size();
    double magnitude = 0.0;
    auto result = std::from_chars(
        first, last, magnitude, hexadecimal ? std::chars_format::hex : std::chars_format::general);
    if (result.ec == std::errc::result_out_of_range) {
        const std::string_view digits(first, static_cast<size_t>(result.ptr - first));
        const bool tiny = digits.find("e-") != digits.npos || digits.find("E-") != digits.npos ||
                          digits.find("p-") != digits.npos || digits.find("P-") != digits.npos;
        magnitude = tiny ? 0.0 : HUGE_VAL;
    } else if (result.ec != std::errc{}) {
        return false;
    }
    const char* end = end_of_number(first, result.ptr, last, hexadecimal ? 'p' : 'e');
    if (!end) return false;
    value = negative ? -magnitude : magnitude;
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return true;
}

constexpr int kInputFailure = -1;

// How many of the three numbers a line starts with; kInputFailure when it holds nothing but blanks.
int scan_point(std::string_view line, double (&point)[3]) {
    skip_blanks(line);
    if (line.empty()) return kInputFailure;
    int count = 0;
    while (count < 3 && scan_number(line, point[count])) ++count;
    return count;
}

bool read_points(FILE* file, Coords& coords, double depth) {
    constexpr int longest_piece = 127;
    char line[longest_piece + 2];
    while (std::fgets(line, longest_piece + 1, file)) {
        double point[3] = {0.0, 0.0, depth};
        const int count = scan_point(line, point);
        if (count == kInputFailure) {
            errno = EINVAL;  // the scan itself leaves whatever was there
            elog_log(1, "read_coords: scanf(%s) error.\n", line);
            return false;
        }
        if (count < 2) continue;
        if (count == 2) point[2] = depth;
        if (!append(coords, point)) return false;
    }
    return true;
}

}  // namespace

extern "C" int read_coords(const char* filename, Coords** grid, double depth) {
    *grid = nullptr;
    CoordsPtr coords = new_coords();
    if (!coords) return -1;
    const std::unique_ptr<FILE, CloseFile> file(std::fopen(filename, "r"));
    if (!file) {
        elog_log(1, "read_coords: fopen(%s) error.\n", filename);
        return -1;
    }
    if (!read_points(file.get(), *coords, depth)) return -1;
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
