#include "grsubs/score_bound.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "grsubs/cluster_bound.h"

namespace velorix {
namespace {

// Covers the rounding of the score itself, a sum of at most a few thousand terms.
constexpr double kSlack = 1e-3;

// Fewer bins fold distant origin times onto each other, more take longer to clear and to sum
// (measured with 80, 300 and 1200 candidates).
int choose_bins(int candidates) {
    constexpr unsigned kBinsPerCandidate = 4;
    constexpr unsigned kFewest = 128;
    constexpr unsigned kMost = 2048;
    const auto wanted = kBinsPerCandidate * std::min(static_cast<unsigned>(candidates), kMost);
    return static_cast<int>(std::bit_ceil(std::clamp(wanted, kFewest, kMost)));
}

}  // namespace

template <class T>
void ScoreBound::Histogram<T>::resize(int nbins) {
    bins.resize(static_cast<size_t>(nbins + kWindowBins - 1));
    sums.resize(static_cast<size_t>(nbins));
}

template <class T>
void ScoreBound::Histogram<T>::sum(int nbins) {
    std::copy_n(bins.begin(), kWindowBins - 1, bins.begin() + nbins);
    largest = sum_windows(nbins, bins.data(), sums.data());
}

void ScoreBound::prepare(const ScanCandidates& candidates, double prewindow) {
    candidates_ = &candidates;
    nbins_ = choose_bins(candidates.n);
    binning_ = {static_cast<float>(candidates.ticks_per_second), static_cast<uint32_t>(nbins_ - 1)};
    // Two more: the start may lie late in its bin, and ticks are rounded.
    const double bins = prewindow * candidates.ticks_per_second / (1 << kTickBits) + 2;
    prewindow_bins_ = bins < nbins_ ? static_cast<int>(std::max(bins, 2.0)) : nbins_;
    rounding_ = 1 + (candidates.n + 4) * double{std::numeric_limits<float>::epsilon()};
    counts_.resize(nbins_);
    weights_.resize(nbins_);
    bin_.resize(static_cast<size_t>(candidates.n));
    kept_.resize(static_cast<size_t>(nbins_));
}

bool ScoreBound::take(const Rows& rows, const float* weight) {
    const ScanCandidates& c = *candidates_;
    if (!bin_origin_times(c.np, c.arrival.data(), rows.p_index, rows.p, binning_, bin_.data()) ||
        !bin_origin_times(c.n - c.np, c.arrival.data() + c.np, rows.s_index, rows.s, binning_,
                          bin_.data() + c.np)) {
        return false;
    }
    weighted_ = weight || c.n > std::numeric_limits<int16_t>::max();
    if (!weighted_) {
        fill(counts_, [](int16_t& bin, int) { ++bin; });
    } else if (weight) {
        fill(weights_, [weight](float& bin, int k) { bin += weight[k]; });
    } else {
        fill(weights_, [](float& bin, int) { bin += 1; });
    }
    return true;
}

template <class T, class Add>
void ScoreBound::fill(Histogram<T>& histogram, Add add) {
    T* bins = histogram.bins.data();
    std::fill_n(bins, nbins_, T{0});
    for (int k = 0; k < candidates_->n; ++k) add(bins[bin_[size_t(k)]], k);
    histogram.sum(nbins_);
}

double ScoreBound::bound_of(double window) const {
    return kLargestBonus + window * rounding_ + kSlack;
}

double ScoreBound::largest() const {
    return bound_of(weighted_ ? static_cast<double>(weights_.largest) : counts_.largest);
}

void ScoreBound::keep_from(double bar) {
    const double least = (bar - kLargestBonus - kSlack) / rounding_;
    if (weighted_) {
        keep_windows(weights_, std::nextafter(static_cast<float>(least), -1e30F));
        return;
    }
    const double count = std::clamp(std::ceil(least - kSlack), 0.0, 32767.0);
    keep_windows(counts_, static_cast<int16_t>(count));
}

template <class T>
void ScoreBound::keep_windows(const Histogram<T>& histogram, T least) {
    std::fill(kept_.begin(), kept_.end(), least > 0 ? uint8_t{0} : uint8_t{1});
    if (!(least > 0)) return;
    for (int b = 0; b < nbins_; ++b) {
        if (histogram.sums[size_t(b)] >= least) keep_around(b);
    }
}

void ScoreBound::keep_around(int bin) {
    if (prewindow_bins_ + kWindowBins >= nbins_) {
        std::fill(kept_.begin(), kept_.end(), uint8_t{1});
        return;
    }
    for (int b = bin - prewindow_bins_; b < bin + kWindowBins; ++b) {
        kept_[static_cast<size_t>(b & (nbins_ - 1))] = 1;
    }
}

}  // namespace velorix
