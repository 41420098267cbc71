// Files whose rows are lines, and lines that come from elsewhere.
#include <algorithm>

#include "../support/say.h"
#include "pick_format.h"

namespace velorix::assoc {

/// The format as far as it is known, for lines one behind the other.
class PickLines::State {
  public:
    State(std::string given, const PickFileOptions& options,
          std::unique_ptr<LineFormat> format = nullptr)
        : name_(std::move(given)), options_(options), format_(std::move(format)) {}

    /// `place` is "NAME:LINE".
    ReadResult take(std::string_view line, bool cut, const std::string& place,
                    std::vector<Pick>& picks, std::string& error) {
        if (!format_) {
            Header header = recognise_line(line, options_);
            format_ = std::move(header.format);
            headless_ = format_ || header.why.empty() ? "" : place + ": " + header.why;
            if (!headless_.empty() && !header.comment) error = headless_;
            if (!headless_.empty() && !header.comment) return ReadResult::failed;
            if (!header.row) return ReadResult::pick;
        }
        std::string why = line.find('\0') == line.npos ? "" : "binary data";
        if (why.empty() && format_->take(line, cut, picks, why)) {
            if (!format_->remark.empty()) complain(place + ": " + format_->remark);
            format_->remark.clear();
            return ReadResult::pick;
        }
        error = place + ": " + why;
        return ReadResult::bad;
    }
    const LineFormat* format() const { return format_.get(); }
    /// What is wrong when no line comes any more; empty when nothing is.
    const std::string& headless() const { return headless_; }
    std::string next_place() { return name_ + ":" + std::to_string(++line_); }

  private:
    std::string name_, headless_;
    PickFileOptions options_;
    std::unique_ptr<LineFormat> format_;
    long line_ = 0;
};

PickLines::PickLines(std::string name, const PickFileOptions& options)
    : state_(std::make_unique<State>(std::move(name), options)) {}
PickLines::~PickLines() = default;
PickLines::PickLines(PickLines&&) noexcept = default;

ReadResult PickLines::take(std::string_view line, std::vector<Pick>& picks, std::string& error) {
    while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return state_->take(line, false, state_->next_place(), picks, error);
}

namespace {

class LineReader : public PickReader {
  public:
    LineReader(std::unique_ptr<ByteSource> source, const PickFileOptions& options,
               std::unique_ptr<LineFormat> format)
        : source_(std::move(source)), state_(source_->name(), options, std::move(format)) {}

    ReadResult next(Pick& pick, std::string& error) override {
        while (given_ == picks_.size()) {
            picks_.clear();
            given_ = 0;
            const ReadResult result = read_line(error);
            if (result != ReadResult::pick) return result;
        }
        pick = std::move(picks_[given_++]);
        return ReadResult::pick;
    }

    const char* kind() const override {
        return state_.format() ? state_.format()->kind() : "empty file";
    }

  private:
    ReadResult read_line(std::string& error) {
        std::string_view line;
        switch (source_->next_line(line)) {
            case ByteSource::Line::line:
                return state_.take(line, source_->cut(), source_->place(), picks_, error);
            case ByteSource::Line::too_long:
                error = source_->place() + ": a line of more than a million bytes";
                return state_.format() ? ReadResult::bad : ReadResult::failed;
            case ByteSource::Line::failed:
                error = source_->failure();
                return ReadResult::failed;
            case ByteSource::Line::end:
                break;
        }
        error = state_.headless();
        return error.empty() ? ReadResult::end : ReadResult::failed;
    }

    std::unique_ptr<ByteSource> source_;
    PickLines::State state_;
    std::vector<Pick> picks_;  // of the last line
    size_t given_ = 0;
};

/// All picks of another reader by time.
class SortedReader : public PickReader {
  public:
    explicit SortedReader(std::unique_ptr<PickReader> reader) : reader_(std::move(reader)) {}

    // Bad records and failures come first, as they are met; picks when all of them are there.
    ReadResult next(Pick& pick, std::string& error) override {
        while (!read_) {
            Pick one;
            const ReadResult result = reader_->next(one, error);
            if (result == ReadResult::bad || result == ReadResult::failed) return result;
            if (result == ReadResult::pick) picks_.push_back(std::move(one));
            read_ = result == ReadResult::end;
            if (read_) std::ranges::stable_sort(picks_, {}, &Pick::time);
        }
        if (given_ == picks_.size()) return ReadResult::end;
        pick = std::move(picks_[given_++]);
        return ReadResult::pick;
    }
    const char* kind() const override { return reader_->kind(); }

  private:
    std::unique_ptr<PickReader> reader_;
    std::vector<Pick> picks_;
    bool read_ = false;
    size_t given_ = 0;
};

}  // namespace

std::unique_ptr<PickReader> make_line_reader(std::unique_ptr<ByteSource> source,
                                             const PickFileOptions& options,
                                             std::unique_ptr<LineFormat> format) {
    return std::make_unique<LineReader>(std::move(source), options, std::move(format));
}

std::unique_ptr<PickReader> make_sorted_reader(std::unique_ptr<PickReader> reader) {
    return std::make_unique<SortedReader>(std::move(reader));
}

}  // namespace velorix::assoc
