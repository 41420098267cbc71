// Stations as comma-, semicolon- or tab-separated text whose header names the columns, in any
// order: tables of SeisBench, PyOcto, GaMMA, PhaseNet, and of spreadsheets.
#include <algorithm>
#include <array>
#include <cmath>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

enum Column { kTrace, kNetwork, kStation, kLat, kLon, kMetres, kKm, kStart, kEnd, kColumns };

struct Name {
    Column column;
    const char* text;
};

// The preferred name of a column first.
constexpr Name kNames[] = {{kTrace, "station_id"},
                           {kTrace, "seed_id"},
                           {kTrace, "trace_id"},
                           {kTrace, "id"},
                           {kNetwork, "network"},
                           {kNetwork, "net"},
                           {kNetwork, "network_code"},
                           {kStation, "station"},
                           {kStation, "sta"},
                           {kStation, "station_code"},
                           {kStation, "code"},
                           {kStation, "name"},
                           {kLat, "latitude"},
                           {kLat, "lat"},
                           {kLat, "station_lat"},
                           {kLat, "stla"},
                           {kLon, "longitude"},
                           {kLon, "lon"},
                           {kLon, "lng"},
                           {kLon, "long"},
                           {kLon, "station_lon"},
                           {kLon, "stlo"},
                           {kMetres, "elevation_m"},
                           {kMetres, "elevation(m)"},
                           {kMetres, "elv(m)"},
                           {kMetres, "elevation"},
                           {kMetres, "elev"},
                           {kMetres, "elv"},
                           {kMetres, "station_elv"},
                           {kMetres, "stel"},
                           {kMetres, "height"},
                           {kKm, "elevation_km"},
                           {kKm, "elevation(km)"},
                           {kKm, "elev_km"},
                           {kKm, "elev(km)"},
                           {kStart, "starttime"},
                           {kStart, "start_time"},
                           {kStart, "start_date"},
                           {kStart, "start"},
                           {kEnd, "endtime"},
                           {kEnd, "end_time"},
                           {kEnd, "end_date"},
                           {kEnd, "end"}};

/// A field, and where it begins.
struct Field {
    std::string text;
    std::string_view piece;
};

// Quoted fields may hold separators and doubled quotes (RFC 4180). Nothing when a quote stays open.
std::optional<std::vector<Field>> split(std::string_view line, char separator) {
    std::vector<Field> fields(1);
    bool quoted = false;
    size_t begin = 0;
    const auto close = [&](size_t end) {
        fields.back().piece = line.substr(begin, end - begin);
        fields.back().text = std::string(trimmed(fields.back().text));
        begin = end + 1;
    };
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"') {
            const bool doubled = quoted && i + 1 < line.size() && line[i + 1] == '"';
            if (doubled) fields.back().text += line[++i];
            if (!doubled) quoted = !quoted;
        } else if (c == separator && !quoted) {
            close(i);
            fields.emplace_back();
        } else {
            fields.back().text += c;
        }
    }
    if (quoted) return std::nullopt;
    close(line.size());
    return fields;
}

class Header {
  public:
    /// False when the line names no position.
    bool take(std::string_view line) {
        if (line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
        for (const char candidate : {',', ';', '\t'}) {
            const long count = std::count(line.begin(), line.end(), candidate);
            if (count > std::count(line.begin(), line.end(), separator_)) separator_ = candidate;
        }
        at_.fill(-1);
        const auto fields = split(line, separator_);
        if (!fields) return false;
        for (const Field& field : *fields) names_.push_back(lower_case(field.text));
        for (const Name& name : kNames) {
            const auto at = std::find(names_.begin(), names_.end(), name.text);
            if (at != names_.end() && at_[name.column] < 0)
                at_[name.column] = static_cast<int>(at - names_.begin());
        }
        return has(kLat) && has(kLon) && (has(kStation) || has(kTrace));
    }
    bool has(Column column) const { return at_[column] >= 0; }
    char separator() const { return separator_; }
    size_t size() const { return names_.size(); }
    const std::string& name(Column column) const {
        return names_[static_cast<size_t>(at_[column])];
    }
    const Field& get(const std::vector<Field>& fields, Column column) const {
        static const Field none;
        return has(column) ? fields[static_cast<size_t>(at_[column])] : none;
    }

  private:
    char separator_ = ',';
    std::array<int, kColumns> at_{};
    std::vector<std::string> names_;
};

/// Reads the fields of one row.
class RowReader {
  public:
    RowReader(const Header& header, std::string_view line, const RowPlace& at)
        : header_(header), line_(line), at_(at), fields_(split(line, header.separator())) {}

    bool read(Site& epoch) const {
        if (!fields_) return malformed(at_, "a quote stays open");
        if (fields_->size() != header_.size()) {
            return malformed(at_, std::to_string(fields_->size()) + " of " +
                                      std::to_string(header_.size()) + " fields");
        }
        const double scale = header_.has(kKm) ? 1.0 : 1e-3;
        if (!codes(epoch) || !number(kLat, "latitude", epoch.lat) ||
            !number(kLon, "longitude", epoch.lon) ||
            !number(header_.has(kKm) ? kKm : kMetres, "elevation", epoch.elev) ||
            !day(kStart, "start time", epoch.ondate) || !day(kEnd, "end time", epoch.offdate)) {
            return false;
        }
        epoch.elev *= scale;
        return true;
    }

  private:
    std::string place(Column column) const {
        if (!header_.has(column)) return "";
        return at_column(line_, header_.get(*fields_, column).piece);
    }
    bool codes(Site& epoch) const {
        const bool traced = header_.has(kTrace) && !header_.has(kStation);
        const Column column = traced ? kTrace : kStation;
        take_codes(header_.get(*fields_, column).text, epoch);
        const std::string& network = header_.get(*fields_, kNetwork).text;
        if (!network.empty()) epoch.net = network;
        const std::string fault = fault_of_codes(epoch.net.empty() ? "-" : epoch.net, epoch.code);
        return fault.empty() || malformed(at_, fault + place(column));
    }
    bool number(Column column, const char* name, double& value) const {
        std::string text = header_.get(*fields_, column).text;
        // A spreadsheet of many countries.
        if (header_.separator() != ',') std::replace(text.begin(), text.end(), ',', '.');
        if (!header_.has(column)) text = "0";
        return parse_coordinate(text, name, at_, value, place(column));
    }
    bool day(Column column, const char* name, long& day) const {
        return parse_day(header_.get(*fields_, column).text, name, at_, day, place(column));
    }

    const Header& header_;
    std::string_view line_;
    const RowPlace& at_;
    std::optional<std::vector<Field>> fields_;
};

// Heights of a whole network that are all below ten and not whole metres are km, as other programs'
// lists have them.
void complain_of_heights(const std::vector<Site>& epochs, const Header& header,
                         const std::string& path) {
    constexpr double ten_metres = 0.01;  // km
    constexpr size_t fewest = 3;
    bool whole = true;
    for (const Site& epoch : epochs) {
        if (!(std::fabs(epoch.elev) < ten_metres)) return;
        const double metres = 1000.0 * epoch.elev;
        whole = whole && std::fabs(metres - std::round(metres)) < 1e-6;
    }
    if (whole || epochs.size() < fewest || !header.has(kMetres) || header.has(kKm)) return;
    elog_complain(0,
                  "dblookup: %s: every %s is below 10 and taken as metres; call the column "
                  "elevation_km if they are km\n",
                  path.c_str(), header.name(kMetres).c_str());
}

}  // namespace

bool is_station_header(std::string_view line) { return Header().take(line); }

Read read_station_csv(const std::string& path, std::vector<Site>& epochs) {
    const auto text = read_text(path);
    if (!text) return Read::absent;
    Header header;
    bool known = false;
    std::string_view line;
    for (Lines lines(*text); lines.next(line);) {
        // CR CR LF: one of them is left.
        while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (trimmed(line).empty() || (known && line.front() == '#')) continue;
        const RowPlace place{path, lines.number()};
        if (!is_text(line, place)) return Read::malformed;
        if (!known) {
            Header candidate;
            known = candidate.take(line);
            if (known) header = candidate;
            continue;
        }
        Site epoch;
        epoch.line = lines.number();
        if (!RowReader(header, line, place).read(epoch)) return Read::malformed;
        epochs.push_back(std::move(epoch));
    }
    complain_of_heights(epochs, header, path);
    return Read::good;
}

}  // namespace velorix::db
