#ifndef VELORIX_TTCALC_FIRST_TIMES_H
#define VELORIX_TTCALC_FIRST_TIMES_H
// First P and S of one source at many receivers.
#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "platform/ttcalc/first_table.h"
#include "platform/ttcalc/receivers.h"

namespace velorix::tt {

struct State;

/// Tables of one pair of radii.
struct FirstTables {
    double r_low, r_end, highest;
    FirstTable p, s;
    int64_t last_use;

    size_t bytes() const { return p.bytes() + s.bytes(); }
};

/**
 * Tables by use, in bounded memory. A table is made once its pair has been asked for often enough
 * to pay, and gives way only when it has not been used for long: where more pairs take turns than
 * fit, those that fit stay.
 */
class FirstTableCache {
  public:
    static constexpr size_t kMostBytes = 12u << 20;

    explicit FirstTableCache(std::shared_ptr<const ModelRays> rays);

    /// The tables, or null while they do not pay; `receivers` are to be asked about now.
    const FirstTables* find(double r_low, double r_end, double highest, size_t receivers);

  private:
    bool has_room();

    std::shared_ptr<const ModelRays> rays_;
    std::list<FirstTables> tables_;  // latest use first
    size_t bytes_ = 0;
    int64_t asked_ = 0;  // receivers so far
    struct Visit {
        double r_low = 0.0, r_end = 0.0;
        size_t asked = 0;
    };
    std::vector<Visit> visits_;  // of pairs without tables, by a hash of the radii
};

/// The tables of a thread and its scratch.
class FirstTimes {
  public:
    explicit FirstTimes(std::shared_ptr<const ModelRays> rays);
    ~FirstTimes();

    /**
     * Fills the arrays of a source; see ttfirst.
     * REQUIRES: state.model is of these rays.
     */
    void fill(State& state, const TTPoint& source, const TTReceivers& receivers, TTFirst* p,
              TTFirst* s, double* distance);

    /// Receivers so far, and those among them for which all arrivals were computed.
    struct Count {
        int64_t all = 0, searched = 0;
    };
    Count count() const { return count_; }

  private:
    struct Batch;
    void batch(State& state, const TTPoint& source, const TTReceivers& receivers,
               const FirstTables* tables, size_t first, size_t count);
    void evaluate(const FirstTable& table, bool lifted, First which, size_t count);
    void flush(const FirstTable& table, bool lifted, First which);
    void take(const FirstTable& table, First which, size_t item);
    void take_doubtful(const FirstPiece& piece, First which, size_t item);
    void search(State& state, const TTPoint& source, const TTReceivers& receivers,
                uint32_t receiver);
    void store(State& state, TTFirst* out, uint32_t receiver, const Arrival& arrival,
               double r_receiver);

    std::shared_ptr<const ModelRays> rays_;
    FirstTableCache tables_;
    std::unique_ptr<Batch> batch_;
    Count count_;
    TTFirst *p_ = nullptr, *s_ = nullptr;  // of the call under way
    double* distance_ = nullptr;
};

}  // namespace velorix::tt
#endif
