// velorix._core: the libraries as the Python files beside it call them.
#include <utility>

#include "bindings.h"
#include "log.h"

namespace velorix::python {
namespace {

void translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(std::move(thrown));
    } catch (const Failure& failure) {
        // Messages quote files of others, whose bytes may be anything.
        const py::object text = py::bytes(failure.what()).attr("decode")("utf-8", "replace");
        const py::object error = py::module_::import("velorix._core").attr("VelorixError");
        PyErr_SetObject(error.ptr(), text.ptr());
    } catch (const Interrupted&) {
        // The handler has set Python's error.
    }
}

}  // namespace
}  // namespace velorix::python

PYBIND11_MODULE(_core, module) {
    namespace py = pybind11;
    using namespace velorix::python;
    const py::module_ builtins = py::module_::import("builtins");
    const auto make = [&](const char* name, const char* base, const char* text) {
        py::dict members;
        members["__doc__"] = text;
        members["__module__"] = "velorix";
        module.attr(name) =
            builtins.attr("type")(name, py::make_tuple(builtins.attr(base)), members);
    };
    make("VelorixError", "RuntimeError", "A failure, with what the library says of it.");
    module.attr("version") = VELORIX_VERSION;
    // Whether arrays of numpy 2 are understood.
    module.attr("knows_numpy_2") = PYBIND11_VERSION_HEX >= 0x020C0000;
    make("VelorixWarning", "UserWarning", "Something is odd, but the work goes on.");
    install_log();
    py::register_local_exception_translator(translate);
    bind_travel_times(module);
    bind_grids(module);
    bind_picks(module);
    bind_events(module);
    bind_stream(module);
    bind_scan(module);
}
