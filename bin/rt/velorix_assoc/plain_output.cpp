// The readable table, CSV and JSON lines.
#include <cmath>
#include <nlohmann/json.hpp>

#include "output.h"
#include "text.h"

namespace velorix::assoc {

std::optional<Format> format_of(const std::string& name) {
    if (name == "text") return Format::text;
    if (name == "csv") return Format::csv;
    if (name == "json") return Format::json;
    if (name == "quakeml") return Format::quakeml;
    if (name == "css") return Format::css;
    return std::nullopt;
}

std::vector<Document> documents(const Catalogue& events, Format format) {
    switch (format) {
        case Format::csv:
            return csv_documents(events);
        case Format::json:
            return {{"", json_lines(events)}};
        case Format::quakeml:
            return {{"", quakeml(events)}};
        case Format::css:
            return css_documents(events);
        case Format::text:
            break;
    }
    return {{"", text_table(events)}};
}

std::string text_table(const Catalogue& events) {
    std::string out =
        "origin time               lat       lon    depth   +-km   P   S sta  gap  near   far  rms "
        "  "
        "score grid\n";
    for (const Event& e : events) {
        out += format("%s %9.4f %10.4f %6.1f %6.1f %3d %3d %3d %4.0f %5.2f %5.1f %5.2f %6.1f%c%s\n",
                      iso_time(e.time, 2).c_str(), e.lat, e.lon, e.depth, e.error.major, e.p, e.s,
                      e.stations, e.gap, e.nearest, e.farthest, e.scatter, e.score,
                      e.on_edge ? '*' : ' ', e.grid.c_str());
    }
    out += format("%zu event%s\n", events.size(), events.size() == 1 ? "" : "s");
    return out;
}

static std::string csv_events(const Catalogue& events) {
    std::string out =
        "event_id,time_iso,epoch,lat,lon,depth_km,n_p,n_s,n_defining,n_stations,scatter_s,"
        "scatter_weighted_s,gap_deg,nearest_deg,farthest_deg,score,coverage,on_edge,"
        "error_major_km,error_minor_km,error_strike_deg,error_depth_km,error_time_s,grid\n";
    for (const Event& e : events) {
        out += format(
            "%s,%s,%.4f,%.5f,%.5f,%.3f,%d,%d,%d,%d,%.4f,%.4f,%.1f,%.4f,%.4f,%.2f,%.3f,%d,%.3f,%.3f,"
            "%.1f,%.3f,%.3f,%s\n",
            e.id.c_str(), iso_time(e.time, 4).c_str(), e.time, e.lat, e.lon, e.depth, e.p, e.s,
            e.defining, e.stations, e.scatter, e.scatter_weighted, e.gap, e.nearest, e.farthest,
            e.score, e.coverage, e.on_edge ? 1 : 0, e.error.major, e.error.minor, e.error.strike,
            e.error.depth, e.error.time, csv_field(e.grid).c_str());
    }
    return out;
}

static std::string csv_picks(const Catalogue& events) {
    std::string out =
        "event_id,network,station,location,channel,phase,time_iso,epoch,residual_s,distance_deg,"
        "event_azimuth_deg,station_azimuth_deg,weight,defining,pick_id,label\n";
    for (const Event& e : events) {
        for (const EventPick& p : e.picks) {
            out += format("%s,%s,%s,%s,%s,%c,%s,%.4f,%.4f,%.4f,%.2f,%.2f,%.3f,%d,%s,%s\n",
                          e.id.c_str(), csv_field(p.pick.network).c_str(),
                          csv_field(p.pick.station).c_str(), csv_field(p.pick.location).c_str(),
                          csv_field(p.pick.channel).c_str(), p.phase,
                          iso_time(p.pick.time, 4).c_str(), p.pick.time, p.residual, p.delta,
                          p.esaz, p.seaz, p.weight, p.defining ? 1 : 0,
                          csv_field(p.pick.id).c_str(), csv_field(p.pick.phase).c_str());
        }
    }
    return out;
}

std::vector<Document> csv_documents(const Catalogue& events) {
    return {{"", csv_events(events)}, {"_picks", csv_picks(events)}};
}

namespace {

using Json = nlohmann::ordered_json;

// A whole number divided by a power of ten is what the decimal reads as: it is written without
// noise.
double rounded(double value, double parts) { return std::round(value * parts) / parts; }

Json json_pick(const EventPick& p) {
    return {{"network", p.pick.network},
            {"station", p.pick.station},
            {"location", p.pick.location},
            {"channel", p.pick.channel},
            {"phase", std::string(1, p.phase)},
            {"label", p.pick.phase},
            {"id", p.pick.id},
            {"time", iso_time(p.pick.time, 4)},
            {"epoch", rounded(p.pick.time, 1e4)},
            {"residual", rounded(p.residual, 1e4)},
            {"distance", rounded(p.delta, 1e4)},
            {"event_azimuth", rounded(p.esaz, 1e2)},
            {"station_azimuth", rounded(p.seaz, 1e2)},
            {"weight", rounded(p.weight, 1e3)},
            {"defining", p.defining}};
}

Json json_left_out(const LeftOut& l) {
    return {{"network", l.pick.network},
            {"station", l.pick.station},
            {"channel", l.pick.channel},
            {"phase", std::string(1, l.phase)},
            {"time", iso_time(l.pick.time, 4)},
            {"residual", rounded(l.residual, 1e4)},
            {"reason", l.reason}};
}

Json json_event(const Event& e) {
    Json picks = Json::array(), left = Json::array();
    for (const EventPick& p : e.picks) picks.push_back(json_pick(p));
    for (const LeftOut& l : e.left_out) left.push_back(json_left_out(l));
    return {{"id", e.id},
            {"time", iso_time(e.time, 4)},
            {"epoch", rounded(e.time, 1e4)},
            {"latitude", rounded(e.lat, 1e5)},
            {"longitude", rounded(e.lon, 1e5)},
            {"depth_km", rounded(e.depth, 1e3)},
            {"grid", e.grid},
            {"picks_p", e.p},
            {"picks_s", e.s},
            {"defining", e.defining},
            {"stations", e.stations},
            {"scatter", rounded(e.scatter, 1e4)},
            {"scatter_weighted", rounded(e.scatter_weighted, 1e4)},
            {"gap", rounded(e.gap, 10)},
            {"nearest", rounded(e.nearest, 1e4)},
            {"farthest", rounded(e.farthest, 1e4)},
            {"score", rounded(e.score, 1e2)},
            {"coverage", rounded(e.coverage, 1e3)},
            {"on_edge", e.on_edge},
            {"uncertainty",
             {{"major_km", rounded(e.error.major, 1e3)},
              {"minor_km", rounded(e.error.minor, 1e3)},
              {"strike", rounded(e.error.strike, 10)},
              {"depth_km", rounded(e.error.depth, 1e3)},
              {"time", rounded(e.error.time, 1e3)}}},
            {"picks", picks},
            {"left_out", left}};
}

}  // namespace

std::string json_lines(const Catalogue& events) {
    std::string out;
    for (const Event& event : events) {
        out += json_event(event).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    }
    return out;
}

}  // namespace velorix::assoc
