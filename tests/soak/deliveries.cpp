// Final events of real picks under random deliveries, and of runs that start in the middle: the
// same bytes, or the first that differs.
//   deliveries GRID_FILE PICK_FILE DELIVERIES STARTS [HISTORY_S]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>

#include "velorixassoc.h"

using namespace velorix::assoc;

namespace {

/// A final event: its document, without the track, and its origin time.
struct Final {
    double time;
    std::string document;
    bool operator==(const Final& other) const { return document == other.document; }
};
using Finals = std::vector<Final>;

struct Run {
    const char* grid;
    StreamRules rules;
    int threads = 1;
    bool announce = false;
};

/// Associates picks in the order given; the clock is put to `when` before a pick where it is set.
bool associate(const Run& run, const std::vector<Pick>& picks, const std::vector<size_t>& order,
               const std::vector<double>& when, Finals& finals, double* window = nullptr) {
    GridSet grids;
    if (!grids.load({run.grid}, Parameters(), run.threads)) return false;
    if (window) *window = grids.longest_window();
    Listener listener;
    listener.on_report = [&](Report report) {
        if (report.kind != Kind::final) return;
        report.track.clear();
        finals.push_back({report.event.time, event_document(report, "")});
    };
    Associator associator(grids, run.rules, listener, run.announce);
    for (size_t i = 0; i < order.size(); ++i) {
        if (!when.empty() && when[i] > 0.0 && !associator.advance_clock(when[i])) return false;
        const Added added = associator.add(picks[order[i]]);
        if (added == Added::failed || added == Added::late) return false;
    }
    return associator.finish();
}

bool same(const Finals& expected, const Finals& found, const char* what, int number) {
    if (expected == found) return true;
    size_t i = 0;
    while (i < expected.size() && i < found.size() && expected[i] == found[i]) ++i;
    std::printf("%s %d: %zu events instead of %zu; the first that differs:\n- %.200s\n+ %.200s\n",
                what, number, found.size(), expected.size(),
                i < expected.size() ? expected[i].document.c_str() : "",
                i < found.size() ? found[i].document.c_str() : "");
    return false;
}

bool deliver(const Run& base, const std::vector<Pick>& picks, const Finals& expected, int number) {
    std::mt19937 random(static_cast<unsigned>(number));
    std::uniform_real_distribution<double> part(0.0, 1.0);
    Run run = base;
    run.threads = 1 + number % 4;
    run.announce = number % 2 == 1;
    const double most = base.rules.lateness * part(random);
    std::vector<std::pair<double, size_t>> arrivals;
    for (size_t i = 0; i < picks.size(); ++i) {
        arrivals.emplace_back(picks[i].time + most * part(random), i);
    }
    std::ranges::sort(arrivals);
    std::vector<size_t> order;
    std::vector<double> when;
    const double ticks = part(random);
    for (const auto& [time, pick] : arrivals) {
        order.push_back(pick);
        when.push_back(part(random) < ticks ? time : 0.0);
    }
    Finals found;
    return associate(run, picks, order, when, found) && same(expected, found, "delivery", number);
}

bool start(const Run& run, const std::vector<Pick>& picks, const Finals& whole, double window,
           int number) {
    std::mt19937 random(static_cast<unsigned>(number));
    // Hours of a long stream: enough behind the start to compare.
    constexpr double kCompared = 3600.0;
    const double begin = picks.front().time, end = picks.back().time;
    const double before = run.rules.history + 2.0 * window;
    std::uniform_real_distribution<double> place(begin, std::max(begin, end - before - 600.0));
    const double first = place(random), from = first + before, to = from + kCompared;
    std::vector<size_t> order;
    for (size_t i = 0; i < picks.size(); ++i) {
        if (picks[i].time >= first) order.push_back(i);
    }
    const auto in_span = [&](Finals finals) {
        std::erase_if(finals, [&](const Final& f) { return f.time < from || f.time > to; });
        return finals;
    };
    Finals found;
    return associate(run, picks, order, {}, found) &&
           same(in_span(whole), in_span(found), "start", number);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        std::fputs("usage: deliveries GRID_FILE PICK_FILE DELIVERIES STARTS [HISTORY_S]\n", stderr);
        return 1;
    }
    Run run{argv[1], {}};
    if (argc > 5) run.rules.history = std::strtod(argv[5], nullptr);
    PickStreamOptions options;
    options.paths = {argv[2]};
    PickStream stream;
    if (!stream.open(options)) return 1;
    std::vector<Pick> picks;
    for (Pick pick; stream.next(pick) == PickStream::Next::pick;) picks.push_back(pick);
    std::vector<size_t> order(picks.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    Finals whole;
    double window = 0.0;
    if (!associate(run, picks, order, {}, whole, &window)) return 1;
    int good = 0;
    for (int i = 0; i < std::atoi(argv[3]); ++i) good += deliver(run, picks, whole, i);
    std::printf("%d of %s deliveries give the same %zu events\n", good, argv[3], whole.size());
    int started = 0;
    for (int i = 0; i < std::atoi(argv[4]); ++i) started += start(run, picks, whole, window, i);
    std::printf("%d of %s starts give the same events\n", started, argv[4]);
    return good == std::atoi(argv[3]) && started == std::atoi(argv[4]) ? 0 : 1;
}
