// The whole path from a grid file and picks to events, with an oracle on their values. The input: a
// number of changes to the grid file, four bytes each (place and mask), then picks, four bytes
// each.
#include <algorithm>

#include "assoc/damaged_grid.h"
#include "fuzz.h"

namespace {

using namespace velorix::assoc;

/// Takes the bytes of the input one by one; 0 behind its end.
class Bytes {
  public:
    Bytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    unsigned next() { return at_ < size_ ? data_[at_++] : 0; }
    bool ended() const { return at_ >= size_; }

  private:
    const uint8_t* data_;
    size_t size_, at_ = 0;
};

std::string damaged(const std::string& whole, Bytes& bytes) {
    std::string out = whole;
    for (unsigned n = bytes.next() % 16; n > 0; --n) {
        const size_t place = bytes.next() << 16 | bytes.next() << 8 | bytes.next();
        out[place % out.size()] = static_cast<char>(out[place % out.size()] ^ bytes.next());
    }
    return out;
}

std::vector<Pick> picks_from(Bytes& bytes) {
    static const std::vector<Station> stations = network();
    static const char* const kPhases[] = {"P", "S", "", "LR"};
    std::vector<Pick> picks;
    for (int i = 0; i < 200 && !bytes.ended(); ++i) {
        const Station& station = stations[bytes.next() % stations.size()];
        const unsigned kind = bytes.next();
        const double time = 1e9 + 0.01 * static_cast<double>(bytes.next() << 8 | bytes.next());
        picks.push_back(pick_of(station, kPhases[kind % 4], time));
    }
    return picks;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string whole = grid_file();
    static const std::vector<Pick> event = picks_of({{1e9 + 50.0, 0.42, 0.37, 7.0}}, 0, 1);
    const velorix_fuzz::Lines log;
    Bytes bytes(data, size);
    const std::string grid = damaged(whole, bytes);
    std::vector<Pick> picks = picks_from(bytes);
    picks.insert(picks.end(), event.begin(), event.end());
    std::ranges::sort(picks, {}, &Pick::time);
    const auto outcome = associate_on(grid, picks);
    velorix_fuzz::require(outcome ? outcome->impossible.empty() : log.number() > 0);
    return 0;
}
