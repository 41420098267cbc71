// Pick files of velorix-assoc, told apart by content; lines also as a service would hand them over.
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

void read_file(const std::string& text) {
    std::string error;
    const auto reader = open_picks_in(text, "input", error);
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
    PickLines lines("feed");
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
