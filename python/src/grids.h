#ifndef VELORIX_PYTHON_GRIDS_H
#define VELORIX_PYTHON_GRIDS_H
// Grids that Python holds: read from files, or built.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "log.h"
#include "velorix.h"

namespace velorix::python {

/// A grid with the memory that its arrays lie in; views of Python keep it.
class GridRecord {
  public:
    /// @param heap the buffer of a built grid, released with it; null for one that was read
    GridRecord(Velorix* grid, char* heap) : grid_(grid), heap_(heap) {}
    ~GridRecord();
    GridRecord(const GridRecord&) = delete;
    GridRecord& operator=(const GridRecord&) = delete;

    Velorix* get() const { return grid_; }
    const Velorix& operator*() const { return *grid_; }
    /// The heap as a file holds it, size() bytes.
    const char* bytes() const;

  private:
    Velorix* grid_;
    char* heap_;
};
using GridPtr = std::shared_ptr<GridRecord>;

/// What a grid is made of.
struct GridPlan {
    std::string name;
    std::string toml;      ///< its parameters, as the table [grids.NAME] of a parameter file
    std::string label;     ///< stands for the file in messages
    std::string stations;  ///< a station database
};

/// Lays out and computes a grid as the program does. REQUIRES: no lock of the interpreter.
/// @param progress is given 0 .. 100 now and then, may be empty; what it throws ends the building
/// @param log      of the call: what it says is in the Failure that is thrown
GridPtr build_grid(const GridPlan& plan, const std::function<void(double)>& progress,
                   const LogScope& log);

}  // namespace velorix::python
#endif
