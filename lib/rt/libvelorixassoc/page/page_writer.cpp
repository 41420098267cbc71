// A page to look at: events, grids and the run as one document in columns, in the page of web/.
#include "../catalogue/writers.h"
#include "page_events.h"
#include "page_grids.h"
#include "page_parts.h"

namespace velorix::assoc {
namespace {

std::string fates_json(const PickFates& fates) {
    Members out;
    const std::pair<const char*, long> counts[] = {
        {"in_events", fates.in_events},   {"in_no_event", fates.in_no_event},
        {"unknown", fates.unknown},       {"other_phases", fates.other_phases},
        {"duplicates", fates.duplicates}, {"late", fates.late}};
    for (const auto& [name, count] : counts) out.add(name, std::to_string(count));
    return out.json();
}

std::string counted(std::string& list, const std::string& name, long count) {
    return list +=
           (list.empty() ? "" : ",") + ("[" + json_text(name) + ",") + std::to_string(count) + "]";
}

std::string run_json(const PageRun& run, const std::string& digest) {
    std::string sources, refusals, strangers;
    for (const std::string& source : run.sources) {
        sources += (sources.empty() ? "" : ",") + json_text(source);
    }
    std::map<std::string, long> by_text;
    for (const auto& [lack, count] : run.refusals) by_text[lack_text(lack)] += count;
    for (const auto& [text, count] : by_text) counted(refusals, text, count);
    for (const auto& [name, count] : run.strangers) counted(strangers, name, count);
    return Members()
        .add("rules", json_text(digest))
        .add("sources", "[" + sources + "]")
        .add("picks_read", std::to_string(run.picks_read))
        .add("fates", run.associated ? fates_json(run.fates) : "null")
        .add("refusals", "[" + refusals + "]")
        .add("strangers", "[" + strangers + "]")
        .json();
}

}  // namespace

struct PageWriter::State {
    std::string digest;
    PageRun run;
    PageStations stations;
    Texts texts;
    PageEvents events{stations, texts};
    std::string grids;
};

PageWriter::PageWriter(const std::string& digest) : state_(std::make_unique<State>()) {
    state_->digest = digest;
}
PageWriter::~PageWriter() = default;

void PageWriter::add_grid(const Velorix& grid, bool nodes) {
    if (!state_->grids.empty()) state_->grids += ',';
    state_->grids += page_grid(grid, state_->stations.add(grid), nodes);
}

void PageWriter::add_refusal(const Refusal& refusal) { state_->events.add(refusal); }

void PageWriter::set_run(const PageRun& run) { state_->run = run; }

std::string PageWriter::document() const {
    Members out;
    out.add("format", "\"velorix-page\"")
        .add("version", "1")
        .add("title", json_text(state_->run.title))
        .add("made_by", json_text("velorix " VELORIX_VERSION))
        .add("run", run_json(state_->run, state_->digest))
        .add("grids", "[" + state_->grids + "]")
        .add("stations", state_->stations.json());
    state_->events.write(out);
    out.add("texts", state_->texts.json());
    return out.json();
}

const std::vector<std::string>& PageWriter::suffixes() const {
    static const std::vector<std::string> one{""};
    return one;
}

bool PageWriter::begin(const std::vector<Sink*>& sinks) {
    return sinks[0]->write({velorix_page_head, velorix_page_head_end});
}

bool PageWriter::add(const Event& event, const std::vector<Sink*>& /*sinks*/) {
    state_->events.add(event);
    return true;
}

bool PageWriter::end(const std::vector<Sink*>& sinks) {
    return sinks[0]->write(document()) &&
           sinks[0]->write({velorix_page_tail, velorix_page_tail_end});
}

std::unique_ptr<CatalogueWriter> make_page_writer(const std::string& digest) {
    return std::make_unique<PageWriter>(digest);
}

}  // namespace velorix::assoc
