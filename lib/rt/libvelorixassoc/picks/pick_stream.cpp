// Picks of several files as one stream.
#include <algorithm>

#include "../support/say.h"
#include "../support/text_values.h"
#include "../support/times.h"
#include "pick_format.h"

namespace velorix::assoc {

/// Of each file the next pick is held; the earliest of them goes first.
class PickStream::Merge {
  public:
    bool open(const PickStreamOptions& options);
    Next next(Pick& pick);
    std::string kinds() const;

    Counts counts;
    std::string disordered, disorder;

  private:
    struct Input {
        std::string path;
        std::unique_ptr<PickReader> reader;
        Pick head;
        double newest = -std::numeric_limits<double>::infinity();
        bool ended = false;
    };
    Next refill(Input& input);
    Next read(Input& input);
    void count(const Pick& pick);

    PickStreamOptions options_;
    std::vector<Input> inputs_;
    Input* given_ = nullptr;  // whose head went out last
    bool started_ = false;
};

bool PickStream::Merge::open(const PickStreamOptions& options) {
    options_ = options;
    for (const std::string& path : options.paths) {
        std::string error;
        Input input;
        input.path = path;
        input.reader = open_picks(path, error, options.files);
        if (!input.reader) return fail(error);
        if (options.sorted.count(path)) {
            input.reader = make_sorted_reader(std::move(input.reader));
        }
        inputs_.push_back(std::move(input));
    }
    return true;
}

std::string PickStream::Merge::kinds() const {
    std::string out;
    for (const Input& input : inputs_) {
        const std::string kind = input.reader->kind();
        if (out.find(kind) == out.npos) out += (out.empty() ? "" : ", ") + kind;
    }
    return out;
}

void PickStream::Merge::count(const Pick& pick) {
    ++counts.read;
    switch (label_of(pick.phase)) {
        case Label::p:
            ++counts.p;
            break;
        case Label::s:
            ++counts.s;
            break;
        case Label::other:
            ++counts.other;
            break;
        case Label::unknown:
            ++counts.unlabelled;
            break;
    }
    ++counts.stations[pick.network + "." + pick.station];
}

PickStream::Next PickStream::Merge::read(Input& input) {
    std::string error;
    for (;;) {
        switch (input.reader->next(input.head, error)) {
            case ReadResult::pick:
                return Next::pick;
            case ReadResult::end:
                return Next::end;
            case ReadResult::failed:
                fail(error);
                return Next::failed;
            case ReadResult::bad:
                break;
        }
        if (!options_.skip_bad) {
            fail(error);
            return Next::failed;
        }
        if (++counts.bad == 1) complain(error + " (passed over)");
    }
}

// The next pick of a file inside the span asked for.
PickStream::Next PickStream::Merge::refill(Input& input) {
    for (;;) {
        const Next result = read(input);
        input.ended = result == Next::end;
        if (result != Next::pick) return result;
        const double time = input.head.time;
        if (time < input.newest - options_.lateness) {
            disordered = input.path;
            disorder = format("%s: a pick at %s stands behind one %.1f s later", input.path.c_str(),
                              iso_time(time, 2).c_str(), input.newest - time);
            return Next::disorder;
        }
        input.newest = std::max(input.newest, time);
        count(input.head);
        if (time >= options_.from && time <= options_.to) return Next::pick;
        ++counts.outside;
    }
}

PickStream::Next PickStream::Merge::next(Pick& pick) {
    for (Input& input : inputs_) {
        if (started_ && &input != given_) continue;
        const Next result = refill(input);
        if (result == Next::failed || result == Next::disorder) return result;
    }
    started_ = true;
    given_ = nullptr;
    for (Input& input : inputs_) {
        if (!input.ended && (!given_ || input.head.time < given_->head.time)) given_ = &input;
    }
    if (!given_) return Next::end;
    pick = std::move(given_->head);
    given_->head = Pick();
    const bool first = counts.given++ == 0;
    counts.first = first ? pick.time : std::min(counts.first, pick.time);
    counts.last = first ? pick.time : std::max(counts.last, pick.time);
    return Next::pick;
}

PickStream::PickStream() = default;
PickStream::~PickStream() = default;

bool PickStream::open(const PickStreamOptions& options) {
    merge_ = std::make_unique<Merge>();
    return merge_->open(options);
}
PickStream::Next PickStream::next(Pick& pick) { return merge_->next(pick); }
const PickStream::Counts& PickStream::counts() const { return merge_->counts; }
std::string PickStream::kinds() const { return merge_->kinds(); }
const std::string& PickStream::disordered() const { return merge_->disordered; }
const std::string& PickStream::disorder() const { return merge_->disorder; }

}  // namespace velorix::assoc
