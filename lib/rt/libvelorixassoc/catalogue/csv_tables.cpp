// Events and picks as comma-separated values.
#include "../support/text_values.h"
#include "../support/times.h"
#include "platform/elog/printable.h"
#include "writers.h"

namespace velorix::assoc {
namespace {

constexpr const char* kEventHeader =
    "event_id,time_iso,epoch,lat,lon,depth_km,n_p,n_s,n_defining,n_stations,scatter_s,"
    "scatter_weighted_s,gap_deg,nearest_deg,farthest_deg,score,coverage,on_edge,"
    "error_major_km,error_minor_km,error_strike_deg,error_depth_km,error_time_s,grid\n";
constexpr const char* kPickHeader =
    "event_id,network,station,location,channel,phase,time_iso,epoch,residual_s,distance_deg,"
    "event_azimuth_deg,station_azimuth_deg,weight,defining,pick_id,label\n";

std::string event_row(const Event& e) {
    return format(
        "%s,%s,%.4f,%.5f,%.5f,%.3f,%d,%d,%d,%d,%.4f,%.4f,%.1f,%.4f,%.4f,%.2f,%.3f,%d,%.3f,%.3f,"
        "%.1f,%.3f,%.3f,%s\n",
        e.id.c_str(), iso_time(e.time, 4).c_str(), e.time, e.lat, e.lon, e.depth, e.p, e.s,
        e.defining, e.stations, e.scatter, e.scatter_weighted, e.gap, e.nearest, e.farthest,
        e.score, e.coverage, e.on_edge ? 1 : 0, e.error.major, e.error.minor, e.error.strike,
        e.error.depth, e.error.time, csv_field(e.grid).c_str());
}

std::string pick_row(const Event& e, const EventPick& p) {
    return format("%s,%s,%s,%s,%s,%c,%s,%.4f,%.4f,%.4f,%.2f,%.2f,%.3f,%d,%s,%s\n", e.id.c_str(),
                  csv_field(p.pick.network).c_str(), csv_field(p.pick.station).c_str(),
                  csv_field(p.pick.location).c_str(), csv_field(p.pick.channel).c_str(), p.phase,
                  iso_time(p.pick.time, 4).c_str(), p.pick.time, p.residual, p.delta, p.esaz,
                  p.seaz, p.weight, p.defining ? 1 : 0, csv_field(p.pick.id).c_str(),
                  csv_field(p.pick.phase).c_str());
}

class CsvWriter : public CatalogueWriter {
  public:
    const std::vector<std::string>& suffixes() const override {
        static const std::vector<std::string> two{"", "_picks"};
        return two;
    }
    bool begin(const std::vector<Sink*>& sinks) override {
        return sinks[0]->write(kEventHeader) && sinks[1]->write(kPickHeader);
    }
    bool add(const Event& event, const std::vector<Sink*>& sinks) override {
        std::string rows;
        for (const EventPick& pick : event.picks) rows += pick_row(event, pick);
        return sinks[0]->write(event_row(event)) && sinks[1]->write(rows);
    }
    bool end(const std::vector<Sink*>&) override { return true; }
};

}  // namespace

std::unique_ptr<CatalogueWriter> make_csv_writer() { return std::make_unique<CsvWriter>(); }

}  // namespace velorix::assoc
