// Pick files of velorix-assoc. VELORIX_FUZZ_READER is the reader of one kind of file, called as
// make_reader is; the other kinds are told apart and read as well, as the program would.
#include <cstdio>

#include "fuzz.h"
#include "pick_reader.h"

namespace {

using namespace velorix::assoc;
using velorix_fuzz::require;

using Maker = std::unique_ptr<PickReader> (*)(const PickFile& file, std::string& error);

[[maybe_unused]] std::unique_ptr<PickReader> make_css(const PickFile& file, std::string&) {
    return make_css_reader(file);
}

void read_all(Maker make, const PickFile& file) {
    std::string error;
    std::rewind(file.file);
    const auto reader = make(file, error);
    require(reader || !error.empty());
    Pick pick;
    for (ReadResult result = ReadResult::bad; reader && result != ReadResult::end;) {
        error.clear();
        result = reader->next(pick, error);
        require((result == ReadResult::bad) == !error.empty());
        if (result != ReadResult::pick) continue;
        require(!pick.station.empty() && pick.time - pick.time == 0.0);
        label_of(pick.phase);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const velorix_fuzz::Lines lines;
    if (size == 0) return 0;
    std::FILE* file = fmemopen(const_cast<uint8_t*>(data), size, "rb");
    require(file != nullptr);
    read_all(VELORIX_FUZZ_READER, {"input", file});
    read_all(make_reader, {"input", file});
    std::fclose(file);
    return 0;
}
