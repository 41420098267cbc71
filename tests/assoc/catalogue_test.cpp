// Catalogues as files: valid, whole or not there.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <thread>
#include <variant>

#include "events/event_id.h"
#include "platform/db/db.h"
#include "support/log_capture.h"
#include "support/temp_file.h"
#include "support/times.h"
#include "velorixassoc.h"

namespace velorix::assoc {
namespace {

using testing::HasSubstr;
using velorix_test::read_file;
using velorix_test::TempFolder;

constexpr double kOriginTime = 1476403209.048;
constexpr double kPickTime = 1476403211.61;

Event an_event() {
    Event e;
    e.id = "20161014T000009";
    e.time = kOriginTime;
    e.lat = -42.8176;
    e.lon = 179.9999;
    e.depth = 8.04;
    e.grid = "a grid, \"quoted\"";
    e.model = "m.tvel";
    e.p = e.s = e.defining = e.stations = 1;
    e.scatter_weighted = 0.25;
    e.error.time = 0.12;
    e.error.depth = 2.5;
    e.error.major = 1.5;
    e.error.minor = 0.5;
    e.error.strike = 135.5;
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) e.error.covariance[i][j] = 1.5 + i + j + 0.25 * i * j;
    }
    EventPick p;
    p.pick = {kPickTime, "IV", "T1202", "", "HHZ", "Pn", "a/b c", 12.5, 71};
    p.residual = -0.0539;
    p.delta = 1.2345;
    p.esaz = 359.99;
    p.seaz = 180.25;
    p.weight = 0.875;
    p.defining = true;
    e.picks = {p, p};
    e.picks[1].phase = 'S';
    e.picks[1].defining = false;
    e.picks[1].pick.arid = 72;
    e.picks[1].pick.time += 2.0;
    return e;
}

using Catalogue = std::vector<Event>;

void name(Catalogue& events) {
    for (Event& event : events) event.id = event_id(event);
}

Catalogue a_catalogue() {
    Catalogue events{an_event(), an_event()};
    events[0].picks[0].pick.station = "T&<>\"1202";
    name(events);
    return events;
}

/// A catalogue's documents, in the order of their suffixes.
std::vector<std::string> documents(Format format, const Catalogue& events) {
    const auto writer = make_catalogue_writer(format, "0123456789abcdef");
    std::vector<TextSink> texts(writer->suffixes().size());
    std::vector<Sink*> sinks;
    for (TextSink& text : texts) sinks.push_back(&text);
    EXPECT_TRUE(writer->begin(sinks));
    for (const Event& event : events) EXPECT_TRUE(writer->add(event, sinks));
    EXPECT_TRUE(writer->end(sinks));
    std::vector<std::string> out;
    for (TextSink& text : texts) out.push_back(text.text);
    return out;
}

bool write_files(Format format, const Catalogue& events, const std::string& path,
                 const std::vector<std::string>& inputs = {}) {
    const auto writer = make_catalogue_writer(format, "");
    CatalogueFiles files;
    if (!files.open(path, writer->suffixes(), inputs)) return false;
    bool good = writer->begin(files.sinks());
    for (const Event& event : events) good = good && writer->add(event, files.sinks());
    return good && writer->end(files.sinks()) && files.commit();
}

TEST(EventIds, FollowFromTheEventAlone) {
    const Event event = an_event();
    const std::string id = event_id(event);
    EXPECT_EQ(id.substr(0, 19), "20161014T000009.05-");
    const std::vector<std::function<void(Event&)>> changes{
        [](Event& e) { e.lat += 0.001; },         [](Event& e) { e.depth += 0.1; },
        [](Event& e) { e.grid = "other"; },       [](Event& e) { e.picks.pop_back(); },
        [](Event& e) { e.picks[0].phase = 'S'; }, [](Event& e) { e.picks[0].pick.network = "X"; },
        [](Event& e) { e.time += 0.001; }};
    std::set<std::string> ids{id};
    for (const auto& change : changes) {
        Event other = event;
        change(other);
        EXPECT_TRUE(ids.insert(event_id(other)).second);
    }
    Event same = event;
    same.id = "x";
    same.left_out.resize(3);
    EXPECT_EQ(event_id(same), id);
}

TEST(IsoTime, RoundsAcrossTheYear) {
    EXPECT_EQ(iso_time(946684799.996, 2), "2000-01-01T00:00:00.00Z");
    EXPECT_EQ(iso_time(-0.25, 2), "1969-12-31T23:59:59.75Z");
    EXPECT_EQ(iso_time(951782400, 0), "2000-02-29T00:00:00Z");
}

/// What the group of a pattern matches, everywhere in a text.
std::vector<std::string> matches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    return {std::sregex_token_iterator(text.begin(), text.end(), regex, 1), {}};
}

// What the schema cannot say: one value each, references that lead somewhere, no identifier twice.
void check_references(const std::string& text) {
    std::set<std::string> ids;
    for (const std::string& id : matches(text, "publicID=\"([^\"]*)\""))
        EXPECT_TRUE(ids.insert(id).second) << id;
    for (const std::string& reference : matches(text, "<(?:pickID|preferredOriginID)>([^<]*)"))
        EXPECT_TRUE(ids.contains(reference)) << reference;
    EXPECT_EQ(text.find("nan"), text.npos);
    EXPECT_EQ(text.find("inf"), text.npos);
}

std::vector<Catalogue> extreme_catalogues() {
    Catalogue bare{an_event()};
    bare[0].picks.pop_back();
    bare[0].s = 0;
    bare[0].model.clear();
    Catalogue unknown = a_catalogue();
    unknown[0].error = {NAN, INFINITY, NAN, NAN, NAN, INFINITY, NAN, {}};
    unknown[0].scatter = unknown[0].gap = NAN;
    Catalogue early{an_event()};
    early[0].time = -62135514000.5;  // the year 1
    early[0].lat = -90.0;
    early[0].depth = -3.5;
    Catalogue odd{an_event()};
    odd[0].model = "a \"model\" & <more>/" + std::string(300, 'x');
    odd[0].picks[0].pick.station = "\x01\x02\xc3\xa9 '\"";
    odd[0].picks[0].pick.phase = "P\x07\xff";
    odd[0].picks[0].pick.network.clear();
    std::vector<Catalogue> all{a_catalogue(), {}, bare, unknown, early, odd};
    for (Catalogue& events : all) name(events);
    return all;
}

// Against the schema they are tried elsewhere, with what ObsPy brings: here what it cannot say.
TEST(QuakeMl, HasOneValueEachAndReferencesThatLeadSomewhere) {
    const char* const folder = std::getenv("VELORIX_KEEP_QUAKEML");
    int number = 0;
    for (const Catalogue& events : extreme_catalogues()) {
        const std::string text = documents(Format::quakeml, events)[0];
        check_references(text);
        if (!folder) continue;
        std::ofstream(std::string(folder) + "/catalogue" + std::to_string(number++) + ".xml")
            << text;
    }
}

// 2 km east are more of a degree of longitude than of latitude; on a sphere of 6371 km.
TEST(QuakeMl, StatesLongitudeErrorsInDegreesOfLongitude) {
    Event event = an_event();
    event.error.east = event.error.north = 2.0;
    const std::string text = documents(Format::quakeml, {event})[0];
    const double degrees = 2.0 / 111.195;
    const auto uncertainty = [&](const char* of) {
        const std::string pattern =
            std::string("<") + of + ">\\s*<value>[^<]*</value>\\s*<uncertainty>([^<]*)";
        const auto found = matches(text, pattern.c_str());
        return found.size() == 1 ? std::stod(found[0]) : NAN;
    };
    EXPECT_NEAR(uncertainty("latitude"), degrees, 1e-5);
    EXPECT_NEAR(uncertainty("longitude"), degrees / std::cos(event.lat * std::acos(-1.0) / 180.0),
                1e-5);
}

TEST(CsvTables, QuoteWhatNeedsItAndPassNoCommandOn) {
    Catalogue events = a_catalogue();
    events[0].picks[0].pick.channel = "\x1b[2JZ";
    const auto texts = documents(Format::csv, events);
    EXPECT_THAT(texts[0], HasSubstr(",\"a grid, \"\"quoted\"\"\"\n"));
    EXPECT_THAT(texts[1], HasSubstr(",\"T&<>\"\"1202\","));
    EXPECT_THAT(texts[1], HasSubstr(",?[2JZ,"));
}

TEST(TextTable, ShowsNoControlCharactersOfForeignFiles) {
    Catalogue events = a_catalogue();
    events[0].grid = "a\x1b[31mb\x9b\xc2\x9b\xc3\xa9\n";
    const std::string text = documents(Format::text, events)[0];
    EXPECT_THAT(text, HasSubstr("a?[31mb???\xc3\xa9?\n"));
}

TEST(JsonDocuments, NumbersHaveTheDigitsThatCount) {
    const std::string text = documents(Format::json, a_catalogue())[0];
    EXPECT_THAT(text, HasSubstr("\"latitude\":-42.8176,\"longitude\":179.9999,\"depth_km\":8.04,"));
    EXPECT_THAT(text, HasSubstr("\"epoch\":1476403211.61,\"residual\":-0.0539,"));
    EXPECT_THAT(text, HasSubstr("{\"kind\":\"final\",\"version\":1000,\"event_id\":\"20161014T"));
}

TEST(CatalogueFiles, LeaveWhatWasThereWhenTheyFail) {
    const TempFolder folder;
    folder.write("cat.csv", "old events");
    folder.write("cat_picks.csv", "old picks");
    const auto expect_old = [&](const char* when) {
        EXPECT_EQ(read_file(folder.path("cat.csv")), "old events") << when;
        EXPECT_EQ(read_file(folder.path("cat_picks.csv")), "old picks") << when;
        const std::filesystem::directory_iterator files(folder.path());
        EXPECT_EQ(std::distance(begin(files), end(files)), 2) << "a temporary file stayed " << when;
    };
    {
        CatalogueFiles files;
        ASSERT_TRUE(files.open(folder.path("cat.csv"), {"", "_picks"}, {}));
        ASSERT_TRUE(files.sinks()[0]->write(std::string(100000, 'x')));
    }
    expect_old("without commit");
    const velorix_test::LogCapture log;
    EXPECT_FALSE(write_files(Format::csv, a_catalogue(), folder.path("cat.csv"),
                             {folder.path("none"), folder.path("cat_picks.csv")}));
    EXPECT_THAT(log.text(), HasSubstr("cat_picks.csv' is one of the files that are read"));
    expect_old("where one is an input");
    std::filesystem::create_symlink("b", folder.path("a"));
    std::filesystem::create_symlink("a", folder.path("b"));
    EXPECT_FALSE(write_files(Format::text, a_catalogue(), folder.path("a")));
    EXPECT_THAT(log.text(), HasSubstr("cannot write '" + folder.path("a")));
    std::filesystem::remove(folder.path("a"));
    std::filesystem::remove(folder.path("b"));
    const size_t before = log.count();
    ASSERT_TRUE(write_files(Format::csv, a_catalogue(), folder.path("cat.csv")));
    EXPECT_EQ(log.count(), before) << log.text();
    EXPECT_THAT(read_file(folder.path("cat.csv")), HasSubstr("event_id,"));
    EXPECT_THAT(read_file(folder.path("cat_picks.csv")), HasSubstr("event_id,network,"));
    const std::filesystem::directory_iterator files(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2);
}

// More than a spool keeps in memory.
TEST(CatalogueFiles, ALongDocumentGoesWholeIntoAPipe) {
    const TempFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::string got;
    std::thread reader([&] { got = read_file(pipe); });
    CatalogueFiles files;
    ASSERT_TRUE(files.open(pipe, {"", "_picks"}, {}));
    std::string long_text;
    for (int i = 0; i < 400000; ++i) long_text += std::to_string(i) + "\n";
    for (size_t at = 0; at < long_text.size(); at += 1000) {
        ASSERT_TRUE(files.sinks()[0]->write(std::string_view(long_text).substr(at, 1000)));
    }
    ASSERT_TRUE(files.sinks()[1]->write("picks\n"));
    ASSERT_TRUE(files.commit());
    reader.join();
    EXPECT_EQ(got, "# events\n" + long_text + "\n# picks\npicks\n");
}

// CSS3.0 catalogues: every column of the width that the schema has, read back by the database
// service. Widths: CSS Version 3.0 Database: Schema Reference Manual (Anderson et al., Center for
// Seismic Studies Technical Report C90-01, 1990).
constexpr double kNoTime = -9999999999.999;
constexpr long kNone = -1;
constexpr const char* kAuthor = "velorix-assoc";
constexpr double kUnknown = -999.0;
constexpr double kNoCovariance = -999999999.9999;

struct Column {
    const char* name;
    size_t width;
    std::variant<long, double, std::string> value;
};
using Columns = std::vector<Column>;

const Columns kEvent{{"evid", 8, 1L},      {"evname", 15, "20161014T000009"},
                     {"prefor", 8, 1L},    {"auth", 15, kAuthor},
                     {"commid", 8, kNone}, {"lddate", 17, "-"}};

const Columns kOrigin{{"lat", 9, -42.8176},      {"lon", 9, 179.9999},   {"depth", 9, 8.04},
                      {"time", 17, kOriginTime}, {"orid", 8, 1L},        {"evid", 8, 1L},
                      {"jdate", 8, 2016288L},    {"nass", 4, 2L},        {"ndef", 4, 1L},
                      {"ndp", 4, kNone},         {"grn", 8, kNone},      {"srn", 8, kNone},
                      {"etype", 7, "-"},         {"depdp", 9, kUnknown}, {"dtype", 1, "f"},
                      {"mb", 7, kUnknown},       {"mbid", 8, kNone},     {"ms", 7, kUnknown},
                      {"msid", 8, kNone},        {"ml", 7, kUnknown},    {"mlid", 8, kNone},
                      {"algorithm", 15, "grid"}, {"auth", 15, kAuthor},  {"commid", 8, kNone},
                      {"lddate", 17, "-"}};

// East is x, north y, depth z: covariance[i][j] is 1.5 + i + j + ij / 4.
const Columns kOrigerr{
    {"orid", 8, 1L},    {"sxx", 15, 3.75},  {"syy", 15, 1.5},     {"szz", 15, 6.5},
    {"stt", 15, 9.75},  {"sxy", 15, 2.5},   {"sxz", 15, 5.0},     {"syz", 15, 3.5},
    {"stx", 15, 6.25},  {"sty", 15, 4.5},   {"stz", 15, 8.0},     {"sdobs", 9, 0.25},
    {"smajax", 9, 1.5}, {"sminax", 9, 0.5}, {"strike", 6, 135.5}, {"sdepth", 9, 2.5},
    {"stime", 8, 0.12}, {"conf", 5, 0.683}, {"commid", 8, kNone}, {"lddate", 17, "-"}};

const Columns kAssoc{
    {"arid", 8, 71L},         {"orid", 8, 1L},      {"sta", 6, "T1202"},     {"phase", 8, "P"},
    {"belief", 4, 9.99},      {"delta", 8, 1.2345}, {"seaz", 7, 180.25},     {"esaz", 7, 359.99},
    {"timeres", 8, -0.0539},  {"timedef", 1, "d"},  {"azres", 7, kUnknown},  {"azdef", 1, "-"},
    {"slores", 7, kUnknown},  {"slodef", 1, "-"},   {"emares", 7, kUnknown}, {"wgt", 6, 0.875},
    {"vmodel", 15, "m.tvel"}, {"commid", 8, kNone}, {"lddate", 17, "-"}};

const Columns kArrival{
    {"sta", 6, "T1202"},   {"time", 17, kPickTime}, {"arid", 8, 71L},       {"jdate", 8, 2016288L},
    {"stassid", 8, kNone}, {"chanid", 8, kNone},    {"chan", 8, "HHZ"},     {"iphase", 8, "Pn"},
    {"stype", 1, "-"},     {"deltim", 6, -1.0},     {"azimuth", 7, -1.0},   {"delaz", 7, -1.0},
    {"slow", 7, -1.0},     {"delslo", 7, -1.0},     {"ema", 7, -1.0},       {"rect", 7, -1.0},
    {"amp", 10, -1.0},     {"per", 7, -1.0},        {"logat", 7, kUnknown}, {"clip", 1, "-"},
    {"fm", 2, "-"},        {"snr", 10, 12.5},       {"qual", 1, "-"},       {"auth", 15, "-"},
    {"commid", 8, kNone},  {"lddate", 17, "-"}};

/// Compares a column of a record as the database service hands it out.
void check_value(const Dbptr& record, const Column& column) {
    const auto found = [&](void* out) {
        EXPECT_EQ(dbgetv(record, nullptr, column.name, out, static_cast<char*>(nullptr)), 0);
    };
    SCOPED_TRACE(column.name);
    if (const auto* text = std::get_if<std::string>(&column.value)) {
        char value[32] = "";
        found(value);
        EXPECT_EQ(value, *text);
    } else if (const auto* real = std::get_if<double>(&column.value)) {
        double value = NAN;
        found(&value);
        EXPECT_NEAR(value, *real, 0.0006);
    } else {
        long value = 0;
        found(&value);
        EXPECT_EQ(value, std::get<long>(column.value));
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
    ASSERT_TRUE(write_files(Format::css, {an_event(), an_event()}, base));
    check_table(base, "event", 2, kEvent);
    check_table(base, "origin", 2, kOrigin);
    check_table(base, "origerr", 2, kOrigerr);
    check_table(base, "assoc", 4, kAssoc);
    check_table(base, "arrival", 2, kArrival);  // both events share their picks
}

TEST(CssCatalogue, ValuesThatDoNotFitOrAreNotKnownReadBackAsNull) {
    Event wide = an_event(), unknown = an_event();
    wide.depth = 1e12;
    wide.error.covariance[0][0] = 1e300;
    wide.error.major = NAN;
    wide.picks[0].residual = -123456;
    wide.picks[0].pick.station = "a b\xc3\xa9TOOLONG";
    wide.picks[0].pick.time = -1e300;
    wide.picks[0].pick.channel = "TOOLONGCHANNEL";
    unknown.error = {};
    const TempFolder folder;
    const std::string base = folder.path("cat");
    ASSERT_TRUE(write_files(Format::css, {wide, unknown}, base));
    Dbptr db;
    ASSERT_EQ(dbopen(base.c_str(), "r", &db), 0);
    const struct {
        const char* table;
        int record;
        Columns columns;
    } cases[] = {
        {"origin", 0, {{"depth", 9, kUnknown}}},
        {"origerr", 0, {{"syy", 15, kNoCovariance}, {"smajax", 9, -1.0}}},
        {"assoc", 0, {{"timeres", 8, kUnknown}}},
        {"arrival", 0, {{"sta", 6, "a_b__T"}, {"time", 17, kNoTime}, {"chan", 8, "TOOLONGC"}}},
        {"arrival", 0, {{"jdate", 8, kNone}}},
        {"origerr", 1, {{"sxx", 15, kNoCovariance}, {"stt", 15, kNoCovariance}}},
        {"origerr", 1, {{"sxy", 15, kNoCovariance}, {"smajax", 9, -1.0}}},
        {"origerr", 1, {{"strike", 6, -1.0}, {"sdepth", 9, -1.0}, {"stime", 8, -1.0}}}};
    for (const auto& c : cases) {
        Dbptr record = dblookup(db, nullptr, c.table, nullptr, nullptr);
        record.record = c.record;
        for (const Column& column : c.columns) check_value(record, column);
    }
    dbclose(&db);
}

// The second event's first pick takes the number that the first event's nameless one would get.
TEST(CssCatalogue, PicksKeepTheirOwnIdentifiersAndTheOthersGetFreeOnes) {
    Event first = an_event(), second = an_event();
    first.picks[0].pick.arid = 2;
    first.picks[1].pick.arid = -1;
    first.picks[1].pick.time += 1.0;
    second.time += 100.0;
    for (EventPick& p : second.picks) p.pick.time += 100.0 + (p.phase == 'S' ? 1.0 : 0.0);
    second.picks[0].pick.arid = 1;
    second.picks[1].pick.arid = 123456789;
    const std::string arrival = documents(Format::css, {first, second})[4];
    std::vector<long> ids;
    for (size_t row = 0; row < arrival.size(); row = arrival.find('\n', row) + 1) {
        ids.push_back(std::stol(arrival.substr(row + 25, 8)));
    }
    EXPECT_THAT(ids, testing::ElementsAre(2, 1, 3, 4));
}

}  // namespace
}  // namespace velorix::assoc
