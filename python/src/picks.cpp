// Rows of tables become picks, by the same names of columns as in files.
#include "picks.h"

#include <algorithm>

#include "bindings.h"
#include "log.h"
#include "picks/pick_format.h"

namespace velorix::python {

PickTable::PickTable(std::vector<assoc::Pick> given) : picks(std::move(given)) {
    std::ranges::stable_sort(picks, {}, &assoc::Pick::time);
}

namespace {

/// @param columns of texts, all of one length
/// @param skip_bad passes over rows that are no picks
PickTable table_of(const std::vector<std::string>& names, const std::vector<py::list>& columns,
                   bool skip_bad) {
    assoc::PickRows rows;
    std::string why;
    if (!rows.take_names(names, why)) throw Failure("picks: " + why);
    const size_t count = columns.empty() ? 0 : columns[0].size();
    std::vector<assoc::Pick> picks;
    picks.reserve(count);
    std::vector<std::string> fields(columns.size());
    for (size_t row = 0; row < count; ++row) {
        for (size_t i = 0; i < columns.size(); ++i) {
            const py::object value = columns[i][row];
            fields[i] = value.cast<std::string>();
        }
        assoc::Pick pick;
        if (rows.take(fields, pick, why)) {
            pick.tag = static_cast<int64_t>(row);
            picks.push_back(std::move(pick));
        } else if (!skip_bad) {
            throw Failure("picks: row " + std::to_string(row) + ": " + why);
        }
    }
    return PickTable(std::move(picks));
}

}  // namespace

void bind_picks(py::module_& module) {
    py::class_<PickTable>(module, "PickTable")
        .def(py::init(&table_of), py::arg("names"), py::arg("columns"), py::arg("skip_bad") = false)
        .def("__len__", [](const PickTable& table) { return table.picks.size(); });
    module.def("is_pick_column",
               [](const std::string& name) { return assoc::PickRows::knows(name); });
}

}  // namespace velorix::python
