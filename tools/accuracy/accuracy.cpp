// Compares the calculator with every reference table of a folder: errors of the first P and S times
// and of their slownesses, per model and depth band.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tools/accuracy/reference.h"

namespace fs = std::filesystem;
using namespace velorix::accuracy;

namespace {

constexpr double kTimeGate = 0.01;      // s
constexpr double kSlownessGate = 1e-3;  // s/deg
constexpr double kClearNext = 0.02;     // s; closer arrivals may swap first place

struct Errors {
    std::vector<double> p, s, slowness;
};

struct Worst {
    double error = 0.0;
    std::string where;

    void note(double candidate, const std::string& file, const Row& row) {
        if (candidate <= error && std::isfinite(candidate)) return;
        error = candidate;
        where = file + ":" + std::to_string(row.line);
    }
};

struct Report {
    std::map<std::string, Errors> bands;
    Worst time, slowness;
    int over_gate = 0;
    int edges = 0;
};

const char* band_of(double depth) {
    if (depth < 35.0) return "0-35";
    if (depth < 210.0) return "35-210";
    return depth < 410.0 ? "210-410" : "410-800";
}

void add_slowness(Errors& errors, Report& report, const std::string& file, const Row& row,
                  double error, double next) {
    if (!std::isfinite(error) || (next >= 0.0 && next <= kClearNext)) return;
    errors.slowness.push_back(error);
    report.slowness.note(error, file, row);
}

bool judge(const Row& row, const std::string& file, Hook** hook, Report& report) {
    FirstArrivals first{};
    if (!compute_first(row, first, hook)) return false;
    std::string band = band_of(row.source_depth);
    if (row.receiver_depth != 0.0) band = "z_rec!=0";
    Errors& errors = report.bands[row.model + "\t" + band];
    if (row.edge) {
        ++report.edges;
    } else {
        const double error = std::fabs(first.p_time - row.first.p_time);
        errors.p.push_back(error);
        report.time.note(error, file, row);
        if (!(error <= kTimeGate)) {
            ++report.over_gate;
            std::printf("%s:%d: P %.5f, reference %.5f\n", file.c_str(), row.line, first.p_time,
                        row.first.p_time);
        }
        add_slowness(errors, report, file, row, std::fabs(first.p_slowness - row.first.p_slowness),
                     row.next_p);
    }
    const double error = std::fabs(first.s_time - row.first.s_time);
    errors.s.push_back(error);
    report.time.note(error, file, row);
    if (!(error <= kTimeGate)) {
        ++report.over_gate;
        std::printf("%s:%d: S %.5f, reference %.5f\n", file.c_str(), row.line, first.s_time,
                    row.first.s_time);
    }
    add_slowness(errors, report, file, row, std::fabs(first.s_slowness - row.first.s_slowness),
                 row.next_s);
    return true;
}

void print_line(const std::string& band, const char* quantity, std::vector<double>& errors) {
    if (errors.empty()) return;
    std::sort(errors.begin(), errors.end());
    const size_t n = errors.size();
    const size_t tab = band.find('\t');
    std::printf("%-9s %-8s %-11s %6zu  %.6f  %.6f  %.6f\n", band.substr(0, tab).c_str(),
                band.substr(tab + 1).c_str(), quantity, n, errors[n - 1],
                errors[std::min(n - 1, n * 99 / 100)], errors[n / 2]);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s folder\n", argv[0]);
        return 2;
    }
    Report report;
    Hook* hook = nullptr;
    std::error_code status;
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(argv[1], status)) {
        const std::string name = entry.path().filename().string();
        const bool wanted = name.starts_with("first_arrivals") || name.starts_with("edge_cases");
        if (wanted && entry.path().extension() == ".tsv") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    size_t pairs = 0;
    for (const fs::path& file : files) {
        std::vector<Row> rows;
        std::string error;
        if (!read_table(file, rows, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            return 1;
        }
        for (const Row& row : rows) {
            if (!judge(row, file.filename().string(), &hook, report)) return 1;
        }
        pairs += rows.size();
    }
    freehook(&hook);
    if (pairs == 0) {
        std::fprintf(stderr, "%s: no reference tables here\n", argv[1]);
        return 1;
    }
    std::printf("model     depth km quantity     pairs  max       p99       median\n");
    for (auto& [band, errors] : report.bands) {
        print_line(band, "P s", errors.p);
        print_line(band, "S s", errors.s);
        print_line(band, "p s/deg", errors.slowness);
    }
    std::printf(
        "%zu pairs of %zu tables; P not judged at %d edge rows; worst time %.6f s at %s, "
        "worst slowness %.6f s/deg at %s\n",
        pairs, files.size(), report.edges, report.time.error, report.time.where.c_str(),
        report.slowness.error, report.slowness.where.c_str());
    if (report.slowness.error > kSlownessGate) {
        std::printf("slowness beyond %g s/deg\n", kSlownessGate);
    }
    if (report.over_gate > 0) std::printf("%d times beyond %g s\n", report.over_gate, kTimeGate);
    return report.over_gate > 0 || report.slowness.error > kSlownessGate ? 1 : 0;
}
