// QuakeML 1.2, Basic Event Description (Schorlemmer, Euchner, Kaestli, Saul et al.).
#include <algorithm>
#include <cmath>
#include <pugixml.hpp>
#include <sstream>

#include "../support/text_values.h"
#include "../support/times.h"
#include "writers.h"

namespace velorix::assoc {
namespace {

constexpr double kMetres = 1000.0;

// A resource identifier of our own; characters that the schema does not allow become '_'.
std::string resource(const std::string& path) {
    std::string out = "smi:local/velorix/";
    for (char c : path) {
        const bool plain =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        out += plain || std::string("-.*()_~'/").find(c) != std::string::npos ? c : '_';
    }
    return out;
}

// What XML can hold and every reader shows.
std::string plain_ascii(std::string text) {
    for (char& c : text) {
        if (c < ' ' || c > '~') c = '_';
    }
    return text;
}

// Codes are limited to 8 characters by the schema.
std::string code(const std::string& text) { return plain_ascii(text.substr(0, 8)); }

void add(pugi::xml_node node, const char* name, const std::string& text) {
    node.append_child(name).text().set(text.c_str());
}

/// A number that is not known is left out.
void add_number(pugi::xml_node node, const char* name, double value, int decimals) {
    if (std::isfinite(value)) add(node, name, format("%.*f", decimals, value));
}

void add_quantity(pugi::xml_node node, const char* name, double value, int decimals,
                  double uncertainty) {
    pugi::xml_node quantity = node.append_child(name);
    add_number(quantity, "value", value, decimals);
    if (uncertainty > 0.0) add_number(quantity, "uncertainty", uncertainty, decimals);
}

void add_time(pugi::xml_node node, double time, double uncertainty) {
    pugi::xml_node quantity = node.append_child("time");
    add(quantity, "value", iso_time(time, 4));
    if (uncertainty > 0.0) add_number(quantity, "uncertainty", uncertainty, 4);
}

void add_pick(pugi::xml_node event, const EventPick& p, const std::string& id) {
    pugi::xml_node pick = event.append_child("pick");
    pick.append_attribute("publicID").set_value(id.c_str());
    add_time(pick, p.pick.time, 0.0);
    pugi::xml_node stream = pick.append_child("waveformID");
    stream.append_attribute("networkCode").set_value(code(p.pick.network).c_str());
    stream.append_attribute("stationCode").set_value(code(p.pick.station).c_str());
    if (!p.pick.location.empty()) {
        stream.append_attribute("locationCode").set_value(code(p.pick.location).c_str());
    }
    if (!p.pick.channel.empty()) {
        stream.append_attribute("channelCode").set_value(code(p.pick.channel).c_str());
    }
    add(pick, "phaseHint",
        p.pick.phase.empty() ? std::string(1, p.phase) : plain_ascii(p.pick.phase));
    add(pick, "evaluationMode", "automatic");
}

void add_arrival(pugi::xml_node origin, const EventPick& p, const std::string& id,
                 const std::string& pick_id) {
    pugi::xml_node arrival = origin.append_child("arrival");
    arrival.append_attribute("publicID").set_value(id.c_str());
    add(arrival, "pickID", pick_id);
    add(arrival, "phase", std::string(1, p.phase));
    add_number(arrival, "azimuth", p.esaz, 2);
    add_number(arrival, "distance", p.delta, 5);
    add_number(arrival, "timeResidual", p.residual, 4);
    add_number(arrival, "timeWeight", p.defining ? p.weight : 0.0, 3);
}

void add_quality(pugi::xml_node origin, const Event& e) {
    pugi::xml_node quality = origin.append_child("quality");
    add(quality, "associatedPhaseCount", std::to_string(e.picks.size()));
    add(quality, "usedPhaseCount", std::to_string(e.defining));
    add(quality, "associatedStationCount", std::to_string(e.stations));
    add_number(quality, "standardError", e.scatter, 4);
    add_number(quality, "azimuthalGap", e.gap, 1);
    add_number(quality, "minimumDistance", e.nearest, 4);
    add_number(quality, "maximumDistance", e.farthest, 4);
    add_number(quality, "medianDistance", e.median, 4);
}

void add_ellipse(pugi::xml_node origin, const Event& e) {
    if (!std::isfinite(e.error.major) || !(e.error.major > 0.0)) return;  // not known
    pugi::xml_node ellipse = origin.append_child("originUncertainty");
    add_number(ellipse, "minHorizontalUncertainty", e.error.minor * kMetres, 1);
    add_number(ellipse, "maxHorizontalUncertainty", e.error.major * kMetres, 1);
    add_number(ellipse, "azimuthMaxHorizontalUncertainty", e.error.strike, 1);
    add(ellipse, "preferredDescription", "uncertainty ellipse");
}

pugi::xml_node add_origin(pugi::xml_node event, const Event& e, const std::string& id) {
    constexpr double kKmPerDegree = 111.19492664455873;  // sphere of 6371 km
    pugi::xml_node origin = event.append_child("origin");
    origin.append_attribute("publicID").set_value(id.c_str());
    add_time(origin, e.time, e.error.time);
    add_quantity(origin, "latitude", e.lat, 5, e.error.north / kKmPerDegree);
    const double shrink = std::max(0.01, std::cos(e.lat * 3.141592653589793 / 180.0));
    add_quantity(origin, "longitude", e.lon, 5, e.error.east / kKmPerDegree / shrink);
    add_quantity(origin, "depth", e.depth * kMetres, 1, e.error.depth * kMetres);
    add(origin, "depthType", e.fixed_depth ? "operator assigned" : "from location");
    add(origin, "methodID", resource("method/grid-search"));
    if (!e.model.empty()) add(origin, "earthModelID", resource("model/" + e.model));
    add_quality(origin, e);
    add_ellipse(origin, e);
    add(origin, "evaluationMode", "automatic");
    return origin;
}

void add_event(pugi::xml_node catalogue, const Event& e) {
    pugi::xml_node event = catalogue.append_child("event");
    event.append_attribute("publicID").set_value(resource("event/" + e.id).c_str());
    const std::string origin_id = resource("origin/" + e.id);
    add(event, "preferredOriginID", origin_id);
    add(event, "type", "earthquake");
    std::vector<std::string> ids;
    for (const EventPick& p : e.picks) {
        ids.push_back(e.id + "/" + p.pick.network + "." + p.pick.station + "." + p.phase);
        add_pick(event, p, resource("pick/" + ids.back()));
    }
    pugi::xml_node origin = add_origin(event, e, origin_id);
    for (size_t i = 0; i < ids.size(); ++i) {
        add_arrival(origin, e.picks[i], resource("arrival/" + ids[i]), resource("pick/" + ids[i]));
    }
}

/// The document around the events, written as they come. Its identifier is that of its first event.
class QuakeMlWriter : public SingleWriter {
    std::string body(const Event& event) override {
        pugi::xml_document part;
        add_event(part, event);
        std::ostringstream out;
        constexpr unsigned kDepth = 2;  // below quakeml and eventParameters
        part.first_child().print(out, "  ", pugi::format_default, pugi::encoding_utf8, kDepth);
        return opening(event.id) + out.str();
    }
    std::string foot() override {
        if (!open_) {
            return std::string(kHead) + "  <eventParameters publicID=\"" +
                   resource("catalogue/empty") + "\" />\n</q:quakeml>\n";
        }
        return "  </eventParameters>\n</q:quakeml>\n";
    }
    std::string opening(const std::string& id) {
        if (open_) return "";
        open_ = true;
        return std::string(kHead) + "  <eventParameters publicID=\"" + resource("catalogue/" + id) +
               "\">\n";
    }

    static constexpr const char* kHead =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<q:quakeml xmlns:q=\"http://quakeml.org/xmlns/quakeml/1.2\" "
        "xmlns=\"http://quakeml.org/xmlns/bed/1.2\">\n";
    bool open_ = false;
};

}  // namespace

std::unique_ptr<CatalogueWriter> make_quakeml_writer() { return std::make_unique<QuakeMlWriter>(); }

}  // namespace velorix::assoc
