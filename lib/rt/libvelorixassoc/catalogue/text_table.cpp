// The readable table.
#include "../support/text_values.h"
#include "../support/times.h"
#include "platform/elog/printable.h"
#include "writers.h"

namespace velorix::assoc {
namespace {

class TextWriter : public SingleWriter {
    std::string head() override {
        return "origin time               lat       lon    depth   +-km   P   S sta  gap  near   "
               "far  "
               "rms   score grid\n";
    }
    std::string body(const Event& e) override {
        ++events_;
        return format("%s %9.4f %10.4f %6.1f %6.1f %3d %3d %3d %4.0f %5.2f %5.1f %5.2f %6.1f%c%s\n",
                      iso_time(e.time, 2).c_str(), e.lat, e.lon, e.depth, e.error.major, e.p, e.s,
                      e.stations, e.gap, e.nearest, e.farthest, e.scatter, e.score,
                      e.on_edge ? '*' : ' ', printable(e.grid).c_str());
    }
    std::string foot() override {
        return format("%ld event%s\n", events_, events_ == 1 ? "" : "s");
    }

    long events_ = 0;
};

}  // namespace

std::unique_ptr<CatalogueWriter> make_text_writer() { return std::make_unique<TextWriter>(); }

}  // namespace velorix::assoc
