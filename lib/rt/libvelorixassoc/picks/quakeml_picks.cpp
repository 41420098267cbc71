// Picks of a QuakeML 1.2 document, in whatever event they stand, element by element.
#include <libxml/xmlreader.h>

#include "../support/text_values.h"
#include "../support/times.h"
#include "pick_format.h"

namespace velorix::assoc {
namespace {

std::string text_of(const xmlChar* text) { return text ? reinterpret_cast<const char*>(text) : ""; }

bool named(const xmlNode* node, const char* name) {
    return node && node->type == XML_ELEMENT_NODE && text_of(node->name) == name;
}

const xmlNode* child(const xmlNode* node, const char* name) {
    const xmlNode* found = node ? node->children : nullptr;
    while (found && !named(found, name)) found = found->next;
    return found;
}

// Direct text of an element; entities are not followed.
std::string content(const xmlNode* node) {
    std::string out;
    for (const xmlNode* part = node ? node->children : nullptr; part; part = part->next) {
        if (part->type == XML_TEXT_NODE || part->type == XML_CDATA_SECTION_NODE)
            out += text_of(part->content);
    }
    return std::string(trim(out));
}

std::string attribute(const xmlNode* node, const char* name) {
    for (const xmlAttr* a = node ? node->properties : nullptr; a; a = a->next) {
        if (text_of(a->name) == name && a->children) return text_of(a->children->content);
    }
    return "";
}

class QuakeMlReader : public PickReader {
  public:
    explicit QuakeMlReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}

    /// Up to the root element.
    bool open(std::string& error);
    ReadResult next(Pick& pick, std::string& error) override;
    const char* kind() const override { return "QuakeML"; }

  private:
    struct Free {
        void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
    };
    static int read(void* self, char* to, int bytes);
    static void note(void* self, xmlErrorPtr error);
    bool advance(bool skip_children);
    bool at_pick() const;
    ReadResult failed(std::string& error) const;
    std::string place() const;
    bool take(const xmlNode* node, Pick& pick, std::string& why) const;

    std::unique_ptr<ByteSource> source_;
    std::unique_ptr<xmlTextReader, Free> reader_;
    std::string failure_;
    bool on_pick_ = false;  // the pick given last is behind the next step
};

int QuakeMlReader::read(void* self, char* to, int bytes) {
    ByteSource& source = *static_cast<QuakeMlReader*>(self)->source_;
    const size_t n = source.read(to, static_cast<size_t>(bytes));
    return source.failure().empty() ? static_cast<int>(n) : -1;
}

void QuakeMlReader::note(void* self, xmlErrorPtr error) {
    auto& reader = *static_cast<QuakeMlReader*>(self);
    if (error->level < XML_ERR_ERROR || !reader.failure_.empty()) return;
    const std::string words(trim(error->message ? error->message : "not XML"));
    reader.failure_ = reader.source_->name() + ":" + std::to_string(error->line) + ": " + words;
}

std::string QuakeMlReader::place() const {
    return source_->name() + ":" + std::to_string(xmlTextReaderGetParserLineNumber(reader_.get()));
}

bool QuakeMlReader::open(std::string& error) {
    // No network, no external subsets, no entities put in, and the library's limits on depth and
    // text stay in force.
    reader_.reset(xmlReaderForIO(read, nullptr, this, nullptr, nullptr, XML_PARSE_NONET));
    if (!reader_) throw std::bad_alloc();
    xmlTextReaderSetStructuredErrorHandler(reader_.get(), note, this);
    while (advance(false)) {
        const int type = xmlTextReaderNodeType(reader_.get());
        if (type == XML_READER_TYPE_DOCUMENT_TYPE) {
            error = place() + ": a document type declaration, which no QuakeML has";
            return false;
        }
        if (type != XML_READER_TYPE_ELEMENT) continue;
        if (text_of(xmlTextReaderConstLocalName(reader_.get())) == "quakeml") return true;
        error = source_->name() + ": an XML document that is not QuakeML";
        return false;
    }
    failed(error);
    return false;
}

// The next node; false at the end and when the document is broken.
bool QuakeMlReader::advance(bool skip_children) {
    const int result =
        skip_children ? xmlTextReaderNext(reader_.get()) : xmlTextReaderRead(reader_.get());
    if (result < 0 && failure_.empty()) failure_ = place() + ": not XML";
    return result == 1;
}

// Below eventParameters, or below an event there.
bool QuakeMlReader::at_pick() const {
    if (xmlTextReaderNodeType(reader_.get()) != XML_READER_TYPE_ELEMENT) return false;
    const int depth = xmlTextReaderDepth(reader_.get());
    if (depth != 2 && depth != 3) return false;
    const xmlNode* node = xmlTextReaderCurrentNode(reader_.get());
    if (!named(node, "pick")) return false;
    return depth == 2
               ? named(node->parent, "eventParameters")
               : named(node->parent, "event") && named(node->parent->parent, "eventParameters");
}

ReadResult QuakeMlReader::failed(std::string& error) const {
    error = source_->failure().empty() ? failure_ : source_->failure();
    if (error.empty()) error = source_->name() + ": an XML document that is not QuakeML";
    return ReadResult::failed;
}

bool QuakeMlReader::take(const xmlNode* node, Pick& pick, std::string& why) const {
    const xmlNode* stream = child(node, "waveformID");
    pick = Pick();
    pick.network = attribute(stream, "networkCode");
    pick.station = attribute(stream, "stationCode");
    pick.location = attribute(stream, "locationCode");
    pick.channel = attribute(stream, "channelCode");
    pick.phase = content(child(node, "phaseHint"));
    pick.id = attribute(node, "publicID");
    const std::string time = content(child(child(node, "time"), "value"));
    const auto seconds = epoch(time);
    if (!seconds) why = "time '" + time + "' is not ISO 8601";
    if (pick.station.empty()) why = "a pick without stationCode";
    pick.time = seconds.value_or(0.0);
    return why.empty();
}

ReadResult QuakeMlReader::next(Pick& pick, std::string& error) {
    if (!failure_.empty()) return failed(error);
    while (advance(on_pick_)) {
        on_pick_ = at_pick();
        if (!on_pick_) continue;
        const std::string at = place();
        const xmlNode* node = xmlTextReaderExpand(reader_.get());
        if (!node) return failed(error);
        std::string why;
        if (take(node, pick, why)) return ReadResult::pick;
        error = at + ": " + why;
        return ReadResult::bad;
    }
    on_pick_ = false;
    return failure_.empty() && source_->failure().empty() ? ReadResult::end : failed(error);
}

}  // namespace

std::unique_ptr<PickReader> make_quakeml_reader(std::unique_ptr<ByteSource> source,
                                                std::string& error) {
    auto reader = std::make_unique<QuakeMlReader>(std::move(source));
    if (!reader->open(error)) return nullptr;
    return reader;
}

}  // namespace velorix::assoc
