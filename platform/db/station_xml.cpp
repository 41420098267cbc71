// FDSN StationXML 1.0 to 1.2, levels station, channel and response, element by element: responses,
// most of such a file, are stepped over. A channel's position is the sensor's and counts before the
// station's.
#include <libxml/xmlreader.h>

#include <climits>
#include <memory>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

constexpr const char* kNamespace = "http://www.fdsn.org/xml/station/1";

std::string text_of(const xmlChar* text) { return text ? reinterpret_cast<const char*>(text) : ""; }

/// Position and epoch as an element gives them; null where it does not.
struct Node {
    std::string code;
    double lat = kNull, lon = kNull, elev = kNull;
    long ondate = -1, offdate = -1;
};

class StationXml {
  public:
    StationXml(const std::string& path, std::vector<Site>& epochs) : path_(path), epochs_(epochs) {}

    /// False after a logged line.
    bool read(const std::string& text);

  private:
    struct Free {
        void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
    };
    static void note(void* self, xmlErrorPtr error);
    RowPlace place() const {
        // The parser itself is ahead of the node.
        xmlNode* node = xmlTextReaderCurrentNode(reader_.get());
        const long line = node ? xmlGetLineNo(node) : 0;
        return {path_, static_cast<size_t>(line > 0 ? line : 0)};
    }
    std::string name() const { return text_of(xmlTextReaderConstLocalName(reader_.get())); }
    std::string attribute(const char* name) const;
    std::string content() const;
    bool fail() const;
    bool step(bool over);
    bool element(bool& over);
    bool root() const;
    bool open(Node& node);
    bool value(Node& node);
    bool close_station();
    bool add(const Node& node, const RowPlace& at);

    const std::string& path_;
    std::vector<Site>& epochs_;
    std::unique_ptr<xmlTextReader, Free> reader_;
    std::string fault_;
    size_t fault_line_ = 0;
    Node network_, station_, channel_;
    bool in_channel_ = false;
    size_t of_station_ = 0;  // epochs when the station began
};

void StationXml::note(void* self, xmlErrorPtr error) {
    auto& xml = *static_cast<StationXml*>(self);
    if (error->level < XML_ERR_ERROR || !xml.fault_.empty()) return;
    xml.fault_ = trimmed(error->message ? error->message : "not XML");
    if (error->int2 > 0) xml.fault_ += " (column " + std::to_string(error->int2) + ")";
    xml.fault_line_ = static_cast<size_t>(error->line > 0 ? error->line : 0);
}

std::string StationXml::attribute(const char* name) const {
    const std::unique_ptr<xmlChar, void (*)(void*)> value(
        xmlTextReaderGetAttribute(reader_.get(), reinterpret_cast<const xmlChar*>(name)),
        [](void* text) { xmlFree(text); });
    return std::string(trimmed(text_of(value.get())));
}

std::string StationXml::content() const {
    const std::unique_ptr<xmlChar, void (*)(void*)> value(xmlTextReaderReadString(reader_.get()),
                                                          [](void* text) { xmlFree(text); });
    return std::string(trimmed(text_of(value.get())));
}

bool StationXml::fail() const {
    return malformed({path_, fault_line_ ? fault_line_ : place().line},
                     fault_.empty() ? "not XML" : fault_);
}

// To the next node; false at the end and when the document is broken.
bool StationXml::step(bool over) {
    return (over ? xmlTextReaderNext(reader_.get()) : xmlTextReaderRead(reader_.get())) == 1;
}

bool StationXml::root() const {
    const std::string space = text_of(xmlTextReaderConstNamespaceUri(reader_.get()));
    if (name() == "FDSNStationXML" && space == kNamespace) return true;
    return malformed(place(),
                     "an XML document that is not StationXML, its root is '" + name() + "'");
}

// Code and epoch of a Network, Station or Channel.
bool StationXml::open(Node& node) {
    node = Node();
    node.code = attribute("code");
    return parse_day(attribute("startDate"), "startDate", place(), node.ondate) &&
           parse_day(attribute("endDate"), "endDate", place(), node.offdate);
}

bool StationXml::value(Node& node) {
    const std::string what = name();
    double& number = what == "Latitude" ? node.lat : what == "Longitude" ? node.lon : node.elev;
    return parse_coordinate(content(), what.c_str(), place(), number);
}

// What a channel lacks, its station has.
bool StationXml::add(const Node& node, const RowPlace& at) {
    const auto either = [](double one, double other) { return one == one ? one : other; };
    Site epoch;
    epoch.net = network_.code;
    epoch.code = station_.code;
    epoch.lat = either(node.lat, station_.lat);
    epoch.lon = either(node.lon, station_.lon);
    epoch.elev = either(node.elev, station_.elev) / 1000.0;  // metres
    epoch.ondate = node.ondate == -1 ? station_.ondate : node.ondate;
    epoch.offdate = node.offdate == -1 ? station_.offdate : node.offdate;
    epoch.line = at.line;
    const std::string fault = fault_of_codes(epoch.net, epoch.code);
    if (!fault.empty()) return malformed(at, fault);
    epochs_.push_back(std::move(epoch));
    return true;
}

bool StationXml::close_station() { return epochs_.size() > of_station_ || add(station_, place()); }

// An element below the root, by how deep it stands; `over` when nothing in it matters.
bool StationXml::element(bool& over) {
    const int depth = xmlTextReaderDepth(reader_.get());
    const std::string what = name();
    const bool empty = xmlTextReaderIsEmptyElement(reader_.get()) == 1;
    const bool position = what == "Latitude" || what == "Longitude" || what == "Elevation";
    over = false;
    if (depth == 1 && what == "Network") return open(network_);
    if (depth == 2 && what == "Station") {
        of_station_ = epochs_.size();
        return open(station_) && (!empty || close_station());
    }
    if (depth == 3 && what == "Channel") {
        in_channel_ = true;
        return open(channel_) && (!empty || add(channel_, place()));
    }
    over = true;
    if (depth == 3 && position) return value(station_);
    if (depth == 4 && position && in_channel_) return value(channel_);
    return true;
}

bool StationXml::read(const std::string& text) {
    if (text.size() > INT_MAX) return malformed({path_, 1}, "more than 2 GB of XML");
    // No network, no entities put in; the library's limits on depth and text stay in force.
    reader_.reset(xmlReaderForMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                     XML_PARSE_NONET));
    if (!reader_) throw std::bad_alloc();
    xmlTextReaderSetStructuredErrorHandler(reader_.get(), note, this);
    bool over = false, rooted = false;
    while (step(over)) {
        over = false;
        const int type = xmlTextReaderNodeType(reader_.get());
        const int depth = xmlTextReaderDepth(reader_.get());
        if (type == XML_READER_TYPE_DOCUMENT_TYPE)
            return malformed(place(), "a document type declaration, which no StationXML has");
        if (type == XML_READER_TYPE_ELEMENT && depth == 0) {
            if (!root()) return false;
            rooted = true;
        } else if (type == XML_READER_TYPE_ELEMENT) {
            if (!element(over)) return false;
        } else if (type == XML_READER_TYPE_END_ELEMENT && depth == 3 && in_channel_) {
            in_channel_ = false;
            if (!add(channel_, place())) return false;
        } else if (type == XML_READER_TYPE_END_ELEMENT && depth == 2 && name() == "Station") {
            if (!close_station()) return false;
        }
    }
    if (!fault_.empty() || !rooted) return fail();
    if (!epochs_.empty()) return true;
    elog_log(0, "dblookup: %s: no station in it (of level network?)\n", path_.c_str());
    return false;
}

}  // namespace

Read read_station_xml(const std::string& path, std::vector<Site>& epochs) {
    const auto text = read_text(path);
    if (!text) return Read::absent;
    return StationXml(path, epochs).read(*text) ? Read::good : Read::malformed;
}

}  // namespace velorix::db
