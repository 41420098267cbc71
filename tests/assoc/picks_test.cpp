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

struct Layout {
    const char* name;
    std::string text;
    const char* kind;
};

class EveryKind : public testing::TestWithParam<Layout> {};

// The same pick in each kind of file.
TEST_P(EveryKind, IsRecognisedAndRead) {
    const Read r = read(GetParam().text);
    ASSERT_TRUE(r.good) << r.log;
    ASSERT_EQ(r.picks.size(), 1u);
    EXPECT_EQ(r.survey.kinds, GetParam().kind);
    EXPECT_EQ(r.picks[0].station, "ARRO");
    EXPECT_EQ(r.picks[0].channel, "EHZ");
    EXPECT_EQ(r.picks[0].phase, "P");
    EXPECT_DOUBLE_EQ(r.picks[0].time, 1476403210.25);
}

std::string arrival_line() {
    return "ARRO    1476403210.25000       77  2016288       -1       -1 EHZ      P        - "
           "-1.000   "
           "-1.00   -1.00   -1.00   -1.00   -1.00  -1.000       -1.0   -1.00 -999.00 - -       "
           "12.50 - "
           "-                     -1 -\n";
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, EveryKind,
    testing::Values(
        Layout{"Columns",
               "network,station,channel,phase,time_iso,epoch,snr\n"
               "IV,ARRO,EHZ,P,2016-10-14T00:00:10.25Z,1476403210.25,12\n",
               "CSV"},
        Layout{"SeedId",
               "station_id,phase_time,phase_score,phase_type\n"
               "IV.ARRO..EHZ,2016-10-14T00:00:10.250000,0.98,P\n",
               "CSV"},
        Layout{"IdTypeTimestamp", "id,timestamp,type,prob\nIV.ARRO.00.EHZ,1476403210.25,P,1\n",
               "CSV"},
        Layout{"Semicolons", "sta;chan;time;phase\nARRO;EHZ;2016-10-14 00:00:10.25;P\n", "CSV"},
        Layout{"QuotedWithByteOrderMark",
               "\xEF\xBB\xBF\"station\",\"channel\",\"phase\",\"time\"\r\n"
               "\"ARRO\",\"EHZ\",\"P\",\"1476403210.25\"\r\n",
               "CSV"},
        Layout{"Arrival", arrival_line(), "CSS3.0 arrival"},
        Layout{"Toml", "arrivals = [\"77 ARRO EHZ P 1476403210.25 12\"]\n", "TOML arrivals"},
        Layout{"QuakeMl",
               "<?xml version=\"1.0\"?><q:quakeml xmlns:q=\"a\"><eventParameters><event>"
               "<pick publicID=\"smi:local/1\"><time><value>2016-10-14T00:00:10.25Z</value></time>"
               "<waveformID networkCode=\"IV\" stationCode=\"ARRO\" channelCode=\"EHZ\"/>"
               "<phaseHint>P</phaseHint></pick></event></eventParameters></q:quakeml>",
               "QuakeML"}),
    [](const auto& one) { return one.param.name; });

struct Fault {
    const char* name;
    std::string text;
    const char* message;
};

class EveryFault : public testing::TestWithParam<Fault> {};

TEST_P(EveryFault, NamesFileAndLine) {
    const Read r = read(GetParam().text);
    EXPECT_FALSE(r.good);
    EXPECT_THAT(r.log, HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, EveryFault,
    testing::Values(
        Fault{"NoTimeColumn", "station,phase\nA,P\n", "picks:1: no header with a column 'time'"},
        Fault{"BadTime", "station,time\nA,1.0\nB,noon\n",
              "picks:3: time 'noon' is neither ISO 8601 nor epoch seconds"},
        Fault{"Milliseconds", "station,time\nA,1476403210250\n",
              "picks:2: time '1476403210250' is neither"},
        Fault{"BeforeTheYear1", "station,time\nA,-99999999999\n",
              "picks:2: time '-99999999999' is neither"},
        Fault{"NullTime", std::string(arrival_line()).replace(7, 17, "-9999999999.99900"),
              "picks:1: no time"},
        Fault{"NulInALine", "station,time\n" + std::string(5000, '#') + std::string("\n\0A,5\n", 6),
              "picks:3: binary data"},
        Fault{"InfiniteTime", "station,time\nA,inf\n", "picks:2: time 'inf'"},
        Fault{"Truncated", "station,phase,time\nA,P,1.0\nB,P",
              "picks:3: 2 of 3 fields, the file ends in the middle of the line"},
        Fault{"NoStation", "station,time\n,5\n", "picks:2: no station"},
        Fault{"OpenQuote", "station,time\n\"A,5\n", "picks:2: a quote stays open"},
        Fault{"BrokenXml", "<?xml version=\"1.0\"?>\n<quakeml>\n<pick>\n", "picks:"},
        Fault{"ForeignXml", "<html></html>", "an XML document that is not QuakeML"},
        Fault{"TomlEntry", "arrivals = [\"A BHZ P\"]\n", "arrivals, entry 1"},
        Fault{"Binary", "abc\x01", "no header"}),
    [](const auto& one) { return one.param.name; });

TEST(PickStream, SkipsAndCountsBadLinesWhenAsked) {
    const Read r = read("station,time\nA,1\nB,x\nC,y\nD,4\n", true);
    ASSERT_TRUE(r.good);
    EXPECT_THAT(times(r), ElementsAre(1, 4));
    EXPECT_EQ(r.survey.bad, 2);
    EXPECT_THAT(r.log, HasSubstr(":3: "));
}

TEST(PickStream, EmptyFilesHoldNoPicks) {
    EXPECT_TRUE(read("").good);
    EXPECT_TRUE(read("station,time\n").good);
    EXPECT_EQ(read("").picks.size(), 0u);
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
