#include "pick_store.h"

#include <tuple>

namespace velorix::assoc {
namespace {

auto onset(const Pick& p) {
    return std::tie(p.time, p.network, p.station, p.phase, p.location, p.channel);
}

}  // namespace

int compare_onsets(const Pick& a, const Pick& b) {
    return onset(a) < onset(b) ? -1 : onset(b) < onset(a) ? 1 : 0;
}

Waiting* PickStore::insert(Pick pick) {
    auto waiting = std::make_unique<Waiting>();
    waiting->pick = std::move(pick);
    const auto at = picks_.lower_bound(waiting);
    if (at != picks_.end() && compare_onsets((*at)->pick, waiting->pick) == 0) {
        if (waiting->pick.id < (*at)->pick.id) (*at)->pick = std::move(waiting->pick);
        return nullptr;
    }
    return picks_.insert(at, std::move(waiting))->get();
}

PickStore::Iterator PickStore::from(double time) const { return picks_.lower_bound(time); }

std::vector<std::unique_ptr<Waiting>> PickStore::take_before(double time) {
    std::vector<std::unique_ptr<Waiting>> out;
    while (!picks_.empty() && (*picks_.begin())->pick.time < time) {
        out.push_back(std::move(picks_.extract(picks_.begin()).value()));
    }
    return out;
}

}  // namespace velorix::assoc
