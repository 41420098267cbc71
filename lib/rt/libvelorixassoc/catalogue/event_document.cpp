// Events as JSON documents, one a line: docs/event.schema.json describes them.
#include <cmath>
#include <nlohmann/json.hpp>

#include "../support/times.h"
#include "writers.h"

namespace velorix::assoc {
namespace {

using Json = nlohmann::ordered_json;

// A whole number divided by a power of ten is what the decimal reads as: it is written without
// noise.
double rounded(double value, double parts) { return std::round(value * parts) / parts; }

Json identity_of(const Pick& pick) {
    return {{"network", pick.network},
            {"station", pick.station},
            {"location", pick.location},
            {"channel", pick.channel}};
}

Json pick_json(const EventPick& p) {
    Json out = identity_of(p.pick);
    out.update({{"phase", std::string(1, p.phase)},
                {"label", p.pick.phase},
                {"id", p.pick.id},
                {"time", iso_time(p.pick.time, 4)},
                {"epoch", rounded(p.pick.time, 1e4)},
                {"residual", rounded(p.residual, 1e4)},
                {"distance", rounded(p.delta, 1e4)},
                {"event_azimuth", rounded(p.esaz, 1e2)},
                {"station_azimuth", rounded(p.seaz, 1e2)},
                {"weight", rounded(p.weight, 1e3)},
                {"defining", p.defining}});
    return out;
}

Json left_out_json(const LeftOut& l) {
    Json out = identity_of(l.pick);
    out.update({{"phase", std::string(1, l.phase)},
                {"label", l.pick.phase},
                {"id", l.pick.id},
                {"time", iso_time(l.pick.time, 4)},
                {"epoch", rounded(l.pick.time, 1e4)},
                {"residual", rounded(l.residual, 1e4)},
                {"limit", rounded(l.limit, 1e4)},
                {"why", reason_name(l.reason)},
                {"reason", reason_text(l)}});
    return out;
}

Json uncertainty_json(const Uncertainty& error) {
    return {{"major_km", rounded(error.major, 1e3)},
            {"minor_km", rounded(error.minor, 1e3)},
            {"strike", rounded(error.strike, 10)},
            {"depth_km", rounded(error.depth, 1e3)},
            {"time", rounded(error.time, 1e3)}};
}

Json text_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json report_json(const Report& report, const std::string& digest) {
    const Event& e = report.event;
    Json picks = Json::array(), left = Json::array();
    for (const EventPick& p : e.picks) picks.push_back(pick_json(p));
    for (const LeftOut& l : e.left_out) left.push_back(left_out_json(l));
    Json out{{"kind", kind_name(report.kind)},
             {"version", report.version},
             {"event_id", text_or_null(e.id)},
             {"track_id", text_or_null(report.track)},
             {"id", text_or_null(e.id)},
             {"time", iso_time(e.time, 4)},
             {"epoch", rounded(e.time, 1e4)},
             {"latitude", rounded(e.lat, 1e5)},
             {"longitude", rounded(e.lon, 1e5)},
             {"depth_km", rounded(e.depth, 1e3)},
             {"fixed_depth", e.fixed_depth},
             {"grid", e.grid},
             {"model", e.model},
             {"rules", digest},
             {"picks_p", e.p},
             {"picks_s", e.s},
             {"defining", e.defining},
             {"stations", e.stations},
             {"scatter", rounded(e.scatter, 1e4)},
             {"scatter_weighted", rounded(e.scatter_weighted, 1e4)},
             {"gap", rounded(e.gap, 10)},
             {"nearest", rounded(e.nearest, 1e4)},
             {"farthest", rounded(e.farthest, 1e4)},
             {"median", rounded(e.median, 1e4)},
             {"score", rounded(e.score, 1e2)},
             {"coverage", rounded(e.coverage, 1e3)},
             {"on_edge", e.on_edge},
             {"uncertainty", uncertainty_json(e.error)},
             {"picks", picks},
             {"left_out", left}};
    if (report.kind == Kind::withdrawn) {
        out["why"] = lack_name(report.verdict.lack);
        out["reason"] = verdict_text(report.verdict);
    }
    return out;
}

class JsonWriter : public SingleWriter {
  public:
    explicit JsonWriter(std::string digest) : digest_(std::move(digest)) {}

  private:
    std::string body(const Event& event) override {
        Report report;
        report.version = kFinalVersion;
        report.event = event;
        return event_document(report, digest_) + "\n";
    }
    std::string digest_;
};

}  // namespace

std::string event_document(const Report& report, const std::string& digest) {
    return report_json(report, digest).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::unique_ptr<CatalogueWriter> make_json_writer(const std::string& digest) {
    return std::make_unique<JsonWriter>(digest);
}

}  // namespace velorix::assoc
