// Catalogues as files: valid, whole or not there.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>

#include "output.h"
#include "support/log_capture.h"
#include "support/temp_file.h"
#include "text.h"

namespace velorix::assoc {
namespace {

using testing::HasSubstr;
using velorix_test::LogCapture;
using velorix_test::read_file;
using velorix_test::TempFolder;

Event an_event() {
    Event e;
    e.time = 1476403209.048;
    e.lat = -42.8176;
    e.lon = 179.9999;
    e.depth = 8.04;
    e.grid = "a grid, \"quoted\"";
    e.model = "velmodel.tvel";
    e.p = e.s = 1;
    e.stations = 1;
    e.error.major = 1.5;
    for (char phase : {'P', 'S'}) {
        EventPick p;
        p.pick = {1476403211.61, "IV", "T&<>\"1202", "", "HHZ", "P", "a/b c", 0.97, -1};
        p.phase = phase;
        p.residual = -0.0539;
        e.picks.push_back(p);
    }
    return e;
}

Catalogue a_catalogue() {
    Catalogue events{an_event(), an_event()};
    name_events(events);
    return events;
}

TEST(Events, HaveStableUniqueNames) {
    const Catalogue events = a_catalogue();
    EXPECT_EQ(events[0].id, "20161014T000009.05");
    EXPECT_EQ(events[1].id, "20161014T000009.05.1");
}

TEST(IsoTime, RoundsAcrossTheYear) {
    EXPECT_EQ(iso_time(946684799.996, 2), "2000-01-01T00:00:00.00Z");
    EXPECT_EQ(iso_time(-0.25, 2), "1969-12-31T23:59:59.75Z");
    EXPECT_EQ(iso_time(951782400, 0), "2000-02-29T00:00:00Z");
}

// What the schema cannot say: one value each, references that lead somewhere, no identifier twice.
void check_references(const std::string& text) {
    std::set<std::string> ids, references;
    size_t at = 0;
    for (size_t end; (at = text.find("publicID=\"", at)) != text.npos; at = end) {
        at += std::strlen("publicID=\"");
        end = text.find('"', at);
        EXPECT_TRUE(ids.insert(text.substr(at, end - at)).second) << text.substr(at, end - at);
    }
    for (const char* tag : {"<pickID>", "<preferredOriginID>"}) {
        for (at = 0; (at = text.find(tag, at)) != text.npos;) {
            at += std::strlen(tag);
            references.insert(text.substr(at, text.find('<', at) - at));
        }
    }
    for (const std::string& reference : references)
        EXPECT_EQ(ids.count(reference), 1u) << reference;
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
    for (Catalogue& events : all) name_events(events);
    return all;
}

TEST(QuakeMl, ValidatesAgainstTheSchema) {
    if (std::string(XMLLINT).ends_with("NOTFOUND")) GTEST_SKIP() << "xmllint is not installed";
    const TempFolder folder;
    for (const Catalogue& events : extreme_catalogues()) {
        const std::string text = quakeml(events);
        check_references(text);
        const std::string file = folder.write("catalogue.xml", text);
        const std::string command = std::string(XMLLINT) +
                                    " --noout --schema " ASSOC_DATA "/QuakeML-1.2.xsd " + file +
                                    " 2>" + folder.path("messages");
        EXPECT_EQ(std::system(command.c_str()), 0) << read_file(folder.path("messages"));
    }
}

TEST(CsvTables, QuoteWhatNeedsIt) {
    const auto documents = csv_documents(a_catalogue());
    EXPECT_THAT(documents[0].text, HasSubstr(",\"a grid, \"\"quoted\"\"\"\n"));
    EXPECT_THAT(documents[1].text, HasSubstr(",\"T&<>\"\"1202\","));
}

TEST(JsonLines, NumbersHaveTheDigitsThatCount) {
    const std::string text = json_lines(a_catalogue());
    EXPECT_THAT(text, HasSubstr("\"latitude\":-42.8176,\"longitude\":179.9999,\"depth_km\":8.04,"));
    EXPECT_THAT(text, HasSubstr("\"epoch\":1476403211.61,\"residual\":-0.0539,"));
}

TEST(WriteDocuments, PutsPicksBesideEvents) {
    const TempFolder folder;
    ASSERT_TRUE(write_documents({{"", "a"}, {"_picks", "b"}}, folder.path("out.csv")));
    EXPECT_EQ(read_file(folder.path("out.csv")), "a");
    EXPECT_EQ(read_file(folder.path("out_picks.csv")), "b");
}

TEST(WriteDocuments, LeavesWhatWasThereWhenItFails) {
    const TempFolder folder;
    folder.write("out", "old");
    LogCapture log;
    EXPECT_FALSE(write_documents({{"", "new"}, {"/no/such/folder", "b"}}, folder.path("out")));
    EXPECT_EQ(read_file(folder.path("out")), "old");
    EXPECT_THAT(log.text(), HasSubstr("cannot write"));
    const std::filesystem::directory_iterator files(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "a temporary file stayed";
}

}  // namespace
}  // namespace velorix::assoc
