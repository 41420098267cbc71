// Catalogues as files: valid, of the right widths, whole or not there.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <map>

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

TEST(QuakeMl, ValidatesAgainstTheSchema) {
    if (std::string(XMLLINT).ends_with("NOTFOUND")) GTEST_SKIP() << "xmllint is not installed";
    const TempFolder folder;
    for (const Catalogue& events : {a_catalogue(), Catalogue()}) {
        const std::string file = folder.write("catalogue.xml", quakeml(events));
        const std::string command = std::string(XMLLINT) +
                                    " --noout --schema " ASSOC_DATA "/QuakeML-1.2.xsd " + file +
                                    " 2>" + folder.path("messages");
        EXPECT_EQ(std::system(command.c_str()), 0) << read_file(folder.path("messages"));
    }
}

TEST(CssTables, HaveTheWidthsOfTheSchemaForAnyValue) {
    Catalogue events = a_catalogue();
    events[1].depth = 1e12;  // does not fit: the null value stands instead
    events[1].error.covariance[0][0] = 1e300;
    events[1].picks[0].residual = -123456;
    events[1].picks[0].pick.channel = "TOOLONGCHANNEL";
    const std::map<std::string, size_t> widths{
        {".event", 76}, {".origin", 237}, {".origerr", 257}, {".assoc", 152}, {".arrival", 223}};
    const auto documents = css_documents(events);
    ASSERT_EQ(documents.size(), widths.size());
    for (const Document& table : documents) {
        size_t start = 0, rows = 0;
        for (size_t end; (end = table.text.find('\n', start)) != std::string::npos;
             start = end + 1) {
            EXPECT_EQ(end - start, widths.at(table.suffix)) << table.suffix;
            ++rows;
        }
        EXPECT_EQ(rows, table.suffix == ".assoc" || table.suffix == ".arrival" ? 4u : 2u);
    }
    EXPECT_EQ(documents[1].text.substr(0, 47), " -42.8176  179.9999    8.0400  1476403209.04800");
}

TEST(CsvTables, QuoteWhatNeedsIt) {
    const auto documents = csv_documents(a_catalogue());
    EXPECT_THAT(documents[0].text, HasSubstr(",\"a grid, \"\"quoted\"\"\"\n"));
    EXPECT_THAT(documents[1].text, HasSubstr(",\"T&<>\"\"1202\","));
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
