// Pick files of every kind, what is wrong with them, and their order.
#include <gmock/gmock.h>

#include "pick_stream.h"
#include "support/log_capture.h"
#include "support/temp_file.h"

namespace velorix::assoc {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velorix_test::LogCapture;
using velorix_test::TempFile;

struct Read {
    bool good = false;
    std::vector<Pick> picks;
    PickSurvey survey;
    long duplicates = 0;
    std::string log;
};

Read read(const std::string& text, bool skip_bad = false, StreamOptions options = {}) {
    const TempFile file(text, "picks");
    LogCapture log;
    Read out;
    PickStream stream;
    options.paths = {file.path()};
    options.skip_bad = skip_bad;
    out.good = stream.open(options);
    for (Pick pick; out.good && stream.next(pick);) out.picks.push_back(pick);
    out.survey = stream.survey();
    out.duplicates = stream.duplicates();
    out.log = log.text();
    return out;
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
        ASSERT_TRUE(r.good) << r.log;
        ASSERT_EQ(r.picks.size(), 1u);
        EXPECT_EQ(r.survey.kinds, c.kind);
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
        {"abc\x01", "no header"}};
    for (const auto& c : cases) {
        const Read r = read(c.text);
        EXPECT_FALSE(r.good) << c.text;
        EXPECT_THAT(r.log, HasSubstr(c.message));
    }
}

TEST(PickStream, SkipsAndCountsBadLinesWhenAsked) {
    const Read r = read("station,time\nA,1\nB,x\nC,y\nD,4\n", true);
    ASSERT_TRUE(r.good);
    EXPECT_THAT(times(r), ElementsAre(1, 4));
    EXPECT_EQ(r.survey.bad, 2);
    EXPECT_THAT(r.log, HasSubstr(":3: "));
}

TEST(PickStream, SortsByTimeThenNameAndDropsRepetitions) {
    const Read r = read(
        "network,station,phase,time,pick_id\n"
        "N,C,P,30,1\nN,B,P,10,2\nN,A,P,10,3\nN,B,P,10,4\nN,B,S,10,5\nN,D,P,20,6\n");
    std::string order;
    for (const Pick& pick : r.picks) order += pick.station + pick.phase;
    EXPECT_EQ(order, "APBPBSDPCP");
    EXPECT_EQ(r.duplicates, 1);
}

TEST(PickStream, KeepsToTheTimeSpan) {
    StreamOptions options;
    options.from = 2;
    options.to = 3;
    const Read r = read("station,time\nA,1\nA,2\nA,3\nA,4\n", false, options);
    EXPECT_THAT(times(r), ElementsAre(2, 3));
    EXPECT_EQ(r.survey.outside, 2);
}

}  // namespace
}  // namespace velorix::assoc
