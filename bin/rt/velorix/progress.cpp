#include "progress.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr double kUnset = -999.9;
constexpr double kThresholds[] = {0, 1, 5, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100};
constexpr int kLast = static_cast<int>(sizeof kThresholds / sizeof *kThresholds) - 1;

// What the display remembers between calls.
struct Display {
    char name[65] = "";       // grid of the previous call
    double depth = kUnset;    // whose label was printed last
    double percent = kUnset;  // last threshold printed; unset: the line has not been started
};
Display display;

void start_grid(const char* name) {
    if (std::strncmp(name, display.name, sizeof display.name - 1) == 0) return;
    std::snprintf(display.name, sizeof display.name, "%s", name);
    display.depth = kUnset;
    display.percent = kUnset;
}

void start_depth(double depth) {
    if (depth == display.depth) return;
    display.depth = depth;
    std::fprintf(stderr, "%5.1f depth ", depth);
    std::fflush(stderr);
    display.percent = kUnset;
}

// Every threshold that was passed since the last call; false when the next one is still ahead.
bool print_passed(double percent) {
    for (int i = 0; i < kLast; ++i) {
        if (kThresholds[i] != display.percent) continue;
        if (kThresholds[i + 1] > percent) return false;
        display.percent = kThresholds[i + 1];
        std::fprintf(stderr, "%.1f%% ", display.percent);
        std::fflush(stderr);
    }
    return true;
}

}  // namespace

void mycallback(const char* name, int genmode, double, double, double depth, double percent) {
    start_grid(name);
    if (genmode == 0) start_depth(depth);
    if (display.percent == kUnset) {
        display.percent = 0.0;
        std::fputs("0.0% ", stderr);
        std::fflush(stderr);
        return;
    }
    if (!print_passed(percent)) return;
    std::fputc('\n', stderr);
    std::fflush(stderr);
}
