#ifndef VELORIX_GRSUBS_SCAN_SAMPLE_H
#define VELORIX_GRSUBS_SCAN_SAMPLE_H
#include <cstdint>

#include "grsubs/node_search.h"

namespace velorix {

/// A range of node numbers; `columns` of a mesh's rows, or 0 where numbers tell nothing of place.
struct NodePiece {
    int32_t first;
    int32_t number;
    int32_t columns;

    bool contains(int64_t i) const { return i >= first && i - first < number; }
};

/// Looks for a high score at few nodes: at every fifth column and row (of numbers: at every 25th
/// node), then uphill from the best of them in shrinking steps.
template <class Score>
class HighScoreSample {
  public:
    /// @param score gives the score of node number i, or anything below the highest given so far
    HighScoreSample(const NodePiece& piece, Score score) : piece_(piece), score_(score) {}

    void run() {
        if (piece_.columns > 0) {
            sample_mesh();
        } else {
            for (int64_t k = kStride / 2; k < piece_.number; k += kStride * kStride) {
                look(piece_.first + k);
            }
        }
        for (int step = kStride - 1; best_ >= 0 && step > 0; step /= 2) {
            for (int move = 0; move < kMostMoves && climb(step); ++move) {
            }
        }
    }

  private:
    static constexpr int kStride = 5;
    static constexpr int kMostMoves = 8;

    void sample_mesh() {
        const int64_t columns = piece_.columns;
        const int64_t end = int64_t{piece_.first} + piece_.number;
        for (int64_t row = piece_.first / columns; row * columns < end; row += kStride) {
            for (int64_t x = kStride / 2; x < columns; x += kStride) look(row * columns + x);
        }
    }

    bool look(int64_t i) {
        if (!piece_.contains(i)) return false;
        const double score = score_(static_cast<int32_t>(i));
        if (!(score > high_)) return false;
        high_ = score;
        best_ = i;
        return true;
    }

    bool climb(int64_t step) {
        const int64_t from = best_;
        bool higher = false;
        if (piece_.columns == 0) {
            higher = look(from - step);
            return look(from + step) || higher;
        }
        const int64_t column = from % piece_.columns;
        for (int64_t dy = -step; dy <= step; dy += step) {
            for (int64_t dx = -step; dx <= step; dx += step) {
                if (column + dx < 0 || column + dx >= piece_.columns || (dx == 0 && dy == 0))
                    continue;
                higher = look(from + dy * piece_.columns + dx) || higher;
            }
        }
        return higher;
    }

    const NodePiece piece_;
    Score score_;
    double high_ = kNoScore;
    int64_t best_ = -1;
};

}  // namespace velorix
#endif
