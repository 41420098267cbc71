#include "inputs.h"

#include <algorithm>
#include <cstdio>

#include "support/say.h"

namespace velorix::report {
namespace {

/// A grid file begins with its magic number.
bool is_grid_file(const std::string& path) {
    if (path == "-") return false;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return false;  // its reader will say why
    int32_t magic = 0;
    const bool whole = std::fread(&magic, sizeof magic, 1, file) == 1;
    std::fclose(file);
    return whole && magic == VELORIX_MAGIC;
}

assoc::Refusal refusal_of(const assoc::Report& report) {
    const assoc::Event& e = report.event;
    assoc::Refusal out;
    out.time = e.time;
    out.grid = e.grid;
    out.best = {e.lat, e.lon, e.depth};
    out.score = e.score;
    out.p = e.p;
    out.s = e.s;
    out.stations = e.stations;
    out.verdict.lack = report.verdict.lack;
    out.scanned = true;
    return out;
}

}  // namespace

bool Inputs::read(const std::string& path, bool skip_bad) {
    return is_grid_file(path) ? read_grids(path) : read_events(path, skip_bad);
}

bool Inputs::read_grids(const std::string& path) {
    Tbl* list = nullptr;
    if (velorix_read_file(path.c_str(), &list) < 0) return false;
    grids_.emplace_back(list);
    return true;
}

bool Inputs::read_events(const std::string& path, bool skip_bad) {
    std::string error;
    const auto reader = assoc::open_events(path, error);
    if (!reader) return assoc::fail(error);
    for (;;) {
        assoc::Report report;
        switch (reader->next(report, error)) {
            case assoc::ReadResult::end:
                return true;
            case assoc::ReadResult::failed:
                return assoc::fail(error);
            case assoc::ReadResult::bad:
                if (!skip_bad) return assoc::fail(error);
                ++bad_;
                break;
            case assoc::ReadResult::pick:
                digests_.insert(reader->digest());
                take(std::move(report));
        }
    }
}

void Inputs::take(assoc::Report&& report) {
    if (report.kind == assoc::Kind::withdrawn) withdrawn_.push_back(refusal_of(report));
    const bool early = report.kind == assoc::Kind::announced || report.kind == assoc::Kind::revised;
    const std::string track = report.track;
    if (!early) tracks_.erase(track);
    if (report.kind == assoc::Kind::final) events_.push_back(std::move(report.event));
    if (early) tracks_[track] = std::move(report);
}

bool Inputs::give(assoc::PageWriter& page, const std::vector<assoc::Sink*>& sinks) {
    for (const auto& list : grids_) {
        for (int i = 0; i < maxtbl(list.get()); ++i) {
            page.add_grid(*static_cast<const Velorix*>(gettbl(list.get(), i)));
        }
    }
    for (auto& [track, report] : tracks_) events_.push_back(std::move(report.event));
    tracks_.clear();
    std::ranges::stable_sort(events_, {}, &assoc::Event::time);
    for (const assoc::Event& event : events_) {
        if (!page.add(event, sinks)) return false;
    }
    for (const assoc::Refusal& refusal : withdrawn_) page.add_refusal(refusal);
    return true;
}

}  // namespace velorix::report
