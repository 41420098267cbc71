#ifndef VELORIX_TOOLS_REFERENCE_H
#define VELORIX_TOOLS_REFERENCE_H
// Reference tables of first arrivals, and the calculator's answers to their rows.
#include <filesystem>
#include <string>
#include <vector>

#include "platform/ttcalc/ttcalc.h"

namespace velorix::accuracy {

/// The first P and the first S of a row, or of an answer. Slownesses in s/deg.
struct FirstArrivals {
    double p_time, s_time, p_slowness, s_slowness;
};

struct Row {
    std::string model;
    double source_depth, receiver_depth, distance;  // km, km, deg
    FirstArrivals first;
    double next_p, next_s;  ///< s from the first to the next arrival; -1 when not given
    bool edge;              ///< the first P jumps for a tiny change of distance
    int line;
};

/// Reads a tab-separated table by its column names (the last `#` line). False with a reason
/// otherwise.
bool read_table(const std::filesystem::path& file, std::vector<Row>& rows, std::string& error);

/// The first P and S of one row by the calculator; false when it fails.
bool compute_first(const Row& row, FirstArrivals& first, Hook** hook);

/// The first P and S in an answer, chosen as a grid chooses them.
FirstArrivals select_first(const Tbl* times, double distance);

}  // namespace velorix::accuracy
#endif
