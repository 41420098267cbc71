#ifndef VELORIX_ASSOC_PICK_STREAM_H
#define VELORIX_ASSOC_PICK_STREAM_H
// Picks of several files in order of time, holding no more of them than their disorder demands.
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <queue>
#include <set>
#include <string>
#include <vector>

#include "activity.h"
#include "pick.h"
#include "pick_reader.h"

namespace velorix::assoc {

/// What a first pass over the files tells.
struct PickSurvey {
    long read = 0;     ///< picks in the files
    long bad = 0;      ///< unreadable records passed over
    long outside = 0;  ///< picks outside the time span asked for
    long label_p = 0, label_s = 0, label_other = 0, label_none = 0;
    double first = 0.0, last = 0.0;            ///< of the picks inside the span
    std::map<std::string, Activity> stations;  ///< by "NET.STA"
    std::string kinds;
    long used() const { return read - outside; }
};

struct StreamOptions {
    std::vector<std::string> paths;  ///< "-" is standard input
    bool skip_bad = false;
    double from = -std::numeric_limits<double>::infinity();
    double to = std::numeric_limits<double>::infinity();
};

class PickStream {
  public:
    /// Reads every file once to check and survey it. False after a logged line.
    bool open(const StreamOptions& options);
    const PickSurvey& survey() const { return survey_; }
    /// The next pick by time (then by name); picks that repeat another in everything are dropped.
    /// False at the end.
    bool next(Pick& pick);
    long duplicates() const { return duplicates_; }

  private:
    struct Later {
        bool operator()(const Pick& a, const Pick& b) const;
    };
    using Heap = std::priority_queue<Pick, std::vector<Pick>, Later>;
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    struct Input {
        std::string name;
        std::unique_ptr<std::FILE, CloseFile> file;
        std::unique_ptr<PickReader> reader;
        double disorder = 0.0;  // most that a pick lies before an earlier line's, s
        double newest = -std::numeric_limits<double>::infinity();
        bool ended = false;
        Heap heap;
    };

    bool open_input(const std::string& path, Input& input);
    bool survey_input(Input& input);
    void count(const Pick& pick);
    void refill(Input& input);
    bool inside(const Pick& pick) const;
    bool pop(Pick& pick);

    StreamOptions options_;
    PickSurvey survey_;
    std::vector<Input> inputs_;
    std::vector<Pick> same_instant_;
    long duplicates_ = 0;
};

}  // namespace velorix::assoc
#endif
