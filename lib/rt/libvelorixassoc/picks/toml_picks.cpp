// Picks as the `arrivals` list of a TOML file: "station channel phase time snr", with an arrival
// identifier in front where the file has one.
#include <sstream>
#include <vector>

#include "../support/text_values.h"
#include "../support/times.h"
#include "pick_format.h"
#include "platform/pf/pf.h"
#include "station_code.h"

namespace velorix::assoc {
namespace {

class TomlReader : public PickReader {
  public:
    explicit TomlReader(std::string name) : name_(std::move(name)) {}
    bool load(const std::string& text, std::string& error);
    ReadResult next(Pick& pick, std::string& error) override;
    const char* kind() const override { return "TOML arrivals"; }

  private:
    std::string name_;
    std::vector<std::string> lines_;
    size_t next_ = 0;
};

bool TomlReader::load(const std::string& text, std::string& error) {
    Pf* pf = nullptr;
    Tbl* list = nullptr;
    if (pfparse(text.c_str(), name_.c_str(), &pf) != 0) {
        error = name_ + ": cannot be read as TOML";
        return false;
    }
    const bool found = parse_param(pf, "arrivals", PF_LIST, 1, &list) == 1;
    for (int i = 0; found && i < maxtbl(list); ++i) {
        lines_.emplace_back(static_cast<const char*>(gettbl(list, i)));
    }
    freetbl(list, free);
    pffree(pf);
    if (!found) error = name_ + ": no list 'arrivals'";
    return found;
}

ReadResult TomlReader::next(Pick& pick, std::string& error) {
    if (next_ >= lines_.size()) return ReadResult::end;
    const std::string& line = lines_[next_++];
    std::istringstream words(line);
    std::vector<std::string> fields;
    for (std::string word; words >> word;) fields.push_back(word);
    pick = Pick();
    // Six fields that begin with a whole number and end in two numbers carry an identifier.
    const bool with_id =
        fields.size() >= 6 && whole_number(fields[0]) && number(fields[4]) && number(fields[5]);
    const size_t at = with_id ? 1 : 0;
    if (fields.size() >= at + 5) {
        const auto time = epoch_seconds(fields[at + 3]);
        const auto snr = number(fields[at + 4]);
        if (time && snr) {
            pick.station = fields[at];
            take_network_apart(pick);
            pick.channel = fields[at + 1] == "-" ? "" : fields[at + 1];
            pick.phase = fields[at + 2];
            pick.time = *time;
            pick.quality = *snr;
            if (with_id) pick.arid = *whole_number(fields[0]);
            if (with_id) pick.id = fields[0];
            return ReadResult::pick;
        }
    }
    error = name_ + ": arrivals, entry " + std::to_string(next_) + ": '" + line +
            "' is not 'station channel phase time snr'";
    return ReadResult::bad;
}

}  // namespace

std::unique_ptr<PickReader> make_toml_reader(std::unique_ptr<ByteSource> source,
                                             std::string& error) {
    constexpr size_t kMost = 16 << 20;  // bytes, as for a parameter file: it is held whole
    const std::string text(source->peek(kMost + 1));
    if (text.size() > kMost) {
        error = source->name() + ": more than 16 MB of TOML; CSV has no such limit";
        return nullptr;
    }
    if (!source->failure().empty()) {
        error = source->failure();
        return nullptr;
    }
    auto reader = std::make_unique<TomlReader>(source->name());
    if (!reader->load(text, error)) return nullptr;
    return reader;
}

}  // namespace velorix::assoc
