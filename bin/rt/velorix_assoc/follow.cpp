#include "follow.h"

#include <chrono>
#include <cstdio>

#include "line_feed.h"
#include "platform/elog/elog.h"
#include "report.h"
#include "signals.h"
#include "support/say.h"
#include "support/text_values.h"

namespace velorix::assoc {
namespace {

class Follow {
  public:
    Follow(const Options& options, GridSet& grids, const StreamRules& rules)
        : options_(options),
          digest_(rules_digest(grids, rules)),
          lines_(options.stream.paths[0] == "-" ? "standard input" : options.stream.paths[0],
                 options.stream.files),
          associator_(grids, rules, listener(), true) {}

    int run();

  private:
    using Clock = std::chrono::steady_clock;
    Listener listener();
    void tell(const Report& report);
    bool take(std::string_view line);
    bool add(Pick pick);
    bool let_time_pass();
    void say_end(const char* how) const;

    const Options& options_;
    const std::string digest_;
    LineFeed feed_;
    PickLines lines_;
    Associator associator_;
    double newest_ = 0.0;  // time of the newest pick
    bool started_ = false, written_ = true;
    Clock::time_point arrived_;  // when it came
    long reports_ = 0, bad_ = 0;
};

Listener Follow::listener() {
    Listener out;
    out.on_report = [this](const Report& report) { tell(report); };
    return out;
}

void Follow::tell(const Report& report) {
    ++reports_;
    if (!written_) return;
    const std::string line = event_document(report, digest_) + "\n";
    written_ =
        std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fflush(stdout) == 0;
    if (!written_) fail_with_errno("cannot write standard output");
    if (options_.verbose) {
        std::fprintf(stderr, "%-9s %s\n", kind_name(report.kind), event_line(report.event).c_str());
    }
}

bool Follow::add(Pick pick) {
    if (pick.time < options_.stream.from || pick.time > options_.stream.to) return true;
    if (!started_ || pick.time > newest_) {
        newest_ = pick.time;
        arrived_ = Clock::now();
        started_ = true;
    }
    return associator_.add(std::move(pick)) != Added::failed;
}

bool Follow::take(std::string_view line) {
    std::vector<Pick> picks;
    std::string error;
    const ReadResult result = lines_.take(line, picks, error);
    if (result == ReadResult::bad && options_.stream.skip_bad) {
        if (++bad_ == 1) complain(error + " (passed over)");
    } else if (result != ReadResult::pick) {
        return fail(error);
    }
    for (Pick& pick : picks) {
        if (!add(std::move(pick))) return false;
    }
    return true;
}

// In a pause the time of the data goes on as the clock on the wall does.
bool Follow::let_time_pass() {
    if (!started_) return true;
    const double waited = std::chrono::duration<double>(Clock::now() - arrived_).count();
    return associator_.advance_clock(newest_ + waited);
}

void Follow::say_end(const char* how) const {
    if (options_.quiet) return;
    const PickFates& fates = associator_.fates();
    std::fputs(format("%s: %ld picks, %ld of them too late, %ld duplicates; %ld documents\n", how,
                      fates.taken_in, fates.late, fates.duplicates, reports_)
                   .c_str(),
               stderr);
}

int Follow::run() {
    constexpr int kTick = 200;  // ms
    if (!feed_.open(options_.stream.paths[0])) return 1;
    for (;;) {
        if (const int signal = interrupting_signal()) {
            say_end("interrupted");
            return kSignalled + signal;
        }
        std::string_view line;
        const LineFeed::Next next = feed_.next(line, kTick);
        bool good = next != LineFeed::Next::failed;
        if (next == LineFeed::Next::line) good = take(line);
        if (next == LineFeed::Next::waiting) good = let_time_pass();
        if (next == LineFeed::Next::end) good = associator_.finish();
        if (!good || !written_) return 1;
        if (next == LineFeed::Next::end) break;
    }
    say_end("ended");
    return 0;
}

}  // namespace

int run_follow(const Options& options, GridSet& grids, const StreamRules& rules) {
    return Follow(options, grids, rules).run();
}

}  // namespace velorix::assoc
