// Pick files of velorix-assoc, told apart by content; lines also as a service would hand them over.
// Built with VELORIX_FUZZ_FOREIGN for the files of other programs, which leave things open: an
// input that begins with 'R' is then the rest of it under the name of one of REAL's files.
#include <vector>

#include "fuzz.h"
#include "velorixassoc.h"

namespace {

using namespace velorix::assoc;
using velorix_fuzz::require;

void check(const Pick& pick) {
    require(!pick.station.empty() && pick.time - pick.time == 0.0);
    label_of(pick.phase);
}

#ifdef VELORIX_FUZZ_FOREIGN
const PickFileOptions kOptions{.sampling_rate = 100.0, .start = 1476403200.0};
constexpr bool kForeign = true;
#else
const PickFileOptions kOptions;
constexpr bool kForeign = false;
#endif

void read_file(std::string text) {
    std::string error;
    const bool real = kForeign && text.starts_with('R');
    if (real) text.erase(0, 1);
    const auto reader =
        open_picks_in(text, real ? "20161014/IV.A.P.txt" : "input", error, kOptions);
    require(reader ? error.empty() : !error.empty());
    if (!reader) return;
    Pick pick;
    for (ReadResult result = ReadResult::bad;
         result == ReadResult::pick || result == ReadResult::bad;) {
        error.clear();
        result = reader->next(pick, error);
        const bool wrong = result == ReadResult::bad || result == ReadResult::failed;
        require(wrong == !error.empty());
        if (result == ReadResult::pick) check(pick);
    }
    require(reader->kind() != nullptr);
}

void read_lines(std::string_view text) {
    PickLines lines("feed", kOptions);
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        std::vector<Pick> picks;
        std::string error;
        const ReadResult result = lines.take(text.substr(0, end), picks, error);
        require(result == ReadResult::pick ? error.empty() : !error.empty() && picks.empty());
        for (const Pick& pick : picks) check(pick);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const velorix_fuzz::Lines log;
    const std::string text(velorix_fuzz::text_of(data, size));
    read_file(text);
    read_lines(text);
    return 0;
}
