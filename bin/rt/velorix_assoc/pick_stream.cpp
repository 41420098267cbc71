#include "pick_stream.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>

#include "text.h"

namespace velorix::assoc {
namespace {

// What makes two picks the same onset; identifiers and quality may differ.
auto onset(const Pick& p) {
    return std::tie(p.time, p.network, p.station, p.phase, p.location, p.channel);
}

// Pipes are read twice as well, so they are kept in an unnamed file.
std::FILE* spooled(std::FILE* from) {
    std::FILE* file = std::tmpfile();
    char buffer[65536];
    for (size_t n; file && (n = std::fread(buffer, 1, sizeof buffer, from)) > 0;) {
        if (std::fwrite(buffer, 1, n, file) == n) continue;
        std::fclose(file);
        return nullptr;
    }
    return file;
}

}  // namespace

bool PickStream::Later::operator()(const Pick& a, const Pick& b) const {
    if (onset(a) != onset(b)) return onset(a) > onset(b);
    return a.id > b.id;
}

bool PickStream::open(const StreamOptions& options) {
    options_ = options;
    for (const std::string& path : options.paths) {
        Input input;
        if (!open_input(path, input) || !survey_input(input)) return false;
        inputs_.push_back(std::move(input));
    }
    return true;
}

bool PickStream::open_input(const std::string& path, Input& input) {
    input.name = path == "-" ? "standard input" : path;
    input.file.reset(path == "-" ? spooled(stdin) : std::fopen(path.c_str(), "rb"));
    struct stat info {};
    if (path != "-" && input.file && fstat(fileno(input.file.get()), &info) == 0 &&
        S_ISFIFO(info.st_mode)) {
        input.file.reset(spooled(input.file.get()));
    }
    if (!input.file) return fail(input.name + ": " + std::strerror(errno));
    return true;
}

bool PickStream::inside(const Pick& pick) const {
    return pick.time >= options_.from && pick.time <= options_.to;
}

// Labels and stations count for the whole files, so that what is derived from them does not depend
// on the time span asked for.
void PickStream::count(const Pick& pick) {
    ++survey_.read;
    switch (label_of(pick.phase)) {
        case Label::p:
            ++survey_.label_p;
            break;
        case Label::s:
            ++survey_.label_s;
            break;
        case Label::other:
            ++survey_.label_other;
            break;
        case Label::unknown:
            ++survey_.label_none;
            break;
    }
    survey_.stations[pick.network + "." + pick.station].add(pick.time);
    if (!inside(pick)) {
        ++survey_.outside;
        return;
    }
    if (survey_.used() == 1) survey_.first = survey_.last = pick.time;
    survey_.first = std::min(survey_.first, pick.time);
    survey_.last = std::max(survey_.last, pick.time);
}

bool PickStream::survey_input(Input& input) {
    std::string error;
    const PickFile file{input.name, input.file.get()};
    input.reader = make_reader(file, error);
    if (!input.reader) return fail(error);
    if (survey_.kinds.find(input.reader->kind()) == std::string::npos) {
        survey_.kinds += (survey_.kinds.empty() ? "" : ", ") + std::string(input.reader->kind());
    }
    Pick pick;
    double newest = -std::numeric_limits<double>::infinity();
    for (ReadResult r; (r = input.reader->next(pick, error)) != ReadResult::end;) {
        if (r == ReadResult::bad && !options_.skip_bad) return fail(error);
        if (r == ReadResult::bad && ++survey_.bad == 1) complain(error + " (passed over)");
        if (r == ReadResult::bad) continue;
        count(pick);
        input.disorder = std::max(input.disorder, newest - pick.time);
        newest = std::max(newest, pick.time);
    }
    if (std::ferror(input.file.get())) return fail(input.name + ": " + std::strerror(errno));
    input.reader = make_reader(file, error);
    return input.reader || fail(error);
}

// Enough picks that the earliest of them cannot be preceded by one still in the file.
void PickStream::refill(Input& input) {
    std::string error;
    while (!input.ended &&
           (input.heap.empty() || input.heap.top().time >= input.newest - input.disorder)) {
        Pick pick;
        const ReadResult result = input.reader->next(pick, error);
        if (result == ReadResult::end) input.ended = true;
        if (result != ReadResult::pick) continue;
        input.newest = std::max(input.newest, pick.time);
        if (inside(pick)) input.heap.push(std::move(pick));
    }
}

bool PickStream::pop(Pick& pick) {
    Input* first = nullptr;
    for (Input& input : inputs_) {
        refill(input);
        if (input.heap.empty()) continue;
        if (!first || Later()(first->heap.top(), input.heap.top())) first = &input;
    }
    if (!first) return false;
    pick = first->heap.top();
    first->heap.pop();
    return true;
}

bool PickStream::next(Pick& pick) {
    while (pop(pick)) {
        if (!same_instant_.empty() && same_instant_[0].time != pick.time) same_instant_.clear();
        const bool repeated =
            std::any_of(same_instant_.begin(), same_instant_.end(),
                        [&](const Pick& other) { return onset(other) == onset(pick); });
        if (!repeated) {
            same_instant_.push_back(pick);
            return true;
        }
        ++duplicates_;
    }
    return false;
}

}  // namespace velorix::assoc
