// Picks of a QuakeML 1.2 document, in whatever event they stand.
#include <algorithm>
#include <pugixml.hpp>
#include <vector>

#include "pick_reader.h"
#include "text.h"

namespace velorix::assoc {
namespace {

std::string_view local_name(const pugi::xml_node& node) {
    const std::string_view name = node.name();
    const size_t colon = name.find(':');
    return colon == name.npos ? name : name.substr(colon + 1);
}

pugi::xml_node child(const pugi::xml_node& node, std::string_view name) {
    for (const pugi::xml_node& candidate : node) {
        if (local_name(candidate) == name) return candidate;
    }
    return {};
}

class QuakeMlReader : public PickReader {
  public:
    QuakeMlReader(const PickFile& file, std::string text)
        : name_(file.name), text_(std::move(text)) {}

    bool load(std::string& error);
    ReadResult next(Pick& pick, std::string& error) override;
    const char* kind() const override { return "QuakeML"; }

  private:
    std::string place(std::ptrdiff_t offset) const;
    void collect(const pugi::xml_node& node);

    std::string name_, text_;
    pugi::xml_document document_;
    std::vector<pugi::xml_node> picks_;
    size_t next_ = 0;
};

std::string QuakeMlReader::place(std::ptrdiff_t offset) const {
    const auto end = text_.begin() + std::clamp<std::ptrdiff_t>(
                                         offset, 0, static_cast<std::ptrdiff_t>(text_.size()));
    return name_ + ":" + std::to_string(1 + std::count(text_.begin(), end, '\n'));
}

bool QuakeMlReader::load(std::string& error) {
    const auto result = document_.load_buffer(text_.data(), text_.size());
    if (!result) {
        error = place(result.offset) + ": " + result.description();
        return false;
    }
    if (local_name(document_.document_element()) != "quakeml") {
        error = name_ + ": an XML document that is not QuakeML";
        return false;
    }
    const pugi::xml_node catalogue = child(document_.document_element(), "eventParameters");
    collect(catalogue);
    for (const pugi::xml_node& event : catalogue) {
        if (local_name(event) == "event") collect(event);
    }
    return true;
}

void QuakeMlReader::collect(const pugi::xml_node& node) {
    for (const pugi::xml_node& candidate : node) {
        if (local_name(candidate) == "pick") picks_.push_back(candidate);
    }
}

ReadResult QuakeMlReader::next(Pick& pick, std::string& error) {
    if (next_ >= picks_.size()) return ReadResult::end;
    const pugi::xml_node& node = picks_[next_++];
    const std::string time = child(child(node, "time"), "value").text().get();
    const pugi::xml_node stream = child(node, "waveformID");
    pick = Pick();
    pick.network = stream.attribute("networkCode").value();
    pick.station = stream.attribute("stationCode").value();
    pick.location = stream.attribute("locationCode").value();
    pick.channel = stream.attribute("channelCode").value();
    pick.phase = trim(child(node, "phaseHint").text().get());
    pick.id = node.attribute("publicID").value();
    const auto seconds = epoch(time);
    if (seconds && !pick.station.empty()) {
        pick.time = *seconds;
        return ReadResult::pick;
    }
    error = place(node.offset_debug()) + ": " +
            (seconds ? "a pick without stationCode" : "time '" + time + "' is not ISO 8601");
    return ReadResult::bad;
}

}  // namespace

std::unique_ptr<PickReader> make_quakeml_reader(const PickFile& file, std::string& error) {
    auto text = whole_text(file);
    if (!text) {
        error = file.name + ": cannot be read";
        return nullptr;
    }
    auto reader = std::make_unique<QuakeMlReader>(file, std::move(*text));
    if (!reader->load(error)) return nullptr;
    return reader;
}

}  // namespace velorix::assoc
