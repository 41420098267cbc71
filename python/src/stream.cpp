// The associator: whole files or tables, and streams.
#include <mutex>

#include "bindings.h"
#include "grids.h"
#include "log.h"
#include "picks.h"
#include "rules.h"

namespace velorix::python {
namespace {

using assoc::Report;

/// An associator with its grids, rules and what it has found; a call from another thread waits.
class Stream {
  public:
    Stream(std::vector<GridPtr> grids, const std::string& toml, const std::string& label,
           bool announce, int threads);

    /// Takes the picks of a table, by time.
    void add(const PickTable& table, double from, double to);
    /// Takes those of files. The path of one that is further out of order than the lateness, else
    /// "".
    std::string add_files(const assoc::PickStreamOptions& options);
    void advance(double time);
    void finish();
    /// What was found since the last call.
    std::vector<std::shared_ptr<Report>> take();
    py::dict counts();
    const std::string& digest() const { return rules_.digest; }

  private:
    template <class Work>
    auto run(Work work);
    bool add_one(assoc::Pick pick);

    std::mutex mutex_;
    Rules rules_;
    std::vector<std::shared_ptr<Report>> found_;
    std::unique_ptr<assoc::Associator> associator_;
    bool finished_ = false;
};

Stream::Stream(std::vector<GridPtr> grids, const std::string& toml, const std::string& label,
               bool announce, int threads) {
    LogScope scope;
    {
        const py::gil_scoped_release unlocked;
        rules_.load(std::move(grids), toml, label, threads, scope);
        assoc::Listener listener;
        listener.on_report = [this](const Report& report) {
            found_.push_back(std::make_shared<Report>(report));
        };
        associator_ = std::make_unique<assoc::Associator>(rules_.grids, rules_.stream,
                                                          std::move(listener), announce);
    }
    scope.warn();
}

/// Runs work on the associator without the interpreter's lock, and warns of what it complains of.
template <class Work>
auto Stream::run(Work work) {
    LogScope scope;
    auto result = [&] {
        const py::gil_scoped_release unlocked;
        const std::lock_guard lock(mutex_);
        return work(scope);
    }();
    scope.warn();
    return result;
}

bool Stream::add_one(assoc::Pick pick) {
    if (finished_) throw Failure("the stream has ended: it takes no more picks");
    return associator_->add(std::move(pick)) != assoc::Added::failed;
}

void Stream::add(const PickTable& table, double from, double to) {
    run([&](LogScope& scope) {
        Patience patience;
        for (const assoc::Pick& pick : table.picks) {
            patience.check();
            if (pick.time < from || pick.time > to) continue;
            if (!add_one(pick)) throw scope.failure("the picks cannot be associated");
        }
        return 0;
    });
}

std::string Stream::add_files(const assoc::PickStreamOptions& given) {
    return run([&](LogScope& scope) -> std::string {
        assoc::PickStreamOptions options = given;
        options.lateness = rules_.stream.lateness;
        assoc::PickStream stream;
        if (!stream.open(options)) throw scope.failure("no picks");
        Patience patience;
        assoc::PickStream::Next next;
        int64_t row = 0;
        for (assoc::Pick pick; (next = stream.next(pick)) == assoc::PickStream::Next::pick;) {
            patience.check();
            pick.tag = row++;
            if (!add_one(std::move(pick))) throw scope.failure("the picks cannot be associated");
        }
        if (next == assoc::PickStream::Next::failed) throw scope.failure("no picks");
        return next == assoc::PickStream::Next::disorder ? stream.disordered() : "";
    });
}

void Stream::advance(double time) {
    run([&](LogScope& scope) {
        if (!associator_->advance_clock(time)) throw scope.failure("the stream has failed");
        return 0;
    });
}

void Stream::finish() {
    run([&](LogScope& scope) {
        if (!finished_ && !associator_->finish()) throw scope.failure("the stream has failed");
        finished_ = true;
        return 0;
    });
}

std::vector<std::shared_ptr<Report>> Stream::take() {
    const py::gil_scoped_release unlocked;
    const std::lock_guard lock(mutex_);
    return std::exchange(found_, {});
}

py::dict Stream::counts() {
    assoc::PickFates fates;
    std::map<assoc::Lack, long> refusals;
    std::map<std::string, long> strangers;
    long scans = 0;
    {
        const py::gil_scoped_release unlocked;
        const std::lock_guard lock(mutex_);
        fates = associator_->fates();
        refusals = associator_->refusals();
        strangers = associator_->strangers();
        scans = associator_->scans();
    }
    py::dict refused;
    for (const auto& [lack, count] : refusals) refused[assoc::lack_text(lack)] = count;
    return py::dict(py::arg("taken_in") = fates.taken_in, py::arg("in_events") = fates.in_events,
                    py::arg("in_no_event") = fates.in_no_event, py::arg("waiting") = fates.waiting,
                    py::arg("duplicates") = fates.duplicates, py::arg("late") = fates.late,
                    py::arg("unknown_stations") = fates.unknown,
                    py::arg("other_phases") = fates.other_phases, py::arg("scans") = scans,
                    py::arg("refusals") = refused, py::arg("strangers") = strangers);
}

assoc::PickStreamOptions file_options(std::vector<std::string> paths, std::set<std::string> sorted,
                                      bool skip_bad, double from, double to) {
    return {std::move(paths), std::move(sorted), skip_bad, from, to, 0.0};
}

py::bytes document(const Report& report, const std::string& digest) {
    return assoc::event_document(report, digest);
}

}  // namespace

void bind_stream(py::module_& module) {
    py::class_<Report, std::shared_ptr<Report>>(module, "ReportRecord")
        .def_property_readonly("kind", [](const Report& r) { return assoc::kind_name(r.kind); })
        .def_readonly("version", &Report::version)
        .def_readonly("track", &Report::track)
        .def_property_readonly("verdict",
                               [](const Report& r) { return assoc::verdict_text(r.verdict); })
        .def_property_readonly("event", [](const std::shared_ptr<Report>& r) {
            return std::shared_ptr<assoc::Event>(r, &r->event);
        });
    py::class_<Stream>(module, "Stream")
        .def(py::init<std::vector<GridPtr>, std::string, std::string, bool, int>())
        .def("add", &Stream::add)
        .def("add_files",
             [](Stream& self, std::vector<std::string> paths, std::set<std::string> sorted,
                bool skip_bad, double from, double to) {
                 return self.add_files(
                     file_options(std::move(paths), std::move(sorted), skip_bad, from, to));
             })
        .def("advance", &Stream::advance)
        .def("finish", &Stream::finish)
        .def("take", &Stream::take)
        .def("counts", &Stream::counts)
        .def_property_readonly("digest", &Stream::digest);
    module.def("document", document);
    module.def("show_rules",
               [](std::vector<GridPtr> grids, const std::string& toml, const std::string& label) {
                   LogScope scope;
                   Rules rules;
                   rules.load(std::move(grids), toml, label, 1, scope);
                   scope.warn();
                   return assoc::show_stream_rules(rules.stream) + rules.grids.show();
               });
}

}  // namespace velorix::python
