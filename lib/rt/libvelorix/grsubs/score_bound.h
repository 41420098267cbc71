#ifndef VELORIX_GRSUBS_SCORE_BOUND_H
#define VELORIX_GRSUBS_SCORE_BOUND_H
// What a node can score at most, from a histogram of its origin times: the members of a cluster lie
// in five neighbouring bins, tightness adds kLargestBonus at most, and the pre-window only takes
// away. Where in time a score may be reached follows from the same sums.
#include <cstdint>
#include <vector>

#include "grsubs/bin_kernels.h"
#include "grsubs/scan_candidates.h"

namespace velorix {

class ScoreBound {
  public:
    /// Travel times of a node: candidate k of a phase takes row[index[k]], seconds.
    struct Rows {
        const float* p;
        const float* s;
        const int32_t* p_index;
        const int32_t* s_index;
    };

    /// REQUIRES: `candidates` outlives the use of the bound. Throws std::bad_alloc.
    void prepare(const ScanCandidates& candidates, double prewindow);

    /// Takes a node's origin times; every candidate counts 1, or `weight` [n] when not null.
    /// False when a travel time is broken or out of range: then nothing is known of the node.
    bool take(const Rows& rows, const float* weight);

    /// No score of the node is above this.
    double largest() const;

    /// Keeps the candidates among which every cluster with a score of `bar` or more lies, with all
    /// that its score depends on.
    void keep_from(double bar);

    bool kept(int k) const { return kept_[bin_[static_cast<size_t>(k)]] != 0; }

  private:
    template <class T>
    struct Histogram {
        std::vector<T> bins;  // [nbins + 4] the first four again at the end
        std::vector<T> sums;  // [nbins] over five bins
        T largest = 0;

        void resize(int nbins);
        void sum(int nbins);
    };

    void keep_around(int bin);
    double bound_of(double window) const;
    template <class T, class Add>
    void fill(Histogram<T>& histogram, Add add);
    template <class T>
    void keep_windows(const Histogram<T>& histogram, T least);

    const ScanCandidates* candidates_ = nullptr;
    int nbins_ = 0;
    int prewindow_bins_ = 0;
    bool weighted_ = false;
    double rounding_ = 1;  // of sums of narrowed weights
    Binning binning_{};
    Histogram<int16_t> counts_;
    Histogram<float> weights_;
    std::vector<uint16_t> bin_;  // by candidate
    std::vector<uint8_t> kept_;  // by bin
};

}  // namespace velorix
#endif
