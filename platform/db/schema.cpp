// Widths: CSS Version 3.0 Database: Schema Reference Manual (Anderson et al., Center for Seismic
// Studies Technical Report C90-01, 1990).
#include "platform/db/schema.h"

#include <array>
#include <cstring>

namespace velorix::db {
namespace {

constexpr Kind kText = Kind::text;
constexpr Kind kWhole = Kind::integer;
constexpr Kind kReal = Kind::real;

constexpr Column kEvent[] = {{"evid", 8, kWhole}, {"evname", 15, kText}, {"prefor", 8, kWhole},
                             {"auth", 15, kText}, {"commid", 8, kWhole}, {"lddate", 17, kText}};

constexpr Column kOrigin[] = {
    {"lat", 9, kReal},    {"lon", 9, kReal},        {"depth", 9, kReal},  {"time", 17, kReal},
    {"orid", 8, kWhole},  {"evid", 8, kWhole},      {"jdate", 8, kWhole}, {"nass", 4, kWhole},
    {"ndef", 4, kWhole},  {"ndp", 4, kWhole},       {"grn", 8, kWhole},   {"srn", 8, kWhole},
    {"etype", 7, kText},  {"depdp", 9, kReal},      {"dtype", 1, kText},  {"mb", 7, kReal},
    {"mbid", 8, kWhole},  {"ms", 7, kReal},         {"msid", 8, kWhole},  {"ml", 7, kReal},
    {"mlid", 8, kWhole},  {"algorithm", 15, kText}, {"auth", 15, kText},  {"commid", 8, kWhole},
    {"lddate", 17, kText}};

constexpr Column kOrigerr[] = {
    {"orid", 8, kWhole},  {"sxx", 15, kReal},   {"syy", 15, kReal},    {"szz", 15, kReal},
    {"stt", 15, kReal},   {"sxy", 15, kReal},   {"sxz", 15, kReal},    {"syz", 15, kReal},
    {"stx", 15, kReal},   {"sty", 15, kReal},   {"stz", 15, kReal},    {"sdobs", 9, kReal},
    {"smajax", 9, kReal}, {"sminax", 9, kReal}, {"strike", 6, kReal},  {"sdepth", 9, kReal},
    {"stime", 8, kReal},  {"conf", 5, kReal},   {"commid", 8, kWhole}, {"lddate", 17, kText}};

constexpr Column kAssoc[] = {
    {"arid", 8, kWhole},   {"orid", 8, kWhole},   {"sta", 6, kText},    {"phase", 8, kText},
    {"belief", 4, kReal},  {"delta", 8, kReal},   {"seaz", 7, kReal},   {"esaz", 7, kReal},
    {"timeres", 8, kReal}, {"timedef", 1, kText}, {"azres", 7, kReal},  {"azdef", 1, kText},
    {"slores", 7, kReal},  {"slodef", 1, kText},  {"emares", 7, kReal}, {"wgt", 6, kReal},
    {"vmodel", 15, kText}, {"commid", 8, kWhole}, {"lddate", 17, kText}};

constexpr Column kArrival[] = {
    {"sta", 6, kText},      {"time", 17, kReal},   {"arid", 8, kWhole},   {"jdate", 8, kWhole},
    {"stassid", 8, kWhole}, {"chanid", 8, kWhole}, {"chan", 8, kText},    {"iphase", 8, kText},
    {"stype", 1, kText},    {"deltim", 6, kReal},  {"azimuth", 7, kReal}, {"delaz", 7, kReal},
    {"slow", 7, kReal},     {"delslo", 7, kReal},  {"ema", 7, kReal},     {"rect", 7, kReal},
    {"amp", 10, kReal},     {"per", 7, kReal},     {"logat", 7, kReal},   {"clip", 1, kText},
    {"fm", 2, kText},       {"snr", 10, kReal},    {"qual", 1, kText},    {"auth", 15, kText},
    {"commid", 8, kWhole},  {"lddate", 17, kText}};

constexpr Schema kSchemas[] = {{"event", kEvent},
                               {"origin", kOrigin},
                               {"origerr", kOrigerr},
                               {"assoc", kAssoc},
                               {"arrival", kArrival}};

}  // namespace

std::span<const Schema> catalogue_schemas() { return kSchemas; }

void Rows::add_text(std::string_view text) {
    cells_.push_back({.text = texts_.size()});
    texts_.append(text);
    texts_.push_back('\0');
}

void Rows::get(size_t cell, Kind kind, void* out) const {
    const Cell& value = cells_[cell];
    switch (kind) {
        case Kind::text: {
            const char* text = texts_.c_str() + value.text;
            std::memcpy(out, text, std::strlen(text) + 1);
            break;
        }
        case Kind::integer:
            *static_cast<long*>(out) = value.integer;
            break;
        case Kind::real:
            *static_cast<double*>(out) = value.real;
            break;
    }
}

}  // namespace velorix::db
