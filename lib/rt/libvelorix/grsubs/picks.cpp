// Pick lines to picks, and the picks' state between association passes.
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "grsubs/internal.h"
#include "platform/elog/elog.h"
#include "support/scan_number.h"

namespace velorix {
namespace {

// Reads fields one behind the other with the rules of scanf: blanks before a field are skipped, a
// number ends where it stops being one. Unlike scanf it does not depend on the locale and refuses
// codes that do not fit and numbers that are not finite.
class FieldScanner {
  public:
    explicit FieldScanner(std::string_view line) : rest_(line) {}

    /// Fields read so far; -1 when the line ended before the first.
    int count() const { return count_; }

    void code(char (&to)[16]) {
        if (!next()) return;
        const size_t length = std::min(rest_.find_first_of(kBlanks), rest_.size());
        if (length >= sizeof to) return stop();
        rest_.copy(to, length);
        to[length] = '\0';
        take(length);
    }
    void identifier(int64_t& to) {
        if (!next()) return;
        if (rest_[0] == '+' && rest_.size() > 1 && rest_[1] != '-') rest_.remove_prefix(1);
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), to);
        if (error != std::errc{}) return stop();
        take(static_cast<size_t>(end - rest_.data()));
    }
    void real(double& to) {
        if (!next()) return;
        double value = 0.0;
        if (!scan_number(rest_, value) || !std::isfinite(value)) return stop();
        to = value;
        ++count_;
    }

  private:
    static constexpr std::string_view kBlanks = " \t\n\v\f\r";

    bool next() {
        if (stopped_) return false;
        const size_t start = rest_.find_first_not_of(kBlanks);
        if (start == rest_.npos) {
            if (count_ == 0) count_ = -1;
            stop();
            return false;
        }
        rest_.remove_prefix(start);
        return true;
    }
    void take(size_t length) {
        rest_.remove_prefix(length);
        ++count_;
    }
    void stop() { stopped_ = true; }

    std::string_view rest_;
    int count_ = 0;
    bool stopped_ = false;
};

int scan_pick(const char* line, bool with_arid, PickList& pick) {
    FieldScanner scanner(line);
    if (with_arid) scanner.identifier(pick.arid);
    scanner.code(pick.sta);
    scanner.code(pick.chan);
    scanner.code(pick.phase);
    scanner.real(pick.time);
    scanner.real(pick.snr);
    return scanner.count();
}

int refuse_line(const char* line, bool with_arid, const PickList& pick, int count) {
    errno = EINVAL;
    if (!with_arid) return elog_log(1, "velorix_fill_plist: scan error on '%s'.\n", line), -1;
    elog_log(1, "velorix_fill_plist: scan returns %d on '%s'.\n", count, line);
    elog_log(0, "arid=%" PRId64 " sta='%s' chan='%s' phase='%s' time=%f snr=%f", pick.arid,
             pick.sta, pick.chan, pick.phase, pick.time, pick.snr);
    return -1;
}

int append_pick(const char* line, bool with_arid, Tbl* picks) {
    PickList scanned{};
    scanned.arid = -1;
    const int count = scan_pick(line, with_arid, scanned);
    if (count < (with_arid ? 6 : 5)) return refuse_line(line, with_arid, scanned, count);
    auto* pick = static_cast<PickList*>(std::malloc(sizeof(PickList)));
    if (!pick || settbl(picks, -1, pick) < 0) {
        std::free(pick);
        return elog_log(1, "velorix_fill_plist: malloc(plist,%ld) error.\n",
                        static_cast<long>(sizeof(PickList))),
               -1;
    }
    *pick = scanned;
    return 0;
}

int append_picks(Tbl* lines, bool with_arid, Tbl** picks) {
    if (maxtbl(lines) == 0) return 0;
    *picks = newtbl(maxtbl(lines));
    if (!*picks) return elog_log(0, "velorix_fill_plist: newtbl(picktbl) error.\n"), -1;
    for (int i = 0; i < maxtbl(lines); ++i) {
        const auto* line = static_cast<const char*>(gettbl(lines, i));
        if (append_pick(line, with_arid, *picks) < 0) return -1;
    }
    return 0;
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_fill_plist(Pf* pf_phases, Tbl** picktbl, int dbloc2) {
    *picktbl = nullptr;
    Tbl* lines = nullptr;
    if (parse_param(pf_phases, "arrivals", PF_LIST, 1, &lines) < 0) {
        return elog_log(0, "velorix_fill_plist: parse_param(arrivals) error.\n"), -1;
    }
    const int result = velorix::append_picks(lines, dbloc2 != 0, picktbl);
    freetbl(lines, std::free);
    return result;
}

extern "C" int velorix_cleanup_plist(Tbl* plist_tbl) {
    velorix::for_each_entry<PickList>(plist_tbl,
                                      [](PickList& pick) { pick.used = pick.used_save; });
    return 0;
}
