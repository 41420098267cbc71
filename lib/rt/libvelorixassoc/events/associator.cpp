// The associator: picks put in order, the final pass over them, and events announced before it.
#include "../velorixassoc.h"

#include <algorithm>
#include <limits>

#include "event_id.h"
#include "final_pass.h"
#include "tracks.h"

namespace velorix::assoc {

class Associator::Core {
  public:
    Core(GridSet& grids, const StreamRules& given, Listener told, bool announce);

    Added add(Pick pick);
    bool advance_clock(double time);
    bool finish();

    PickFates fates;
    std::map<std::string, long> strangers;
    long most_waiting = 0;
    const std::map<Lack, long>& refusals() const { return final_.refusals(); }
    long scans() const { return proposer_.scans(); }
    Labels labels() const {
        return rules_.labels == Labels::automatic ? past_.labels() : rules_.labels;
    }

  private:
    static std::vector<int> station_counts(const std::vector<SearchGrid>& grids);
    static std::vector<Timeline> timelines_of(const std::vector<SearchGrid>& grids);
    static double slack_of(const std::vector<Timeline>& timelines);
    bool known_station(const Pick& pick) const;
    bool announce(Waiting& waiting);
    bool release(double complete);
    void emit();
    void let_go();

    std::vector<SearchGrid>& grids_;
    const StreamRules rules_;
    const Listener told_;
    std::vector<Timeline> timelines_;
    PickStore store_;
    StreamPast past_;
    Proposer proposer_;
    FinalPass final_;
    std::optional<Tracks> tracks_;
    double clock_ = -std::numeric_limits<double>::infinity();
    double released_ = clock_;  // picks before it have gone to the final pass
    double forgotten_ = clock_;
    std::vector<Report> decided_;
};

std::vector<int> Associator::Core::station_counts(const std::vector<SearchGrid>& grids) {
    std::vector<int> out;
    for (const SearchGrid& grid : grids) out.push_back(grid.times.grid().ns);
    return out;
}

std::vector<Timeline> Associator::Core::timelines_of(const std::vector<SearchGrid>& grids) {
    std::vector<Timeline> out;
    for (size_t g = 0; g < grids.size(); ++g) out.emplace_back(grids[g], g);
    return out;
}

double Associator::Core::slack_of(const std::vector<Timeline>& timelines) {
    double slack = 0.0;
    for (const Timeline& timeline : timelines)
        slack = std::max(slack, kSlackWidths * timeline.width());
    return slack;
}

Associator::Core::Core(GridSet& grids, const StreamRules& given, Listener told, bool announce)
    : grids_(grids.search_grids()),
      rules_(given),
      told_(std::move(told)),
      timelines_(timelines_of(grids_)),
      past_(given.history, station_counts(grids_)),
      proposer_(grids_, rules_, past_, slack_of(timelines_)),
      final_(grids_, timelines_, slack_of(timelines_), proposer_, store_) {
    final_.on_refusal = told_.on_refusal;
    final_.on_event = [this](const Proposal& proposal, Event event) {
        event.id = event_id(event);
        Report report;
        report.kind = Kind::final;
        report.version = kFinalVersion;
        report.event = std::move(event);
        if (tracks_) report.track = tracks_->hand_over(proposal);
        decided_.push_back(std::move(report));
    };
    if (!announce) return;
    tracks_.emplace(grids_, proposer_, store_, rules_.lateness, slack_of(timelines_));
    tracks_->on_report = told_.on_report;
}

Added Associator::Core::add(Pick pick) {
    ++fates.taken_in;
    const double time = pick.time;
    if (!(time >= released_)) {
        ++fates.late;
        return Added::late;
    }
    if (!known_station(pick)) {
        ++fates.unknown;
        ++strangers[pick.network + "." + pick.station];
    } else if (Waiting* waiting = store_.insert(std::move(pick))) {
        ++fates.waiting;
        most_waiting = std::max(most_waiting, static_cast<long>(store_.size()));
        if (tracks_ && !announce(*waiting)) return Added::failed;
    } else {
        ++fates.duplicates;
        return advance_clock(time) ? Added::duplicate : Added::failed;
    }
    return advance_clock(time) ? Added::taken : Added::failed;
}

bool Associator::Core::announce(Waiting& waiting) {
    assign_roles(waiting, grids_, labels());
    waiting.voted.assign(grids_.size(), 0);
    if (!has_role(waiting)) return true;
    return tracks_->take(waiting, std::max(clock_, waiting.pick.time), final_.kept());
}

bool Associator::Core::known_station(const Pick& pick) const {
    return std::ranges::any_of(grids_,
                               [&](const SearchGrid& grid) { return grid.station_of(pick) >= 0; });
}

bool Associator::Core::advance_clock(double time) {
    if (!(time > clock_)) return true;
    clock_ = time;
    if (!release(clock_ - rules_.lateness)) return false;
    if (tracks_ && !tracks_->advance(clock_, final_.kept())) return false;
    emit();
    let_go();
    return true;
}

// Hands the picks before a time to the final pass, in order.
bool Associator::Core::release(double complete) {
    for (auto at = store_.from(released_); at != store_.end(); ++at) {
        Waiting& waiting = **at;
        if (waiting.pick.time >= complete) break;
        assign_roles(waiting, grids_, labels());
        past_.add(waiting);
        if (!final_.take(waiting)) return false;
    }
    released_ = std::max(released_, complete);
    return final_.advance(complete);
}

bool Associator::Core::finish() {
    constexpr double kEnd = std::numeric_limits<double>::infinity();
    if (!release(kEnd) || !final_.finish()) return false;
    emit();
    let_go();
    return true;
}

// Decided events, in order of time, once none can come before them.
void Associator::Core::emit() {
    if (tracks_) tracks_->withdraw_before(final_.decided());
    if (decided_.empty()) return;
    std::ranges::sort(decided_, [](const Report& a, const Report& b) {
        return a.event.time != b.event.time ? a.event.time < b.event.time : a.event.id < b.event.id;
    });
    size_t done = 0;
    for (; done < decided_.size() && decided_[done].event.time < final_.decided(); ++done) {
        if (told_.on_report) told_.on_report(decided_[done]);
    }
    decided_.erase(decided_.begin(), decided_.begin() + static_cast<std::ptrdiff_t>(done));
}

// Picks that no event can use any more are accounted for and go.
void Associator::Core::let_go() {
    double in_use = std::min(final_.in_use(), released_);
    if (tracks_) in_use = std::min(in_use, tracks_->oldest());
    for (const auto& waiting : store_.take_before(in_use)) {
        --fates.waiting;
        long& fate = waiting->event != 0   ? fates.in_events
                     : !has_role(*waiting) ? fates.other_phases
                                           : fates.in_no_event;
        ++fate;
    }
    if (final_.in_use() > forgotten_) past_.forget(final_.in_use());
    forgotten_ = final_.in_use();
}

Associator::Associator(GridSet& grids, const StreamRules& rules, Listener listener, bool announce)
    : core_(std::make_unique<Core>(grids, rules, std::move(listener), announce)) {}
Associator::~Associator() = default;

Added Associator::add(Pick pick) { return core_->add(std::move(pick)); }
bool Associator::advance_clock(double time) { return core_->advance_clock(time); }
bool Associator::finish() { return core_->finish(); }
const PickFates& Associator::fates() const { return core_->fates; }
const std::map<Lack, long>& Associator::refusals() const { return core_->refusals(); }
const std::map<std::string, long>& Associator::strangers() const { return core_->strangers; }
long Associator::scans() const { return core_->scans(); }
long Associator::most_waiting() const { return core_->most_waiting; }
Labels Associator::labels() const { return core_->labels(); }

}  // namespace velorix::assoc
