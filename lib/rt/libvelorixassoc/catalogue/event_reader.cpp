// Event documents (docs/event.schema.json) read back, and which kind of file holds events.
#include "event_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "../support/text_values.h"

namespace velorix::assoc {
namespace {

using Json = nlohmann::json;

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

/// Members of an object, with an error that names the one that is missing or of another type.
class Object {
  public:
    explicit Object(const Json& json) : json_(json) {
        if (!json.is_object()) throw std::invalid_argument("not a JSON object");
    }
    std::string text(const char* key) const {
        const Json& value = member(key);
        if (value.is_null()) return "";
        if (!value.is_string()) wrong(key, "a text");
        return value.get<std::string>();
    }
    /// NaN for null.
    double number(const char* key) const {
        const Json& value = member(key);
        if (value.is_null()) return kUnknown;
        if (!value.is_number()) wrong(key, "a number");
        return value.get<double>();
    }
    double number(const char* key, double least, double most) const {
        const double value = number(key);
        if (!(value >= least && value <= most)) wrong(key, "a number in its range");
        return value;
    }
    int count(const char* key) const { return static_cast<int>(number(key, 0.0, 1e9)); }
    bool flag(const char* key) const {
        const Json& value = member(key);
        if (!value.is_boolean()) wrong(key, "true or false");
        return value.get<bool>();
    }
    const Json& list(const char* key) const {
        const Json& value = member(key);
        if (!value.is_array()) wrong(key, "a list");
        return value;
    }
    const Json& member(const char* key) const {
        const auto at = json_.find(key);
        if (at == json_.end()) throw std::invalid_argument(std::string("no member '") + key + "'");
        return *at;
    }

  private:
    [[noreturn]] static void wrong(const char* key, const char* what) {
        throw std::invalid_argument(std::string("member '") + key + "' is not " + what);
    }
    const Json& json_;
};

constexpr double kLatest = 253402300799.0;  // the end of the year 9999

Pick identity_of(const Object& o) {
    Pick pick;
    pick.network = o.text("network");
    pick.station = o.text("station");
    pick.location = o.text("location");
    pick.channel = o.text("channel");
    pick.phase = o.text("label");
    pick.id = o.text("id");
    pick.time = o.number("epoch", -kLatest, kLatest);
    return pick;
}

char phase_of(const Object& o) { return o.text("phase") == "S" ? 'S' : 'P'; }

EventPick pick_of(const Json& json) {
    const Object o(json);
    EventPick out;
    out.pick = identity_of(o);
    out.phase = phase_of(o);
    out.residual = o.number("residual");
    out.delta = o.number("distance");
    out.esaz = o.number("event_azimuth");
    out.seaz = o.number("station_azimuth");
    out.weight = o.number("weight");
    out.defining = o.flag("defining");
    return out;
}

/// The first of an enumeration's values whose name it is.
template <class Value>
Value value_of(const std::string& name, const char* (*name_of)(Value), Value last,
               Value otherwise) {
    for (int i = 0; i <= static_cast<int>(last); ++i) {
        const auto value = static_cast<Value>(i);
        if (name == name_of(value)) return value;
    }
    return otherwise;
}

LeftOut left_of(const Json& json) {
    const Object o(json);
    LeftOut out;
    out.pick = identity_of(o);
    out.phase = phase_of(o);
    out.residual = o.number("residual");
    out.limit = o.number("limit");
    out.reason = value_of(o.text("why"), reason_name, Reason::other_event, Reason::beyond_limit);
    return out;
}

Uncertainty error_of(const Json& json) {
    const Object o(json);
    Uncertainty out;
    out.major = o.number("major_km");
    out.minor = o.number("minor_km");
    out.strike = o.number("strike");
    out.depth = o.number("depth_km");
    out.time = o.number("time");
    return out;
}

Event event_of(const Object& o) {
    Event e;
    e.id = o.text("event_id");
    e.time = o.number("epoch", -kLatest, kLatest);
    e.lat = o.number("latitude", -90.0, 90.0);
    e.lon = o.number("longitude", -180.0, 180.0);
    e.depth = o.number("depth_km", -100.0, 6371.0);
    e.fixed_depth = o.flag("fixed_depth");
    e.grid = o.text("grid");
    e.model = o.text("model");
    e.p = o.count("picks_p");
    e.s = o.count("picks_s");
    e.defining = o.count("defining");
    e.stations = o.count("stations");
    e.scatter = o.number("scatter");
    e.scatter_weighted = o.number("scatter_weighted");
    e.gap = o.number("gap");
    e.nearest = o.number("nearest");
    e.farthest = o.number("farthest");
    e.median = o.number("median");
    e.score = o.number("score");
    e.coverage = o.number("coverage");
    e.on_edge = o.flag("on_edge");
    e.error = error_of(o.member("uncertainty"));
    for (const Json& pick : o.list("picks")) e.picks.push_back(pick_of(pick));
    for (const Json& left : o.list("left_out")) e.left_out.push_back(left_of(left));
    return e;
}

Report report_of(const Json& json) {
    const Object o(json);
    Report out;
    const std::string kind = o.text("kind");
    out.kind = value_of(kind, kind_name, Kind::withdrawn, Kind::final);
    if (kind != kind_name(out.kind)) throw std::invalid_argument("member 'kind' is unknown");
    out.version = o.count("version");
    out.track = o.text("track_id");
    out.event = event_of(o);
    if (out.kind == Kind::withdrawn) {
        out.verdict.lack = value_of(o.text("why"), lack_name, Lack::gone, Lack::gone);
    }
    return out;
}

class DocumentReader : public EventReader {
  public:
    explicit DocumentReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}
    const char* kind() const override { return "event documents"; }
    std::string digest() const override { return digest_; }
    ReadResult next(Report& report, std::string& error) override;

  private:
    ReadResult take(std::string_view line, Report& report, std::string& error);
    std::unique_ptr<ByteSource> source_;
    std::string digest_;
};

ReadResult DocumentReader::next(Report& report, std::string& error) {
    std::string_view line;
    for (;;) {
        switch (source_->next_line(line)) {
            case ByteSource::Line::end:
                return ReadResult::end;
            case ByteSource::Line::failed:
                error = source_->failure();
                return ReadResult::failed;
            case ByteSource::Line::too_long:
                error = source_->place() + ": the line is too long";
                return ReadResult::bad;
            case ByteSource::Line::line:
                if (!trim(line).empty()) return take(line, report, error);
        }
    }
}

ReadResult DocumentReader::take(std::string_view line, Report& report, std::string& error) {
    const Json json = Json::parse(line, nullptr, false);
    try {
        if (json.is_discarded()) throw std::invalid_argument("not JSON");
        report = report_of(json);
        digest_ = Object(json).text("rules");
    } catch (const std::invalid_argument& wrong) {
        error = source_->place() + ": " + wrong.what();
        return ReadResult::bad;
    }
    return ReadResult::pick;
}

}  // namespace

std::unique_ptr<EventReader> open_events(const std::string& path, std::string& error) {
    constexpr size_t kSample = 4096;
    auto source = ByteSource::open(path, error);
    if (!source) return nullptr;
    std::string_view text = source->peek(kSample);
    if (!source->failure().empty()) {
        error = source->failure();
        return nullptr;
    }
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    const std::string_view words = trim(text);
    if (words.starts_with('<')) return make_quakeml_event_reader(std::move(source), error);
    if (words.starts_with('{') || words.empty()) {
        return std::make_unique<DocumentReader>(std::move(source));
    }
    error = source->name() + ": neither event documents nor QuakeML";
    return nullptr;
}

}  // namespace velorix::assoc
