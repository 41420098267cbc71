#include "verify.h"

#include <bit>
#include <cmath>
#include <span>

#include "number_text.h"
#include "platform/elog/printable.h"
#include "platform/ttcalc/ttcalc.h"
#include "support/arc.h"
#include "support/grid_view.h"
#include "support/table_place.h"
#include "velorix_pvt.h"

namespace velorix::info {
namespace {

constexpr size_t kNamed = 10;  // damaged entries that are told one by one
// Degrees; a distance so near to the middle between two samples may go to either.
constexpr double kTie = 1e-6;

// With the library's own state, so that the pass finds the model loaded.
bool has_model(const Velorix& grid) {
    const TTGeometry geometry{{0.0, 0.0, 0.0, 0.0, ""}, {0.0, 1.0, 0.0, 0.0, ""}};
    Tbl* times = nullptr;
    return ttcalc(std::string(fixed_name(grid.method)).c_str(),
                  std::string(fixed_name(grid.model)).c_str(), "P,S", 0, &geometry, &times,
                  &hook) >= 0;
}

/// The tables of a grid computed again; the record is a copy whose other arrays are the grid's.
class Recomputed {
  public:
    explicit Recomputed(const Velorix& grid) : record_(grid) {
        provide(record_.distances, distances_, table_entries(grid, TableKind::distances));
        provide(record_.P_times, p_, table_entries(grid, TableKind::times));
        provide(record_.S_times, s_, table_entries(grid, TableKind::times));
        provide(record_.ttoffsets, offsets_, table_entries(grid, TableKind::offsets));
    }
    bool compute() { return velorix_compute_travel_times(&record_, nullptr) == 0; }
    const Velorix& grid() const { return record_; }

  private:
    // A table that the grid carries stays present when it has no entries.
    template <class T>
    static void provide(T*& table, std::vector<T>& own, size_t entries) {
        if (!table) return;
        own.resize(entries + 1);
        table = own.data();
    }

    Velorix record_;
    std::vector<float> distances_, p_, s_;
    std::vector<uint16_t> offsets_;
};

/// Floats as numbers that rise by one from each to the next.
int64_t rank(float value) {
    const auto bits = std::bit_cast<int32_t>(value);
    return bits >= 0 ? int64_t{bits} : int64_t{INT32_MIN} - bits;
}

class Comparison {
  public:
    Comparison(const Velorix& grid, const Velorix& again, Verification& found)
        : grid_(grid), again_(again), found_(found) {}

    void floats(TableKind kind, const float* stored, const float* computed, const char* what,
                const char* unit) {
        if (!stored) return;
        const size_t count = table_entries(grid_, kind);
        found_.entries += static_cast<int64_t>(count);
        for (size_t i = 0; i < count; ++i) {
            if (std::bit_cast<int32_t>(stored[i]) == std::bit_cast<int32_t>(computed[i])) continue;
            const int64_t steps = std::abs(rank(stored[i]) - rank(computed[i]));
            if (std::isfinite(stored[i]) && steps == 1) {
                ++found_.rounding;
            } else {
                damage(kind, i, what, shortest(stored[i]) + unit, shortest(computed[i]) + unit);
            }
        }
    }

    void offsets() {
        if (!grid_.ttoffsets) return;
        const size_t count = table_entries(grid_, TableKind::offsets);
        found_.entries += static_cast<int64_t>(count);
        for (size_t i = 0; i < count; ++i) {
            const int stored = grid_.ttoffsets[i], computed = again_.ttoffsets[i];
            if (stored == computed) continue;
            if (std::abs(stored - computed) == 1 && is_tie(i)) {
                ++found_.rounding;
            } else {
                damage(TableKind::offsets, i, "the distance sample", std::to_string(stored),
                       std::to_string(computed));
            }
        }
    }

  private:
    bool is_tie(size_t pair) const {
        const Source& source = grid_.sources[pair / static_cast<size_t>(grid_.ns)];
        const Station& station = grid_.stations[pair % static_cast<size_t>(grid_.ns)];
        const double first = again_.distances[0];
        const double step = (again_.distances[grid_.ndist - 1] - first) / (grid_.ndist - 1);
        const double distance = arc_degrees(station.lat, station.lon, source.lat, source.lon);
        const double place = (distance - first) / step;
        return std::fabs(place - std::floor(place) - 0.5) * step < kTie;
    }

    void damage(TableKind kind, size_t entry, const char* what, const std::string& stored,
                const std::string& computed) {
        ++found_.damaged;
        if (found_.first.size() == kNamed) return;
        found_.first.push_back(what +
                               (" " + place_text(again_, kind, static_cast<int64_t>(entry))) +
                               ": " + stored + " stored, " + computed + " computed");
    }

    const Velorix& grid_;
    const Velorix& again_;
    Verification& found_;
};

// What can be said without computing is said in the log.
Verification not_compared(const Velorix& grid, Verification::Outcome outcome) {
    velorix_check_times(&grid);
    Verification found;
    found.outcome = outcome;
    return found;
}

std::string numbers(const Verification& found) {
    const std::string rounding =
        found.rounding == 0 ? ""
                            : ", " + std::to_string(found.rounding) + " differ in the last place";
    if (found.damaged == 0)
        return std::to_string(found.entries) + " entries are as computed again" + rounding;
    // A model of the same name may not be the one that the grid was computed with.
    const bool most = 2 * found.damaged > found.entries;
    return std::to_string(found.damaged) + " of " + std::to_string(found.entries) +
           " entries are damaged" + rounding +
           (most ? "; so many that its model may have been another than the one here" : "");
}

}  // namespace

Verification verify(const Velorix& grid) {
    Verification found;
    if (!has_model(grid)) return not_compared(grid, Verification::Outcome::no_model);
    Recomputed again(grid);
    if (!again.compute()) return not_compared(grid, Verification::Outcome::not_computable);
    Comparison comparison(grid, again.grid(), found);
    comparison.floats(TableKind::distances, grid.distances, again.grid().distances, "the distance",
                      " degrees");
    comparison.floats(TableKind::times, grid.P_times, again.grid().P_times, "the P time", " s");
    comparison.floats(TableKind::times, grid.S_times, again.grid().S_times, "the S time", " s");
    comparison.offsets();
    return found;
}

std::string verification_text(const std::string& file, const Velorix& grid,
                              const Verification& found) {
    const std::string name = printable(file) + ": " + printable(fixed_name(grid.name)) + ": ";
    const std::string model = "model " + printable(fixed_name(grid.model)) + " of method " +
                              printable(fixed_name(grid.method));
    switch (found.outcome) {
        case Verification::Outcome::no_model:
            return name + "not verified, " + model + " is not at hand\n";
        case Verification::Outcome::not_computable:
            return name + "not verified, " + model + " gives no times for its positions\n";
        case Verification::Outcome::compared:
            break;
    }
    std::string text = name + numbers(found) + "\n";
    for (const std::string& entry : found.first) text += "  " + printable(entry) + "\n";
    if (found.damaged > static_cast<int64_t>(found.first.size())) text += "  ...\n";
    return text;
}

}  // namespace velorix::info
