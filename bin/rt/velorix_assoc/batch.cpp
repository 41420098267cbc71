#include "batch.h"

#include <sys/stat.h>

#include <cstdio>

#include "report.h"
#include "signals.h"
#include "support/say.h"

namespace velorix::assoc {
namespace {

class Batch {
  public:
    Batch(const Options& options, GridSet& grids, const StreamRules& rules)
        : options_(options),
          grids_(grids),
          rules_(rules),
          digest_(rules_digest(grids, rules)),
          stream_options_(options.stream),
          progress_(!options.quiet) {
        stream_options_.lateness = rules.lateness;
    }

    int run();

  private:
    enum class Outcome { done, again, failed };
    bool open_output();
    void make_writer();
    void tell_page(const Associator& associator, const PickStream& stream);
    Outcome associate();
    bool add_all(PickStream& stream, Associator& associator);
    Listener listener();
    void take(const Event& event);
    bool sort_instead(const PickStream& stream);
    std::vector<std::string> inputs() const;

    const Options& options_;
    GridSet& grids_;
    const StreamRules& rules_;
    const std::string digest_;
    PickStreamOptions stream_options_;
    Progress progress_;
    CatalogueFiles files_;
    std::unique_ptr<CatalogueWriter> writer_;
    PageWriter* page_ = nullptr;  ///< the writer, when it makes a page
    std::optional<Explanation> explanation_;
    PickStream::Next last_ = PickStream::Next::end;
    long events_ = 0;
    bool written_ = true;
    int interrupted_ = 0;
    std::string summary_;
};

std::vector<std::string> Batch::inputs() const {
    std::vector<std::string> out = options_.stream.paths;
    out.insert(out.end(), options_.grids.begin(), options_.grids.end());
    out.push_back(options_.parameter_file);
    return out;
}

void Batch::make_writer() {
    writer_ = make_catalogue_writer(options_.format, digest_);
    page_ = dynamic_cast<PageWriter*>(writer_.get());
    if (!page_) return;
    for (size_t i = 0; i < grids_.size(); ++i) page_->add_grid(grids_.grid(i));
}

std::string file_name(const std::string& path) {
    return path == "-" ? "standard input" : path.substr(path.rfind('/') + 1);
}

void Batch::tell_page(const Associator& associator, const PickStream& stream) {
    if (!page_) return;
    PageRun run;
    for (const std::string& name : grids_.names())
        run.title += (run.title.empty() ? "" : ", ") + name;
    for (const std::string& path : inputs()) {
        if (!path.empty()) run.sources.push_back(file_name(path));
    }
    run.associated = true;
    run.picks_read = stream.counts().read;
    run.fates = associator.fates();
    run.refusals = associator.refusals();
    run.strangers = associator.strangers();
    page_->set_run(run);
}

bool Batch::open_output() {
    make_writer();
    return files_.open(options_.out, writer_->suffixes(), inputs());
}

void Batch::take(const Event& event) {
    ++events_;
    written_ = written_ && writer_->add(event, files_.sinks());
    if (explanation_) explanation_->add(event);
    if (!options_.verbose) return;
    progress_.clear();
    std::fprintf(stderr, "%s\n", event_line(event).c_str());
}

Listener Batch::listener() {
    Listener out;
    out.on_report = [this](const Report& report) { take(report.event); };
    out.on_refusal = [this](const Refusal& refusal) {
        if (explanation_) explanation_->add(refusal);
        if (page_) page_->add_refusal(refusal);
    };
    return out;
}

bool Batch::add_all(PickStream& stream, Associator& associator) {
    Pick pick;
    while (!(interrupted_ = interrupting_signal()) &&
           (last_ = stream.next(pick)) == PickStream::Next::pick) {
        const double time = pick.time;
        if (associator.add(std::move(pick)) == Added::failed || !written_) return false;
        progress_.update(time, events_);
    }
    return true;
}

// A file whose picks are far out of order is held whole and sorted, if it can be read again.
bool Batch::sort_instead(const PickStream& stream) {
    const std::string& path = stream.disordered();
    struct stat info {};
    if (path == "-" || stat(path.c_str(), &info) != 0 ||
        !(S_ISREG(info.st_mode) || S_ISDIR(info.st_mode))) {
        return fail(stream.disorder() +
                    ", more than the lateness allows: sort them by time, or set `lateness`");
    }
    complain(stream.disorder() + ": the file is held whole and sorted");
    stream_options_.sorted.insert(path);
    return true;
}

Batch::Outcome Batch::associate() {
    events_ = 0;
    summary_.clear();
    if (options_.explain) explanation_.emplace(*options_.explain, 0.5 * grids_.longest_window());
    PickStream stream;
    if (!stream.open(stream_options_)) return Outcome::failed;
    Associator associator(grids_, rules_, listener());
    if (!writer_->begin(files_.sinks()) || !add_all(stream, associator)) return Outcome::failed;
    if (!interrupted_ && last_ == PickStream::Next::failed) return Outcome::failed;
    if (!interrupted_ && last_ == PickStream::Next::disorder) {
        return sort_instead(stream) ? Outcome::again : Outcome::failed;
    }
    if (!associator.finish() || !written_) return Outcome::failed;
    tell_page(associator, stream);
    if (!writer_->end(files_.sinks())) return Outcome::failed;
    progress_.clear();
    if (interrupted_) complain("interrupted: the catalogue ends with the events found so far");
    if (!options_.quiet) summary_ = closing(associator, stream, grids_, rules_, events_);
    if (explanation_) summary_ += explanation_->text();
    return accounted_for(associator, stream) ? Outcome::done : Outcome::failed;
}

int Batch::run() {
    if (!open_output()) return 1;
    if (!options_.quiet) std::fputs(opening(grids_).c_str(), stderr);
    Outcome outcome = associate();
    while (outcome == Outcome::again) {
        make_writer();
        outcome = files_.restart() ? associate() : Outcome::failed;
    }
    if (outcome == Outcome::failed) return 1;
    std::fputs(summary_.c_str(), stderr);
    if (!files_.commit()) return 1;
    return interrupted_ ? kSignalled + interrupted_ : 0;
}

}  // namespace

int run_batch(const Options& options, GridSet& grids, const StreamRules& rules) {
    return Batch(options, grids, rules).run();
}

}  // namespace velorix::assoc
