#ifndef VELORIX_GRSUBS_WEIGHTED_VARIANCE_H
#define VELORIX_GRSUBS_WEIGHTED_VARIANCE_H
// Mean and variance of values that count with weights, from sums over them.

namespace velorix {

/// Sums of w, w^2, w x and w x^2.
struct WeightedSums {
    double w = 0;
    double w2 = 0;
    double x = 0;
    double xx = 0;

    void add(double value, double weight) {
        w += weight;
        w2 += weight * weight;
        x += value * weight;
        xx += value * value * weight;
    }
    double mean() const { return x / w; }
};

/**
 * The unbiased variance for weights that are reliabilities; `otherwise` when they leave less than
 * two values, as when one has all the weight. Rounding may leave it a little below zero. REQUIRES:
 * the weights' sum is positive.
 */
inline double weighted_variance(const WeightedSums& sums, double otherwise) {
    constexpr double kOneValue = 1e-9;  // of a sum of weights about one: what rounding leaves
    const double mean = sums.mean();
    const double spread = sums.w * sums.w - sums.w2;
    return spread > kOneValue ? (sums.xx - mean * mean * sums.w) * sums.w / spread : otherwise;
}

}  // namespace velorix

#endif
