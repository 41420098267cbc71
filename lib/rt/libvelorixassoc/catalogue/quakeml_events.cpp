// Events of a QuakeML 1.2 document: of each the preferred origin with its arrivals and picks.
#include <cmath>
#include <limits>
#include <map>
#include <numbers>
#include <pugixml.hpp>
#include <set>

#include "../support/text_values.h"
#include "../support/times.h"
#include "event_reader.h"

namespace velorix::assoc {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr double kMetres = 1000.0;
constexpr double kKmPerDegree = 111.19492664455873;  // sphere of 6371 km

std::string local_name(const pugi::xml_node& node) {
    const std::string name = node.name();
    const size_t colon = name.find(':');
    return colon == name.npos ? name : name.substr(colon + 1);
}

double number_or(const pugi::xml_node& node, double otherwise) {
    const auto value = number(trim(node.text().get()));
    return value ? *value : otherwise;
}
double quantity(const pugi::xml_node& parent, const char* name) {
    return number_or(parent.child(name).child("value"), kUnknown);
}
double uncertainty(const pugi::xml_node& parent, const char* name) {
    return number_or(parent.child(name).child("uncertainty"), kUnknown);
}

Pick pick_of(const pugi::xml_node& node) {
    const pugi::xml_node stream = node.child("waveformID");
    Pick pick;
    pick.network = stream.attribute("networkCode").value();
    pick.station = stream.attribute("stationCode").value();
    pick.location = stream.attribute("locationCode").value();
    pick.channel = stream.attribute("channelCode").value();
    pick.phase = std::string(trim(node.child("phaseHint").text().get()));
    pick.id = node.attribute("publicID").value();
    const auto time = epoch(trim(node.child("time").child("value").text().get()));
    pick.time = time ? *time : kUnknown;
    return pick;
}

void add_errors(Event& e, const pugi::xml_node& origin) {
    Uncertainty& error = e.error;
    error.time = uncertainty(origin, "time");
    error.depth = uncertainty(origin, "depth") / kMetres;
    const pugi::xml_node ellipse = origin.child("originUncertainty");
    error.major = number_or(ellipse.child("maxHorizontalUncertainty"), kUnknown) / kMetres;
    error.minor = number_or(ellipse.child("minHorizontalUncertainty"), kUnknown) / kMetres;
    error.strike = number_or(ellipse.child("azimuthMaxHorizontalUncertainty"), kUnknown);
    if (std::isfinite(error.major)) return;
    // Without an ellipse: along the meridian and across it.
    const double north = uncertainty(origin, "latitude") * kKmPerDegree;
    const double east = uncertainty(origin, "longitude") * kKmPerDegree *
                        std::cos(e.lat * std::numbers::pi / 180.0);
    if (!std::isfinite(north) || !std::isfinite(east)) return;
    error.major = std::max(north, east);
    error.minor = std::min(north, east);
    error.strike = north >= east ? 0.0 : 90.0;
}

void add_quality(Event& e, const pugi::xml_node& origin) {
    const pugi::xml_node quality = origin.child("quality");
    e.scatter = number_or(quality.child("standardError"), kUnknown);
    e.scatter_weighted = e.score = e.coverage = kUnknown;
    e.gap = number_or(quality.child("azimuthalGap"), kUnknown);
    e.nearest = number_or(quality.child("minimumDistance"), kUnknown);
    e.farthest = number_or(quality.child("maximumDistance"), kUnknown);
    e.median = number_or(quality.child("medianDistance"), kUnknown);
}

void add_arrivals(Event& e, const pugi::xml_node& origin,
                  const std::map<std::string, pugi::xml_node>& picks) {
    std::set<std::string> stations;
    for (const pugi::xml_node arrival : origin.children("arrival")) {
        const auto at = picks.find(std::string(trim(arrival.child("pickID").text().get())));
        if (at == picks.end()) continue;
        EventPick p;
        p.pick = pick_of(at->second);
        const std::string phase(trim(arrival.child("phase").text().get()));
        if (!std::isfinite(p.pick.time) || phase.empty()) continue;
        p.phase = phase[0] == 'S' || phase[0] == 's' ? 'S' : 'P';
        if (p.pick.phase.empty()) p.pick.phase = phase;
        p.residual = number_or(arrival.child("timeResidual"), kUnknown);
        p.delta = number_or(arrival.child("distance"), kUnknown);
        p.esaz = number_or(arrival.child("azimuth"), kUnknown);
        p.seaz = kUnknown;
        p.weight = number_or(arrival.child("timeWeight"), 1.0);
        p.defining = p.weight > 0.0;
        stations.insert(p.pick.network + "." + p.pick.station);
        (p.phase == 'S' ? e.s : e.p) += 1;
        e.defining += p.defining ? 1 : 0;
        e.picks.push_back(std::move(p));
    }
    e.stations = static_cast<int>(stations.size());
}

class QuakeMlEvents : public EventReader {
  public:
    explicit QuakeMlEvents(std::string name) : name_(std::move(name)) {}
    bool parse(ByteSource& source, std::string& error);
    const char* kind() const override { return "QuakeML"; }
    ReadResult next(Report& report, std::string& error) override;

  private:
    bool take(Event& e, std::string& why) const;
    std::string name_, text_;
    pugi::xml_document document_;
    pugi::xml_node event_;
    std::map<std::string, pugi::xml_node> picks_;
};

bool QuakeMlEvents::parse(ByteSource& source, std::string& error) {
    std::string block(65536, '\0');
    while (const size_t n = source.read(block.data(), block.size())) text_.append(block, 0, n);
    if (!source.failure().empty()) {
        error = source.failure();
        return false;
    }
    const auto result = document_.load_buffer_inplace(text_.data(), text_.size());
    if (!result) {
        error = name_ + ": byte " + std::to_string(result.offset) + ": " + result.description();
        return false;
    }
    const pugi::xml_node root = document_.document_element();
    const pugi::xml_node parameters = root.child("eventParameters");
    if (local_name(root) != "quakeml" || !parameters) {
        error = name_ + ": an XML document that is not QuakeML";
        return false;
    }
    for (const pugi::xml_node event : parameters.children("event")) {
        for (const pugi::xml_node pick : event.children("pick")) {
            picks_.emplace(pick.attribute("publicID").value(), pick);
        }
    }
    event_ = parameters.child("event");
    return true;
}

bool QuakeMlEvents::take(Event& e, std::string& why) const {
    const std::string preferred(trim(event_.child("preferredOriginID").text().get()));
    pugi::xml_node origin = event_.find_child_by_attribute("origin", "publicID", preferred.c_str());
    if (!origin) origin = event_.child("origin");
    const std::string id = event_.attribute("publicID").value();
    e = Event();
    e.id = id.substr(id.rfind('/') + 1);
    const auto time = epoch(trim(origin.child("time").child("value").text().get()));
    e.lat = quantity(origin, "latitude");
    e.lon = quantity(origin, "longitude");
    if (!time || !(std::fabs(e.lat) <= 90.0) || !(std::fabs(e.lon) <= 180.0)) {
        why = "event '" + id + "' has no origin with time, latitude and longitude";
        return false;
    }
    e.time = *time;
    const double depth = quantity(origin, "depth") / kMetres;
    e.depth = std::isfinite(depth) ? depth : 0.0;
    e.fixed_depth = std::string(origin.child("depthType").text().get()) == "operator assigned";
    const std::string model(trim(origin.child("earthModelID").text().get()));
    e.model = model.substr(model.rfind('/') + 1);
    add_errors(e, origin);
    add_quality(e, origin);
    add_arrivals(e, origin, picks_);
    return true;
}

ReadResult QuakeMlEvents::next(Report& report, std::string& error) {
    if (!event_) return ReadResult::end;
    report = Report();
    report.version = kFinalVersion;
    std::string why;
    const bool good = take(report.event, why);
    event_ = event_.next_sibling("event");
    if (!good) error = name_ + ": " + why;
    return good ? ReadResult::pick : ReadResult::bad;
}

}  // namespace

std::unique_ptr<EventReader> make_quakeml_event_reader(std::unique_ptr<ByteSource> source,
                                                       std::string& error) {
    auto reader = std::make_unique<QuakeMlEvents>(source->name());
    if (!reader->parse(*source, error)) return nullptr;
    return reader;
}

}  // namespace velorix::assoc
