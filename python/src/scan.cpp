// One scan of one grid, as the associator makes it, with the score of every node.
#include "bindings.h"
#include "events/association.h"
#include "events/grid_scan.h"
#include "picks.h"
#include "rules.h"

namespace velorix::python {

namespace {

struct Scanned {
    assoc::ScanResult best;
    std::vector<double> scores;
    std::vector<assoc::Waiting> picks;
    std::vector<assoc::Member> members;
};

void scan(Rules& rules, const PickTable& table, bool all_scores, const LogScope& log,
          Scanned& out) {
    std::vector<assoc::SearchGrid>& grids = rules.grids.search_grids();
    const auto labels = rules.stream.labels == assoc::Labels::automatic ? assoc::Labels::trust
                                                                        : rules.stream.labels;
    for (const assoc::Pick& pick : table.picks) {
        assoc::Waiting waiting;
        waiting.pick = pick;
        assoc::assign_roles(waiting, grids, labels);
        if (assoc::has_role(waiting)) out.picks.push_back(std::move(waiting));
    }
    std::vector<assoc::Waiting*> usable;
    for (assoc::Waiting& waiting : out.picks) usable.push_back(&waiting);
    if (usable.empty()) throw Failure("no pick is at a station of the grid");
    if ((all_scores && !assoc::score_nodes(grids[0], 0, usable, out.scores)) ||
        !assoc::scan_grid(grids, 0, usable, out.best)) {
        throw log.failure("the grid cannot be scanned");
    }
    if (!out.best.good) return;
    assoc::Solution at;
    at.spot = out.best.spot;
    at.time = out.best.time;
    out.members = assoc::associate(grids[0], 0, usable, at, {.widen = 1.0});
}

py::list members_of(const Scanned& scanned) {
    py::list out;
    for (const assoc::Member& member : scanned.members) {
        const assoc::Pick& pick = member.waiting->pick;
        out.append(py::make_tuple(pick.tag, pick.network, pick.station,
                                  std::string(1, member.phase), pick.time, member.residual));
    }
    return out;
}

py::dict bound_scan(const GridPtr& grid, const PickTable& table, const std::string& toml,
                    const std::string& label, bool all_scores, int threads) {
    LogScope log;
    Scanned scanned;
    {
        const py::gil_scoped_release unlocked;
        Rules rules;
        rules.load({grid}, toml, label, threads, log);
        scan(rules, table, all_scores, log, scanned);
    }
    log.warn();
    const assoc::ScanResult& best = scanned.best;
    py::dict out(py::arg("found") = best.good, py::arg("time") = best.time,
                 py::arg("latitude") = best.position.lat, py::arg("longitude") = best.position.lon,
                 py::arg("depth") = best.position.depth, py::arg("score") = best.score,
                 py::arg("scatter") = best.scatter, py::arg("on_edge") = best.edge,
                 py::arg("node") =
                     py::make_tuple(static_cast<int>(best.spot.x), static_cast<int>(best.spot.y),
                                    static_cast<int>(best.spot.z)));
    out["scores"] =
        py::array_t<double>(static_cast<py::ssize_t>(scanned.scores.size()), scanned.scores.data());
    out["picks"] = members_of(scanned);
    return out;
}

}  // namespace

void bind_scan(py::module_& module) { module.def("scan", bound_scan); }

}  // namespace velorix::python
