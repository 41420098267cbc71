#ifndef VELORIX_NODE_ROWS_H
#define VELORIX_NODE_ROWS_H
// Times and distances of many nodes at every station, by several threads, into rows of their own:
// the pass copies what comes before a failure.
#include <memory>
#include <span>
#include <vector>

#include "platform/pmtcomp/pmtcomp.h"
#include "platform/ttcalc/ttcalc.h"
#include "support/grid_name.h"
#include "velorix.h"

namespace velorix {

class NodeRows {
  public:
    /// Rows of these tables are computed, the others not.
    struct Tables {
        bool p, s, distances;
    };

    /**
     * @param hook    the calculator's state; REQUIRES: it has the grid's model open
     * @param threads at least 1; one thread starts none
     */
    NodeRows(const Velorix& grid, Tables tables, Hook** hook, int threads);
    ~NodeRows();
    NodeRows(const NodeRows&) = delete;
    NodeRows& operator=(const NodeRows&) = delete;

    /// False after a logged line: no memory, or no threads.
    bool is_ready() const { return ready_; }

    /// Most nodes of one call.
    size_t most_nodes() const { return most_nodes_; }

    /**
     * Computes the rows of some nodes.
     * @return entries before the first that cannot be computed, all if there is none
     */
    int64_t compute(std::span<const Source> nodes);

    const float* p() const { return p_.data(); }
    const float* s() const { return s_.data(); }
    const float* distances() const { return distances_.data(); }

  private:
    struct Worker;
    bool prepare(Hook** hook, int threads);
    static int64_t work(int32_t first, int32_t count, void* worker);

    const NameText method_, model_;
    Tables tables_;
    TTReceivers* receivers_ = nullptr;
    std::vector<TTPoint> stations_;  // to ask ttcalc about one
    size_t width_ = 0;
    size_t most_nodes_ = 0;
    bool ready_ = false;
    std::span<const Source> nodes_;  // of the call under way
    std::vector<float> p_, s_, distances_;
    std::vector<std::unique_ptr<Worker>> workers_;
    Pmtcomp* group_ = nullptr;
};

}  // namespace velorix

#endif
