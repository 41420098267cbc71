#ifndef VELORIX_REPORT_INPUTS_H
#define VELORIX_REPORT_INPUTS_H
// Files of events and grids into one page.
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "options.h"
#include "velorixassoc.h"

namespace velorix::report {

/// What the files hold. Of an event that was told of several times (a stream of event documents)
/// the last word counts.
class Inputs {
  public:
    /// Reads a file of whichever kind. False after a logged line.
    bool read(const std::string& path, bool skip_bad);
    /// Hands events and grids to the page, events by time.
    bool give(assoc::PageWriter& page, const std::vector<assoc::Sink*>& sinks);
    /// Digest of the rules, when all events have the same.
    std::string digest() const { return digests_.size() == 1 ? *digests_.begin() : ""; }
    long bad() const { return bad_; }

  private:
    struct ReleaseGrids {
        void operator()(Tbl* list) const { freetbl(list, velorix_release); }
    };
    bool read_grids(const std::string& path);
    bool read_events(const std::string& path, bool skip_bad);
    void take(assoc::Report&& report);

    std::vector<std::unique_ptr<Tbl, ReleaseGrids>> grids_;
    std::map<std::string, assoc::Report> tracks_;  ///< events that are not final
    std::vector<assoc::Event> events_;
    std::vector<assoc::Refusal> withdrawn_;
    std::set<std::string> digests_;
    long bad_ = 0;
};

}  // namespace velorix::report
#endif
