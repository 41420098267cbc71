// CSS3.0 catalogues: every column of the width that the schema has, read back by the database
// service. Widths: CSS Version 3.0 Database: Schema Reference Manual (Anderson et al., Center for
// Seismic Studies Technical Report C90-01, 1990).
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <variant>
#include <vector>

#include "output.h"
#include "platform/db/db.h"
#include "support/temp_file.h"

namespace velorix::assoc {
namespace {

using velorix_test::read_file;
using velorix_test::TempFolder;

constexpr double kNoTime = -9999999999.999;
constexpr long kNone = -1;
constexpr double kUnknown = -999.0;

struct Column {
    const char* name;
    size_t width;
    std::variant<long, double, std::string> value;
};
using Columns = std::vector<Column>;

EventPick a_pick(char phase, long arid) {
    EventPick p;
    p.pick = {1476403211.61, "IV", "T1202", "00", "HHZ", "Pn", "", 12.5, arid};
    p.phase = phase;
    p.defining = phase == 'P';
    p.residual = -0.0539;
    p.delta = 1.2345;
    p.esaz = 359.99;
    p.seaz = 180.25;
    p.weight = 0.875;
    return p;
}

Event an_event() {
    Event e;
    e.id = "20161014T000009";
    e.time = 1476403209.048;
    e.lat = -42.8176;
    e.lon = 179.9999;
    e.depth = 8.04;
    e.model = "velmodel.tvel";
    e.defining = 1;
    e.scatter_weighted = 0.25;
    e.error.time = 0.12;
    e.error.depth = 2.5;
    e.error.major = 1.5;
    e.error.minor = 0.5;
    e.error.strike = 135.5;
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) e.error.covariance[i][j] = 1.5 + i + j + 0.25 * i * j;
    }
    e.picks = {a_pick('P', 71), a_pick('S', 72)};
    return e;
}

const Columns kEvent{{"evid", 8, 1L},      {"evname", 15, "20161014T000009"},
                     {"prefor", 8, 1L},    {"auth", 15, "velorix-assoc"},
                     {"commid", 8, kNone}, {"lddate", 17, "-"}};

const Columns kOrigin{{"lat", 9, -42.8176},
                      {"lon", 9, 179.9999},
                      {"depth", 9, 8.04},
                      {"time", 17, 1476403209.048},
                      {"orid", 8, 1L},
                      {"evid", 8, 1L},
                      {"jdate", 8, 2016288L},
                      {"nass", 4, 2L},
                      {"ndef", 4, 1L},
                      {"ndp", 4, kNone},
                      {"grn", 8, kNone},
                      {"srn", 8, kNone},
                      {"etype", 7, "-"},
                      {"depdp", 9, kUnknown},
                      {"dtype", 1, "f"},
                      {"mb", 7, kUnknown},
                      {"mbid", 8, kNone},
                      {"ms", 7, kUnknown},
                      {"msid", 8, kNone},
                      {"ml", 7, kUnknown},
                      {"mlid", 8, kNone},
                      {"algorithm", 15, "grid"},
                      {"auth", 15, "velorix-assoc"},
                      {"commid", 8, kNone},
                      {"lddate", 17, "-"}};

// East is x, north y, depth z: covariance[i][j] is 1.5 + i + j + ij / 4.
const Columns kOrigerr{
    {"orid", 8, 1L},    {"sxx", 15, 1.5},   {"syy", 15, 3.75},    {"szz", 15, 6.5},
    {"stt", 15, 9.75},  {"sxy", 15, 2.5},   {"sxz", 15, 3.5},     {"syz", 15, 5.0},
    {"stx", 15, 4.5},   {"sty", 15, 6.25},  {"stz", 15, 8.0},     {"sdobs", 9, 0.25},
    {"smajax", 9, 1.5}, {"sminax", 9, 0.5}, {"strike", 6, 135.5}, {"sdepth", 9, 2.5},
    {"stime", 8, 0.12}, {"conf", 5, 0.683}, {"commid", 8, kNone}, {"lddate", 17, "-"}};

const Columns kAssoc{{"arid", 8, 71L},
                     {"orid", 8, 1L},
                     {"sta", 6, "T1202"},
                     {"phase", 8, "P"},
                     {"belief", 4, 9.99},
                     {"delta", 8, 1.2345},
                     {"seaz", 7, 180.25},
                     {"esaz", 7, 359.99},
                     {"timeres", 8, -0.0539},
                     {"timedef", 1, "d"},
                     {"azres", 7, kUnknown},
                     {"azdef", 1, "-"},
                     {"slores", 7, kUnknown},
                     {"slodef", 1, "-"},
                     {"emares", 7, kUnknown},
                     {"wgt", 6, 0.875},
                     {"vmodel", 15, "velmodel.tvel"},
                     {"commid", 8, kNone},
                     {"lddate", 17, "-"}};

const Columns kArrival{{"sta", 6, "T1202"},    {"time", 17, 1476403211.61},
                       {"arid", 8, 71L},       {"jdate", 8, 2016288L},
                       {"stassid", 8, kNone},  {"chanid", 8, kNone},
                       {"chan", 8, "HHZ"},     {"iphase", 8, "Pn"},
                       {"stype", 1, "-"},      {"deltim", 6, -1.0},
                       {"azimuth", 7, -1.0},   {"delaz", 7, -1.0},
                       {"slow", 7, -1.0},      {"delslo", 7, -1.0},
                       {"ema", 7, -1.0},       {"rect", 7, -1.0},
                       {"amp", 10, -1.0},      {"per", 7, -1.0},
                       {"logat", 7, kUnknown}, {"clip", 1, "-"},
                       {"fm", 2, "-"},         {"snr", 10, 12.5},
                       {"qual", 1, "-"},       {"auth", 15, "-"},
                       {"commid", 8, kNone},   {"lddate", 17, "-"}};

/// A column of a record as the database service hands it out.
std::variant<long, double, std::string> value_of(const Dbptr& record, const Column& column) {
    long integer = 0;
    double real = NAN;
    char text[32] = "";
    void* out = &integer;
    if (std::holds_alternative<double>(column.value)) out = &real;
    if (std::holds_alternative<std::string>(column.value)) out = text;
    EXPECT_EQ(dbgetv(record, nullptr, column.name, out, static_cast<char*>(nullptr)), 0)
        << column.name;
    if (out == &real) return real;
    if (out == text) return std::string(text);
    return integer;
}

void check_value(const Dbptr& record, const Column& column) {
    const auto found = value_of(record, column);
    if (const auto* real = std::get_if<double>(&column.value)) {
        EXPECT_NEAR(std::get<double>(found), *real, 0.0006) << column.name;
    } else {
        EXPECT_TRUE(found == column.value) << column.name;
    }
}

/// The text of a row's column, by its width alone: nothing but blanks between columns.
void check_widths(const std::string& row, const Columns& columns) {
    size_t at = 0;
    for (const Column& column : columns) {
        EXPECT_TRUE(at == 0 || row[at - 1] == ' ') << "before " << column.name;
        if (const auto* text = std::get_if<std::string>(&column.value)) {
            std::string padded = *text;
            padded.resize(column.width, ' ');
            EXPECT_EQ(row.substr(at, column.width), padded) << column.name;
        } else {
            EXPECT_NE(row[at + column.width - 1], ' ') << column.name << " ends at its last column";
        }
        at += column.width + 1;
    }
    EXPECT_EQ(row.size(), at - 1);
}

void check_table(const std::string& base, const char* table, long rows, const Columns& columns) {
    const std::string text = read_file(base + "." + table);
    check_widths(text.substr(0, text.find('\n')), columns);
    Dbptr db;
    ASSERT_EQ(dbopen(base.c_str(), "r", &db), 0);
    const Dbptr record = dblookup(db, nullptr, table, nullptr, nullptr);
    long count = 0;
    EXPECT_EQ(dbquery(record, dbRECORD_COUNT, &count), 0) << table;
    EXPECT_EQ(count, rows) << table;
    for (const Column& column : columns) check_value(record, column);
    dbclose(&db);
}

TEST(CssCatalogue, ReadsBackThroughTheDatabaseServiceColumnByColumn) {
    const TempFolder folder;
    const std::string base = folder.path("cat");
    ASSERT_TRUE(write_documents(css_documents({an_event(), an_event()}), base));
    check_table(base, "event", 2, kEvent);
    check_table(base, "origin", 2, kOrigin);
    check_table(base, "origerr", 2, kOrigerr);
    check_table(base, "assoc", 4, kAssoc);
    check_table(base, "arrival", 2, kArrival);  // both events share their picks
}

TEST(CssCatalogue, ValuesThatDoNotFitReadBackAsNull) {
    Event e = an_event();
    e.depth = 1e12;
    e.error.covariance[0][0] = 1e300;
    e.error.major = NAN;
    e.picks[0].residual = -123456;
    e.picks[0].pick.station = "a b\xc3\xa9TOOLONG";
    e.picks[0].pick.time = -1e300;
    e.picks[0].pick.channel = "TOOLONGCHANNEL";
    const TempFolder folder;
    const std::string base = folder.path("cat");
    ASSERT_TRUE(write_documents(css_documents({e}), base));
    const struct {
        const char* table;
        Column column;
    } cases[] = {{"origin", {"depth", 9, kUnknown}},   {"origerr", {"sxx", 15, -999999999.9999}},
                 {"origerr", {"smajax", 9, -1.0}},     {"assoc", {"timeres", 8, kUnknown}},
                 {"arrival", {"sta", 6, "a_b__T"}},    {"arrival", {"time", 17, kNoTime}},
                 {"arrival", {"chan", 8, "TOOLONGC"}}, {"arrival", {"jdate", 8, kNone}}};
    for (const auto& c : cases) {
        Dbptr db;
        ASSERT_EQ(dbopen(base.c_str(), "r", &db), 0);
        check_value(dblookup(db, nullptr, c.table, nullptr, nullptr), c.column);
        dbclose(&db);
    }
}

TEST(CssCatalogue, AnUncertaintyThatIsNotKnownReadsBackAsNull) {
    Event e = an_event();
    e.error = {};
    const TempFolder folder;
    const std::string base = folder.path("cat");
    ASSERT_TRUE(write_documents(css_documents({e}), base));
    Dbptr db;
    ASSERT_EQ(dbopen(base.c_str(), "r", &db), 0);
    const Dbptr origerr = dblookup(db, nullptr, "origerr", nullptr, nullptr);
    for (const char* name : {"sxx", "stt", "sxy"})
        check_value(origerr, {name, 15, -999999999.9999});
    for (const char* name : {"smajax", "strike", "sdepth", "stime"})
        check_value(origerr, {name, 9, -1.0});
    dbclose(&db);
}

}  // namespace
}  // namespace velorix::assoc
