// CSS3.0 flat files. Columns and nulls: CSS Version 3.0 Database: Schema Reference Manual (Anderson
// et al., Center for Seismic Studies Technical Report C90-01, 1990).
#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "../support/text_values.h"
#include "platform/timeconv/timeconv.h"
#include "writers.h"

namespace velorix::assoc {
namespace {

constexpr const char* kAuthor = "velorix-assoc";
constexpr long long kLargestId = 99999999;  // eight digits

/// Builds a row; a value too wide for its field would push all later ones out of place.
class Row {
  public:
    Row& text(const std::string& value, size_t width) {
        std::string clean = value.empty() ? "-" : value.substr(0, width);
        for (char& c : clean) {
            if (static_cast<unsigned char>(c) < 0x21 || static_cast<unsigned char>(c) > 0x7e)
                c = '_';
        }
        clean.resize(width, ' ');
        return add(clean);
    }
    Row& integer(long long value, int width) {
        std::string out = format("%*lld", width, value);
        return add(out.size() == static_cast<size_t>(width) ? out : format("%*d", width, -1));
    }
    /// `null` stands for a value that is not finite or does not fit.
    Row& real(double value, int width, int decimals, double null) {
        const std::string out =
            format("%*.*f", width, decimals, std::isfinite(value) ? value : null);
        if (out.size() == static_cast<size_t>(width)) return add(out);
        return add(format("%*.*f", width, decimals, null));
    }
    std::string line() const { return line_ + "\n"; }

  private:
    Row& add(const std::string& field) {
        if (!line_.empty()) line_ += ' ';
        line_ += field;
        return *this;
    }
    std::string line_;
};

std::string event_row(const Event& e, long long number) {
    return Row()
        .integer(number, 8)
        .text(e.id, 15)
        .integer(number, 8)
        .text(kAuthor, 15)
        .integer(-1, 8)
        .text("-", 17)
        .line();
}

std::string origin_row(const Event& e, long long number) {
    Row row;
    row.real(e.lat, 9, 4, -999.0).real(e.lon, 9, 4, -999.0).real(e.depth, 9, 4, -999.0);
    row.real(e.time, 17, 5, -9999999999.999).integer(number, 8).integer(number, 8);
    row.integer(yearday(e.time), 8).integer(static_cast<long long>(e.picks.size()), 4);
    row.integer(e.defining, 4).integer(-1, 4).integer(-1, 8).integer(-1, 8).text("-", 7);
    row.real(-999.0, 9, 4, -999.0).text(e.fixed_depth ? "r" : "f", 1);
    for (int magnitude = 0; magnitude < 3; ++magnitude)
        row.real(-999.0, 7, 2, -999.0).integer(-1, 8);
    return row.text("grid", 15).text(kAuthor, 15).integer(-1, 8).text("-", 17).line();
}

// A deviation of 0 stands for one that is not known.
double known(double value) { return value > 0.0 ? value : NAN; }

std::string origerr_row(const Event& e, long long number) {
    Uncertainty error = e.error;
    if (!(error.covariance[0][0] > 0.0)) {
        for (auto& of_one : error.covariance) std::fill(std::begin(of_one), std::end(of_one), NAN);
    }
    const auto& c = error.covariance;  // east, north, depth, time; x of the table is north
    Row row;
    row.integer(number, 8);
    for (double v : {c[1][1], c[0][0], c[2][2], c[3][3], c[0][1], c[1][2], c[0][2], c[3][1],
                     c[3][0], c[3][2]}) {
        row.real(v, 15, 4, -999999999.9999);
    }
    row.real(e.scatter_weighted, 9, 4, -1.0).real(known(error.major), 9, 4, -1.0);
    row.real(known(error.minor), 9, 4, -1.0);
    row.real(error.major > 0.0 ? error.strike : NAN, 6, 2, -1.0);
    row.real(known(error.depth), 9, 4, -1.0).real(known(error.time), 8, 2, -1.0);
    constexpr double kOneSigma = 0.683;
    return row.real(kOneSigma, 5, 3, 0.0).integer(-1, 8).text("-", 17).line();
}

std::string assoc_row(const EventPick& p, const Event& e, long long arid, long long orid) {
    Row row;
    row.integer(arid, 8).integer(orid, 8).text(p.pick.station, 6).text(std::string(1, p.phase), 8);
    row.real(9.99, 4, 2, 9.99).real(p.delta, 8, 3, -1.0).real(p.seaz, 7, 2, -999.0);
    row.real(p.esaz, 7, 2, -999.0).real(p.residual, 8, 3, -999.0).text(p.defining ? "d" : "n", 1);
    row.real(-999.0, 7, 1, -999.0).text("-", 1).real(-999.0, 7, 2, -999.0).text("-", 1);
    row.real(-999.0, 7, 1, -999.0).real(p.weight, 6, 3, -1.0).text(e.model, 15).integer(-1, 8);
    return row.text("-", 17).line();
}

std::string arrival_row(const Pick& p, long long arid) {
    Row row;
    row.text(p.station, 6).real(p.time, 17, 5, -9999999999.999).integer(arid, 8);
    row.integer(yearday(p.time), 8).integer(-1, 8).integer(-1, 8).text(p.channel, 8);
    row.text(p.phase, 8).text("-", 1).real(-1.0, 6, 3, -1.0);
    for (int i = 0; i < 5; ++i) row.real(-1.0, 7, 2, -1.0);  // azimuth .. emergence angle
    row.real(-1.0, 7, 3, -1.0).real(-1.0, 10, 1, -1.0).real(-1.0, 7, 2, -1.0);
    row.real(-999.0, 7, 2, -999.0).text("-", 1).text("-", 2).real(p.quality, 10, 2, -1.0);
    return row.text("-", 1).text("-", 15).integer(-1, 8).text("-", 17).line();
}

/// Numbers taken so far, in pages that are made when they are needed: at most 12.5 MB.
class Numbers {
  public:
    /// False when the number is taken already.
    bool take(long long number) {
        auto& page = pages_[static_cast<size_t>(number / kPage)];
        if (page.empty()) page.resize(static_cast<size_t>(kPage));
        if (page[static_cast<size_t>(number % kPage)]) return false;
        page[static_cast<size_t>(number % kPage)] = true;
        return true;
    }

  private:
    static constexpr long long kPage = 100000;
    std::vector<std::vector<bool>> pages_{static_cast<size_t>(kLargestId / kPage + 1)};
};

/// Arrival identifiers: a pick's own where it fits and no other has it, else the next free number.
/// A pick that several events share has one.
class Identifiers {
  public:
    struct Answer {
        long long arid;
        bool first;  ///< not met before
    };
    Answer of(const Pick& pick) {
        const auto known = recent_.find(onset(pick));
        if (known != recent_.end()) return {known->second, false};
        const bool own = pick.arid > 0 && pick.arid <= kLargestId && taken_.take(pick.arid);
        const long long arid = own ? pick.arid : next_free();
        recent_.emplace(onset(pick), arid);
        return {arid, true};
    }
    /// Events from now on do not share picks before their origin.
    void forget(double origin) {
        while (!recent_.empty() && std::get<0>(recent_.begin()->first) < origin) {
            recent_.erase(recent_.begin());
        }
    }

  private:
    long long next_free() {
        while (next_ < kLargestId && !taken_.take(next_)) ++next_;
        return next_;
    }
    using Onset = std::tuple<double, std::string, std::string, std::string, std::string>;
    static Onset onset(const Pick& p) { return {p.time, p.network, p.station, p.channel, p.phase}; }
    std::map<Onset, long long> recent_;
    Numbers taken_;
    long long next_ = 1;
};

class CssWriter : public CatalogueWriter {
  public:
    const std::vector<std::string>& suffixes() const override {
        static const std::vector<std::string> tables{".event", ".origin", ".origerr", ".assoc",
                                                     ".arrival"};
        return tables;
    }
    bool begin(const std::vector<Sink*>&) override { return true; }
    bool add(const Event& e, const std::vector<Sink*>& sinks) override {
        ++number_;
        identifiers_.forget(e.time);
        std::string assoc, arrival;
        for (const EventPick& p : e.picks) {
            const auto [arid, first] = identifiers_.of(p.pick);
            assoc += assoc_row(p, e, arid, number_);
            if (first) arrival += arrival_row(p.pick, arid);
        }
        return sinks[0]->write(event_row(e, number_)) && sinks[1]->write(origin_row(e, number_)) &&
               sinks[2]->write(origerr_row(e, number_)) && sinks[3]->write(assoc) &&
               sinks[4]->write(arrival);
    }
    bool end(const std::vector<Sink*>&) override { return true; }

  private:
    Identifiers identifiers_;
    long long number_ = 0;
};

}  // namespace

std::unique_ptr<CatalogueWriter> make_css_writer() { return std::make_unique<CssWriter>(); }

}  // namespace velorix::assoc
