#ifndef VELORIX_ASSOC_RAY_TIMES_H
#define VELORIX_ASSOC_RAY_TIMES_H
// Travel times from any place, by the calculator and the earth model that a grid was made with.
#include <string>

#include "../velorixassoc.h"

namespace velorix::assoc {

/// Travel times; negative when the grid carries no such table.
struct Times {
    double p = -1.0, s = -1.0;
};

class RayTimes {
  public:
    explicit RayTimes(const Velorix& grid);
    ~RayTimes();
    RayTimes(const RayTimes&) = delete;
    RayTimes& operator=(const RayTimes&) = delete;

    /// The calculator knows the grid's model and repeats its table. To be asked once, first.
    bool agrees() const;
    /// First P and S at a station, of the tables that the grid carries; negative after a failure.
    Times at(const Position& from, int station) const;

  private:
    const Velorix& grid_;
    std::string method_, model_;
    mutable Tbl* times_ = nullptr;  // the calculator's answer, owned by its state
    mutable Hook* hook_ = nullptr;
};

}  // namespace velorix::assoc
#endif
