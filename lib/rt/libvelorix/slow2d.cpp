// Horizontal slowness to the distance of the first P-type arrival that has it.
#include "slow2d.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

#include "platform/elog/elog.h"
#include "platform/ttcalc/ttcalc.h"
#include "support/c_array.h"
#include "velorix_pvt.h"

namespace {

constexpr int kSamples = 18000;
constexpr double kStep = 0.01;         // degrees; also the first distance
constexpr double kTolerance = 0.0001;  // s/km, of an answer against the request

/// One sampled distance that has a usable phase.
struct mystuff_ {
    double distance;  // degrees
    double time;      // not used
    double slowness;  // s/km
    char phase[8];
};
static_assert(sizeof(mystuff_) == 32);

/// Where a phase stands in the table, and between which slownesses.
struct Phase {
    const char* name;
    int first = -1;
    int last = -1;
    double min = 0.0;
    double max = 0.0;
};

enum { kPn, kP, kPKiKP, kPKPdf, kPhases };

/// The table of the process.
struct Table {
    velorix::CArray<mystuff_> entries;
    char model[VELORIX_NAME_SIZE + 1] = "";  // what it was built for
    double depth = 0.0;
    int count = 0;
    Phase phases[kPhases] = {{"Pn"}, {"P"}, {"PKiKP"}, {"PKPdf"}};
};
Table table;

Phase* phase_named(Table& into, const char* name) {
    for (Phase& phase : into.phases) {
        if (std::strcmp(phase.name, name) == 0) return &phase;
    }
    return nullptr;
}

void append(Table& into, Phase& phase, double distance, double slowness) {
    mystuff_& entry = into.entries[into.count];
    entry.distance = distance;
    entry.slowness = slowness;
    std::memcpy(entry.phase, phase.name, std::strlen(phase.name) + 1);
    if (phase.first == -1) {
        phase.first = into.count;
        phase.min = phase.max = slowness;
    }
    if (slowness > phase.max) phase.max = slowness;
    if (slowness < phase.min) phase.min = slowness;
    phase.last = into.count++;
}

// The first arrival of a usable phase becomes an entry; a distance without one adds none.
void append_first_usable(Table& into, const Tbl* slows, double distance) {
    for (int i = 0; i < maxtbl(slows); ++i) {
        const auto* slow = static_cast<const TTSlow*>(gettbl(slows, i));
        if (Phase* phase = phase_named(into, slow->phase)) {
            append(into, *phase, distance, slow->ux);
            return;
        }
    }
}

bool fill(Table& into, const char* model, double sdepth, double relev) {
    TTGeometry geometry{};
    geometry.source.z = sdepth;
    geometry.receiver.z = -relev;
    Tbl* slows = nullptr;
    double distance = kStep;
    for (int i = 0; i < kSamples; ++i, distance += kStep) {
        geometry.receiver.lon = distance;
        if (ucalc("tttaup", model, "P,S", 0, &geometry, &slows, &hook) < 0) return false;
        append_first_usable(into, slows, distance);
    }
    return true;
}

bool build(const char* model, double sdepth, double relev) {
    Table fresh;
    std::snprintf(fresh.model, sizeof fresh.model, "%s", model);
    fresh.depth = sdepth;
    fresh.entries = velorix::make_c_array<mystuff_>(kSamples);
    if (!fresh.entries) {
        elog_log(1, "malloc error.\n");
        return false;
    }
    // A table that is not finished is dropped, so that the next call starts from nothing.
    if (!fill(fresh, model, sdepth, relev)) return false;
    table = std::move(fresh);
    return true;
}

// The phase that answers a slowness, or null when none does.
const Phase* branch(double slowness) {
    const Phase& P = table.phases[kP];
    const Phase& Pn = table.phases[kPn];
    if (slowness < P.min) {
        if (slowness > table.phases[kPKiKP].max) return nullptr;
        return slowness <= table.phases[kPKPdf].max ? &table.phases[kPKPdf] : &table.phases[kPKiKP];
    }
    if (slowness <= P.max) return &P;
    return slowness >= Pn.min && slowness <= Pn.max ? &Pn : nullptr;
}

// Mantle branches are searched outward, core branches inward; null when the branch is empty.
const mystuff_* search(const Phase& phase, double slowness) {
    if (phase.first < 0) return nullptr;
    const mystuff_* entries = table.entries.get();
    const bool outward = &phase == &table.phases[kP] || &phase == &table.phases[kPn];
    if (outward) {
        for (int i = phase.first; i <= phase.last; ++i) {
            if (entries[i].slowness <= slowness) return &entries[i];
        }
    } else {
        for (int i = phase.last; i >= phase.first; --i) {
            if (entries[i].slowness >= slowness) return &entries[i];
        }
    }
    return nullptr;
}

}  // namespace

namespace velorix {

void reset_slowness_table() { table = Table{}; }

SlownessTable slowness_table() { return {table.entries ? table.model : nullptr, table.depth}; }

}  // namespace velorix

extern "C" int slow2d(const char* model, double sdepth, double relev, double slowness,
                      double* distance, double* slowout) {
    if (!table.entries && !build(model, sdepth, relev)) return -1;
    *distance = -1.0;
    *slowout = -1.0;
    const Phase* phase = branch(slowness);
    const mystuff_* entry = phase ? search(*phase, slowness) : nullptr;
    if (entry && std::fabs(entry->slowness - slowness) <= kTolerance) {
        *distance = entry->distance;
        *slowout = entry->slowness;
    }
    return 0;
}
