// Pick files of every kind, what is wrong with them, and their order.
#include <gmock/gmock.h>

#include "support/log_capture.h"
#include "support/temp_file.h"
#include "velorixassoc.h"

namespace velorix::assoc {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velorix_test::LogCapture;
using velorix_test::TempFile;

struct Read {
    PickStream::Next last = PickStream::Next::failed;  // what ended it
    std::vector<Pick> picks;
    PickStream::Counts counts;
    std::string kinds, disorder, log;
    bool good() const { return last == PickStream::Next::end; }
};

Read read_files(const PickStreamOptions& options) {
    LogCapture log;
    Read out;
    PickStream stream;
    if (stream.open(options)) {
        for (Pick pick; (out.last = stream.next(pick)) == PickStream::Next::pick;)
            out.picks.push_back(pick);
        out.counts = stream.counts();
        out.kinds = stream.kinds();
        out.disorder = stream.disorder();
    }
    out.log = log.text();
    return out;
}

Read read(const std::string& text, PickStreamOptions options = {}) {
    const TempFile file(text, "picks");
    options.paths = {file.path()};
    return read_files(options);
}

std::vector<double> times(const Read& read) {
    std::vector<double> out;
    for (const Pick& pick : read.picks) out.push_back(pick.time);
    return out;
}

const std::string kArrivalLine =
    "ARRO    1476403210.25000       77  2016288       -1       -1 EHZ      P        - -1.000   "
    "-1.00   -1.00   -1.00   -1.00   -1.00  -1.000       -1.0   -1.00 -999.00 - -       12.50 - "
    "-                     -1 -\n";

// The same pick in each kind of file.
TEST(PickFile, IsRecognisedAndReadWhateverItsKind) {
    const struct {
        const char* name;
        std::string text;
        const char* kind;
    } cases[] = {
        {"Columns",
         "network,station,channel,phase,time_iso,epoch,snr\n"
         "IV,ARRO,EHZ,P,2016-10-14T00:00:10.25Z,1476403210.25,12\n",
         "CSV"},
        {"SeedId",
         "station_id,phase_time,phase_score,phase_type\n"
         "IV.ARRO..EHZ,2016-10-14T00:00:10.250000,0.98,P\n",
         "CSV"},
        {"IdTypeTimestamp", "id,timestamp,type,prob\nIV.ARRO.00.EHZ,1476403210.25,P,1\n", "CSV"},
        {"Semicolons", "sta;chan;time;phase\nARRO;EHZ;2016-10-14 00:00:10.25;P\n", "CSV"},
        {"QuotedWithByteOrderMark",
         "\xEF\xBB\xBF\"station\",\"channel\",\"phase\",\"time\"\r\n"
         "\"ARRO\",\"EHZ\",\"P\",\"1476403210.25\"\r\n",
         "CSV"},
        {"CommentsAndOffset",
         "# my picks\n\n#station,channel,phase,time,snr\n# 1\n"
         "IV.ARRO,EHZ,P,2016-10-14T02:00:10.25+02:00,nan,\n",
         "CSV"},
        {"DayBefore", "sta|chan|time|phase\nARRO|EHZ|2016-10-13T22:30:10.25-0130|P\n", "CSV"},
        {"Arrival", kArrivalLine, "CSS3.0 arrival"},
        {"Toml", "arrivals = [\"77 ARRO EHZ P 1476403210.25 12\"]\n", "TOML arrivals"},
        {"QuakeMl",
         "<?xml version=\"1.0\"?><q:quakeml xmlns:q=\"a\"><eventParameters><event>"
         "<pick publicID=\"smi:local/1\"><time><value>2016-10-14T00:00:10.25Z</value></time>"
         "<waveformID networkCode=\"IV\" stationCode=\"ARRO\" channelCode=\"EHZ\"/>"
         "<phaseHint>P</phaseHint></pick></event></eventParameters></q:quakeml>",
         "QuakeML"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Read r = read(c.text);
        ASSERT_TRUE(r.good()) << r.log;
        ASSERT_EQ(r.picks.size(), 1u);
        EXPECT_EQ(r.kinds, c.kind);
        const Pick& pick = r.picks[0];
        EXPECT_EQ(pick.station + " " + pick.channel + " " + pick.phase, "ARRO EHZ P");
        EXPECT_DOUBLE_EQ(pick.time, 1476403210.25);
    }
}

TEST(PickFile, FaultsNameFileAndLine) {
    const struct {
        std::string text;
        const char* message;
    } cases[] = {
        {"station,phase\nA,P\n", "picks:1: no header with a column 'time'"},
        {"station,time\nA,1.0\nB,noon\n",
         "picks:3: time 'noon' is neither ISO 8601 nor epoch seconds"},
        {"station,time\nA,2016-10-14T00:00:10+25:00\n",
         "picks:2: time '2016-10-14T00:00:10+25:00'"},
        {"station,time,phase\nA,5,51,P\n", "picks:2: 4 of 3 fields"},
        {"# no\n# header\n", "picks:2: no header with a column 'time'"},
        {"station,time\nA,1476403210250\n", "picks:2: time '1476403210250' is neither"},
        {"station,time\nA,-99999999999\n", "picks:2: time '-99999999999' is neither"},
        {std::string(kArrivalLine).replace(7, 17, "-9999999999.99900"), "picks:1: no time"},
        {"station,time\n" + std::string(5000, '#') + std::string("\n\0A,5\n", 6),
         "picks:3: binary data"},
        {"station,time\nA,inf\n", "picks:2: time 'inf'"},
        {"station,time\n,5\n", "picks:2: no station"},
        {"station,time\n\"A,5\n", "picks:2: a quote stays open"},
        {"<?xml version=\"1.0\"?>\n<quakeml>\n<pick>\n", "picks:"},
        {"<html></html>", "an XML document that is not QuakeML"},
        {"arrivals = [\"A BHZ P\"]\n", "arrivals, entry 1"},
        {"abc\x01", "no header"},
        {"alpha,beta\n1,2\n", "(or: time, phase_time,"},
        {"alpha,time\n1,2\n", "no header with a column 'station' (or: station, sta, "},
        {"alpha,Beta\n1,2\n", "); the columns here: 'alpha', 'beta'"},
        {"station,time\nA,1\n" + std::string(1100000, 'x') + "\n", ":3: a line of more than"},
        {"<!DOCTYPE q [<!ENTITY a 'b'>]><q:quakeml xmlns:q='a'/>", "document type declaration"},
        {"<q:quakeml xmlns:q=\"a\"><eventParameters><pick/></eventParameters></q:quakeml>",
         "picks:1: a pick without stationCode"},
        {"<q:quakeml xmlns:q='a'>\n<eventParameters>\n<pick>\n<waveformID stationCode='A'/>\n"
         "<time><value>now</value></time></pick></eventParameters></q:quakeml>",
         "time 'now' is not ISO 8601"}};
    for (const auto& c : cases) {
        const Read r = read(c.text);
        EXPECT_FALSE(r.good()) << c.text;
        EXPECT_THAT(r.log, HasSubstr(c.message));
    }
}

TEST(PickStream, SkipsAndCountsBadLinesWhenAsked) {
    const Read r = read("station,time\nA,1\nB,x\nC,y\nD,4\n", {.skip_bad = true});
    ASSERT_TRUE(r.good());
    EXPECT_THAT(times(r), ElementsAre(1, 4));
    EXPECT_EQ(r.counts.bad, 2);
    EXPECT_THAT(r.log, HasSubstr(":3: "));
}

TEST(PickStream, KeepsToTheTimeSpan) {
    const Read r = read("station,time\nA,1\nA,2\nA,3\nA,4\n", {.from = 2, .to = 3});
    EXPECT_THAT(times(r), ElementsAre(2, 3));
    EXPECT_EQ(r.counts.outside, 2);
    EXPECT_EQ(r.counts.read, 4);
    EXPECT_EQ(r.counts.given, 2);
}

TEST(PickStream, MergesFilesByTimeAndSaysWhichIsOutOfOrder) {
    const TempFile one("station,time\nA,10\nA,12\nA,11\nA,30\n", "one");
    const TempFile two("station,time\nB,11.5\nB,29\nB,20\n", "two");
    PickStreamOptions options;
    options.paths = {one.path(), two.path()};
    options.lateness = 9.0;
    EXPECT_THAT(times(read_files(options)), ElementsAre(10, 11.5, 12, 11, 29, 20, 30));
    options.lateness = 8.9;
    const Read r = read_files(options);
    EXPECT_EQ(r.last, PickStream::Next::disorder);
    EXPECT_THAT(r.disorder, HasSubstr("two: a pick at 1970-01-01T00:00:20.00Z stands behind one "
                                      "9.0 s later"));
    options.sorted = {two.path()};
    EXPECT_THAT(times(read_files(options)), ElementsAre(10, 11.5, 12, 11, 20, 29, 30));
}

TEST(PickCodes, AreTakenApartWhereTheyHoldTheNetwork) {
    const struct {
        const char* text;
        const char* name;
    } cases[] = {{"station,time\nIV.ARRO,1\n", "IV.ARRO.."},
                 {"station,time\nIV_ARRO,1\n", "IV.ARRO.."},
                 {"station,time\nIV.ARRO.00.HHZ,1\n", "IV.ARRO.00.HHZ"},
                 {"station,time\nLONG_CODE,1\n", ".LONG_CODE.."},
                 {"network,station,time\nXX,IV_ARRO,1\n", "XX.IV_ARRO.."},
                 {"station,time\nIV_,1\n", ".IV_.."},
                 {"arrivals = [\"IV_ARRO EHZ P 1 2\"]\n", "IV.ARRO..EHZ"}};
    for (const auto& c : cases) {
        const Read r = read(c.text);
        ASSERT_EQ(r.picks.size(), 1u) << c.text;
        EXPECT_EQ(full_name(r.picks[0]), c.name) << c.text;
    }
}

TEST(PickLines, TellTheirKindFromTheFirstLine) {
    const struct {
        std::vector<std::string> lines;
        std::vector<std::string> errors;  // by line
        size_t picks;
    } cases[] = {{{"# picks", "", "station,time\r", "A,1", "B,x", "C,3"},
                  {"", "", "", "", "feed:5: time 'x' is neither", ""},
                  2},
                 {{kArrivalLine.substr(0, kArrivalLine.size() - 1), "junk"}, {"", "feed:2: "}, 1},
                 {{"nothing", "station,time", "A,1"},
                  {"feed:1: no header with a column 'time'", "", ""},
                  1}};
    for (const auto& c : cases) {
        PickLines lines("feed");
        std::vector<Pick> picks;
        for (size_t i = 0; i < c.lines.size(); ++i) {
            std::string error;
            const ReadResult result = lines.take(c.lines[i], picks, error);
            EXPECT_EQ(result == ReadResult::pick, c.errors[i].empty()) << c.lines[i];
            EXPECT_THAT(error, HasSubstr(c.errors[i]));
        }
        EXPECT_EQ(picks.size(), c.picks);
    }
}

TEST(Labels, ArePOrSByTheirFamilyAndUnknownWhereNothingIsSaid) {
    const std::pair<const char*, Label> cases[] = {
        {"", Label::unknown}, {"?", Label::unknown}, {"-", Label::unknown}, {"U", Label::unknown},
        {"P", Label::p},      {"Pn", Label::p},      {"Sg", Label::s},      {"LR", Label::other}};
    for (const auto& [text, label] : cases) EXPECT_EQ(label_of(text), label) << text;
}

}  // namespace
}  // namespace velorix::assoc
