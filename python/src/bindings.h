#ifndef VELORIX_PYTHON_BINDINGS_H
#define VELORIX_PYTHON_BINDINGS_H
// The parts of the module velorix._core.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

namespace velorix::python {

namespace py = pybind11;

void bind_travel_times(py::module_& module);
void bind_grids(py::module_& module);
void bind_picks(py::module_& module);
void bind_events(py::module_& module);
void bind_stream(py::module_& module);
void bind_scan(py::module_& module);

}  // namespace velorix::python
#endif
