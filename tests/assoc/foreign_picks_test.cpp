// Pick files of other programs: what is read of each, what of its odd cases, and what is refused.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "support/log_capture.h"
#include "support/text_values.h"
#include "support/times.h"
#include "velorixassoc.h"

namespace velorix::assoc {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using velorix_test::LogCapture;

struct Read {
    std::vector<std::string> picks;   // "NET.STA.LOC.CHA PHASE TIME QUALITY"
    std::vector<std::string> errors;  // of bad rows, and the one that ended it
    std::string kind;
};

Read read_all(PickReader& reader) {
    Read out;
    for (;;) {
        Pick pick;
        std::string error;
        const ReadResult result = reader.next(pick, error);
        if (result == ReadResult::pick) {
            out.picks.push_back(full_name(pick) + " " + pick.phase + " " + iso_time(pick.time, 3) +
                                format(" %g", pick.quality));
            continue;
        }
        if (result != ReadResult::end) out.errors.push_back(error);
        if (result == ReadResult::bad) continue;
        out.kind = reader.kind();
        return out;
    }
}

Read read(const std::string& text, const PickFileOptions& options = {},
          const std::string& name = "picks") {
    std::string error;
    const auto reader = open_picks_in(text, name, error, options);
    return reader ? read_all(*reader) : Read{{}, {error}, ""};
}

constexpr PickFileOptions kSamples{.sampling_rate = 100.0, .start = 1476403200.0};

const std::string kEqtHeader =
    "file_name,network,station,instrument_type,station_lat,station_lon,station_elv,"
    "event_start_time,event_end_time,detection_probability,detection_uncertainty,"
    "p_arrival_time,p_probability,p_uncertainty,p_snr,s_arrival_time,s_probability,"
    "s_uncertainty,s_snr";
const std::string kEqtPlace = ",HH,42.5,13.1,796.4,,,0.9,,";
const std::string kPhaseNet = "fname\tt0\tp_idx\tp_prob\ts_idx\ts_prob\tp_amp\n";
const std::string kRealEvent =
    "    1 2016 10 32 00:00:09.270  1555209.2700   0.2427      42.8020      13.2112 6.0 -inf nan "
    "3 2 5 1 27.17\n";
const std::string kHypoDd = "# 2016 10 14 23 59 59.50 42.8085 13.2121 6.63 0 0 0 0 1\n";
const std::string kNll = "GAU 2.00e-02 -1.00e+00 -1.00e+00 -1.00e+00";

// A line of fields at their columns, counted from 1.
std::string columns(std::initializer_list<std::pair<size_t, const char*>> fields) {
    std::string line;
    for (const auto& [column, text] : fields) {
        line.resize(column - 1, ' ');
        line += text;
    }
    return line + "\n";
}

// The P of the second line is a placeholder, the third has been thrown out, the fourth has none.
const std::string kArchive =
    columns({{1, "2016101400000927"}, {17, "42"}, {20, "4812"}, {24, " 13E1267"}, {32, "  600"}}) +
    "$1\n" +
    columns({{1, "ARRO"},
             {6, "IV"},
             {10, "HHZ"},
             {14, "IP 0"},
             {18, "201610140000"},
             {30, " 1051"},
             {112, "00"}}) +
    columns({{1, "T1214"},
             {6, "IV"},
             {10, "HHE"},
             {14, " P 4"},
             {18, "201610140000"},
             {30, " 9999-999"},
             {42, " 1466ES 1"},
             {112, "--"}}) +
    columns({{1, "T1215"}, {6, "IV"}, {14, "EP 5"}, {18, "201610140000"}, {30, " 1000"}}) +
    columns({{1, "T1216"}, {6, "IV"}, {17, "4"}, {18, "201610140000"}, {30, "    0-999"}}) +
    columns(
        {{1, "T1217"}, {6, "IV"}, {10, "HHZ"}, {14, "IP"}, {18, "20161014 0 0"}, {31, "65.1"}}) +
    columns({{63, "         1"}});

// One case a kind, with the odd rows that are met.
TEST(ForeignPicks, AreReadWithTheirOddCases) {
    const struct {
        const char* name;
        std::string text;
        const char* kind;
        std::vector<std::string> picks;
        PickFileOptions options{};
        const char* file = "picks";
    } cases[] = {
        {"EqTransformer",
         kEqtHeader + "\r\r\nx,IV,ED1 " + kEqtPlace +
             "2016-10-14 00:00:10,0.3,,-2.5,2016-10-14 00:00:11.718300,0.85,,9.8\r\r\n" +
             "x,8 ,ED1 " + kEqtPlace + ",,,2.8,2016-10-14 00:00:20.5,,,9.8\r\r\n",
         "EQTransformer",
         {"IV.ED1..HH P 2016-10-14T00:00:10.000Z 0.3", "IV.ED1..HH S 2016-10-14T00:00:11.718Z 0.85",
          "8.ED1..HH S 2016-10-14T00:00:20.500Z -1"}},
        {"PhaseNetTabs",
         kPhaseNet +
             "2016_10_14_00000.00_IV_ARRO_mseed\t2016-10-14T00:00:00.000\t[1051,2000]\t[0.6,0.5]"
             "\t[1500]\t[0.4]\t[1e-6]\n8G.SN04..HH\t2016-10-15T00:00:00.000\t[]\t[]\t[7]\t[1]\t[]"
             "\n",
         "PhaseNet samples",
         {"IV.ARRO.. P 2016-10-14T00:00:10.510Z 0.6", "IV.ARRO.. S 2016-10-14T00:00:15.000Z 0.4",
          "IV.ARRO.. P 2016-10-14T00:00:20.000Z 0.5", "8G.SN04..HH S 2016-10-15T00:00:00.070Z 1"},
         {.sampling_rate = 100.0}},
        {"PhaseNetOtherNamesAndNoStart",
         "fname\tt0\tidx_p\tprob_p\tidx_s\tprob_s\n/a_b/CA.CBUD.00.HH\t0\t[150]\t[1]\t[]\t[]\n",
         "PhaseNet samples",
         {"CA.CBUD.00.HH P 2016-10-14T00:00:03.000Z 1"},
         {.sampling_rate = 50.0, .start = 1476403200.0}},
        {"PhaseNetWindows",
         "fname,itp,tp_prob,its,ts_prob\nCA.CBUD..HH.mseed_3000,[251 530],[0.7 0.6],[],[]\n"
         "CA.CBUD..HH.mseed_6000,[],[],[1,2],[0.1,0.2]\n",
         "PhaseNet samples",
         {"CA.CBUD..HH P 2016-10-14T00:00:32.510Z 0.7",
          "CA.CBUD..HH P 2016-10-14T00:00:35.300Z 0.6",
          "CA.CBUD..HH S 2016-10-14T00:01:00.010Z 0.1",
          "CA.CBUD..HH S 2016-10-14T00:01:00.020Z 0.2"},
         kSamples},
        {"PhaseNetTimes",
         "file_name,begin_time,station_id,phase_time,phase_score,phase_type,event_index\n"
         "a,2016-10-14T00:00:00.000,CI.CCC..BH,2016-10-14T00:00:10.510,0.361,P,-1\n"
         "a,2016-10-14T00:00:00.000,CCC.mseed,2016-10-14T00:00:11,0.4,S,3\n",
         "CSV",
         {"CI.CCC..BH P 2016-10-14T00:00:10.510Z 0.361", ".CCC.. S 2016-10-14T00:00:11.000Z 0.4"}},
        {"SeisBench",
         ",index,station,time,start_time,end_time,probability,phase,polarity\n"
         "0,5,CX.PB01.,2016-10-14 00:00:10.510000,2016-10-14 00:00:10,,0.5,Pn,\n",
         "CSV",
         {"CX.PB01.. Pn 2016-10-14T00:00:10.510Z 0.5"}},
        {"TimeFirst",
         "time,station,phase\n2016-10-14T00:00:10.51,ARRO,P\n",
         "CSV",
         {".ARRO.. P 2016-10-14T00:00:10.510Z -1"}},
        {"SeisBenchScript",
         ",id,start_time,peak_time,end_time,peak_value,phase\n"
         "0,FR.HOHE.00,2016-10-14T00:00:10.3Z,2016-10-14T00:00:10.51Z,x,0.87,D\n",
         "CSV",
         {"FR.HOHE.00. D 2016-10-14T00:00:10.510Z 0.87"}},
        {"Gamma",
         "id,timestamp,prob,amp,type,event_index,gamma_score\n"
         "CI.CCC..BH,2016-10-14T00:00:10.51,0.5,1e-6,p,-1,\n",
         "CSV",
         {"CI.CCC..BH p 2016-10-14T00:00:10.510Z 0.5"}},
        {"PyOctoAssignments",
         ",event_idx,pick_idx,residual,station,phase,time\n0,0,7,-0.1,CX.PB01.,S,1476403210.51\n",
         "CSV",
         {"CX.PB01.. S 2016-10-14T00:00:10.510Z -1"}},
        {"Spreadsheet",
         "sep=;\n\xEF\xBB\xBFstation;time;phase;probability;\"depth (km, down)\"\n"
         "ARRO;14.10.2016 00:00:10,51;P;0,75;\nARRO;2016-10-14 00:00:11,5;S;1;3,2\n",
         "CSV",
         {".ARRO.. P 2016-10-14T00:00:10.510Z 0.75", ".ARRO.. S 2016-10-14T00:00:11.500Z 1"}},
        {"RealPickFile",
         "89999.51\t23.7 0.0\n  0.5 0.4 1e-3\n",
         "REAL picks",
         {"WI.N.IKWH.. S 2016-10-15T00:59:59.510Z 23.7",
          "WI.N.IKWH.. S 2016-10-14T00:00:00.500Z 0.4"},
         {},
         "x/20161014/WI.N.IKWH.S.txt"},
        {"RealPickFileOfAGivenDay",
         "1 1 0\n",
         "REAL picks",
         {"IV.A.. P 2016-10-14T00:00:01.000Z 1"},
         kSamples,
         "IV.A.P.txt"},
        // Day 32 of October is November 1; seconds count from October 15.
        {"RealPhases",
         kRealEvent + "   IV    T1214     P 1555210.5900 1.3196 1.4e-01 0.027 21.5649 2.4504\n" +
             "    2 2016 10 15 00:00:10.000  10.0000   0.2   42.8  13.2  6.0  0.9 0.2 3 2 5 27.17\n"
             "WI N.IKWH S 12.5 2.5 0.0 -1.4863 0.8780 0.3108\n",
         "REAL phases",
         {"IV.T1214.. P 2016-11-01T00:00:10.590Z 21.5649",
          "WI.N.IKWH.. S 2016-10-15T00:00:12.500Z 0.878"}},
        {"HypoDd",
         kHypoDd + "NCCSP       2.850  -0.500   P\nT1214 10.25 1 S\n#2016 10 14 0 1 60.00 " +
             "-42.8 -13.2 6.6 0 0 0 0 2\nIV_ARRO 1 0.2 P\n",
         "hypoDD phases",
         {".NCCSP.. P 2016-10-15T00:00:02.350Z 0.5", ".T1214.. S 2016-10-15T00:00:09.750Z 1",
          "IV.ARRO.. P 2016-10-14T00:02:01.000Z 0.2"}},
        {"NonLinLoc",
         "PUBLIC_ID smi:local/1\nUH1 ? ? ? P ? 20161014 0000 70.5100 " + kNll + "\n" +
             "IV_ARRO_00_HHZ BHZ HHZ i ? U 20161014 0001 -1.5 " + kNll + " 0.5\n" +
             "UH1 ? ? ? P ? 20161201 0000 5 " + kNll + "\n\n",
         "NonLinLoc phases",
         {".UH1.. P 2016-10-14T00:01:10.510Z -1", "IV.ARRO.00.HHZ  2016-10-14T00:00:58.500Z 0.5",
          ".UH1.. P 2016-12-01T00:00:05.000Z -1"}},
        {"NonLinLocLocations",
         "NLLOC \"root\" \"REJECTED\" \"bad\"\nSIGNATURE \"x\"\nGEOGRAPHIC  OT 2016 10 14  0 0 "
         "1.5\n"
         "PHASE ID Ins Cmp\nNWAO ? Z ? P ? 20161014 0000 41.3602 " +
             kNll + " 1.0000 > 12.7040 -0.3041\nEND_PHASE\nSCATTER Nsamples 1\n1 2 3 4\n" +
             "END_SCATTER\nEND_NLLOC\n\nNLLOC \"b\" \"LOCATED\" \"\"\nEND_NLLOC\n",
         "NonLinLoc phases",
         {".NWAO..Z P 2016-10-14T00:00:41.360Z 1"}},
        {"Hypoinverse",
         kArchive,
         "HYPOINVERSE archive",
         {"IV.ARRO.00.HHZ P 2016-10-14T00:00:10.510Z 1",
          "IV.T1214..HHE S 2016-10-14T00:00:14.660Z 0.75",
          "IV.T1217..HHZ P 2016-10-14T00:01:05.100Z 1"}},
        {"JsonLines",
         "{\"network\":\"IV\",\"station\":\"ARRO\",\"phase\":\"P\",\"time\":1476403210.51,"
         "\"probability\":0.5,\"id\":7,\"x\":{\"time\":[1]}}\n\n"
         "{\"station_id\":\"IV.ARRO.00.HHZ\",\"phase_time\":\"2016-10-14T00:00:11Z\"}\n",
         "JSON lines",
         {"IV.ARRO.. P 2016-10-14T00:00:10.510Z 0.5",
          "IV.ARRO.00.HHZ  2016-10-14T00:00:11.000Z -1"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Read r = read(c.text, c.options, c.file);
        EXPECT_THAT(r.errors, ElementsAreArray(std::vector<std::string>()));
        EXPECT_EQ(r.kind, c.kind);
        EXPECT_THAT(r.picks, ElementsAreArray(c.picks));
    }
}

// What is wrong in one row; the rows around it are read where the format goes on.
TEST(ForeignPicks, FaultsNameFileLineAndColumn) {
    const std::string sheet = "sta;time;prob\n";
    const struct {
        std::string text;
        const char* message;
        PickFileOptions options{};
        const char* file = "picks";
    } cases[] = {
        {kEqtHeader + "\nx,IV,ED1" + kEqtPlace + "noon,1,,,,,,\n",
         "picks:2: 'noon' is not a time (column 12, 'p_arrival_time')"},
        {kEqtHeader + "\nx,IV,ED1" + kEqtPlace + ",,,,2016-10-14 00:00:10,high,,\n",
         "picks:2: 'high' is not a number (column 17, 's_probability')"},
        {kEqtHeader + "\nx,IV, " + kEqtPlace + ",,,,,,,\n",
         "picks:2: no station (column 3, 'station')"},
        {kEqtHeader + "\nx,IV", "picks:2: 2 of 19 fields, the file ends in the middle of the line"},
        {"station,p_arrival_time\n", "picks:1: no column 'network'"},
        {kPhaseNet, "picks:1: picks as sample numbers of PhaseNet: the sampling rate is not in"},
        {"fname,itp,tp_prob,its,ts_prob\n",
         "when the waveforms start is not in the file",
         {.sampling_rate = 100}},
        {kPhaseNet + "8G.SN04..HH\t0\t[]\t[]\t[]\t[]\t[]\n",
         "picks:2: '0' is not the time of the first "
         "sample, give it (--start) (column 13)",
         {.sampling_rate = 100}},
        {kPhaseNet + "8G.SN04..HH\t2016-10-14\t[1,x]\t[1,1]\t[]\t[]\t[]\n",
         "picks:2: 'x' is not a number (column 27)", kSamples},
        {kPhaseNet + "8G.SN04..HH\t2016-10-14\t[1,2]\t[1]\t[]\t[]\t[]\n",
         "picks:2: 2 sample numbers and 1 probabilities (column 24)", kSamples},
        {kPhaseNet + "8G.SN04..HH\t2016-10-14\t1\t[1]\t[]\t[]\t[]\n",
         "picks:2: a list does not stand in brackets (column 24)", kSamples},
        {kPhaseNet + "waveforms\t2016-10-14\t[1]\t[1]\t[]\t[]\t[]\n",
         "picks:2: no network and station in 'waveforms' (column 1)", kSamples},
        {"fname,itp,tp_prob,its,ts_prob\nCA.CBUD..HH_x,[1],[1],[],[]\n",
         "picks:2: 'CA.CBUD..HH_x' does not end in the number of a window", kSamples},
        {"station_id,begin_time,phase_time\n0000,1970-01-01T00:00:00.000+00:00,1970-01-01T00:03:"
         "00\n",
         "picks:2: time '1970-01-01T00:03:00' counts from 1970: the picker did not know the start "
         "(column 3, 'phase_time')"},
        {sheet + "A;10/11/2016 00:00:01;1\n",
         "picks:2: time '10/11/2016 00:00:01' is neither ISO "
         "8601 nor epoch seconds (column 2, 'time')"},
        {sheet + "A;5;1,2,3\n", "picks:2: '1.2.3' is not a number (column 3, 'prob')"},
        {"time\tmagnitude\tcovariance\n", "'covariance', a list of events?"},
        {"1 1\n", "picks/IV.A.P.txt: REAL's picks are seconds of a day", {}, "picks/IV.A.P.txt"},
        {"1 1 0\n2 x 0\n",
         "20161014/IV.A.P.txt:2: weight 'x' is not a number (column 3)",
         {},
         "20161014/IV.A.P.txt"},
        {"1 1",
         "IV.A.P.txt:1: 2 of 3 numbers, the file ends in the middle of the line",
         {},
         "20161014/IV.A.P.txt"},
        {kRealEvent + "IV A P 1x 1 1 1 1 1\n", "picks:2: time '1x' is not a number (column 8)"},
        {kRealEvent + "IV A P 1 1 1 1\n", "picks:2: 7 words, an event has 17 and a phase 9"},
        {"1 2016 10 32 00:00:09.270 9.9 0.2 42.8 13.2 6 0 0 3 2 5 27\nIV A P 1 1 1 1 1 1\n",
         "picks:1: '9.9' is not the same time in seconds of a day (column 27)"},
        {kHypoDd + "A 1 x P\n", "picks:2: weight 'x' is not a number (column 5)"},
        {kHypoDd + "A 1 P\n", "picks:2: 3 words, not 'station traveltime weight phase'"},
        {kHypoDd + "# 2016 10 14 25 59 59.50 42.8085 13.2121 6.63 0 0 0 0 1\nA 1 1 P\n",
         "picks:2: hour '25' is not a whole number from 0 to 24 (column 13)"},
        {"PUBLIC_ID a\nUH1 ? ? ? P ? 20161314 0000 70.51 " + kNll + "\n",
         "picks:2: '20161314' is not a date (YYYYMMDD) (column 15)"},
        {"PUBLIC_ID a\nUH1 ? ? ? P ? 20161014 0000 sec " + kNll + "\n",
         "picks:2: seconds 'sec' is not a number (column 29)"},
        {"PUBLIC_ID a\nUH1 ? ?\n", "picks:2: 3 words, a phase has at least 9"},
        {kArchive + columns({{1, "ARRO"}, {14, "IP 0"}, {18, "201610140000"}, {30, " 1x51"}}),
         "picks:9: ' 1x51' is not a number of seconds (column 30)"},
        {kArchive + columns({{1, "ARRO"}, {14, "IP 0"}, {18, "201613140000"}, {30, " 1251"}}),
         "picks:9: '201613140000' is not a year, month, day, hour and minute (column 18)"},
        {"8510141200587137 5299122 1449  980 0 21 52 10   2 3073  5321216  1614HAY\n",
         "picks:1: an HYPOINVERSE archive with two-digit years"},
        {"{\"station\":\"A\",\"time\":5}\n{\"station\":\"A\",\"time\":}\n",
         "picks:2: not a JSON object (column 23)"},
        {"{\"station\":\"A\",\"time\":\"noon\"}\n", "(column 16, 'time')"},
        {"{\"time\":5}\n", "picks:1: no station"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const Read r = read(c.text, c.options, c.file);
        ASSERT_FALSE(r.errors.empty());
        EXPECT_THAT(r.errors[0], HasSubstr(c.message));
    }
}

TEST(ForeignPicks, APhaseWithoutAnEventHasNoTime) {
    const Read r = read(kHypoDd + "A 1 1 P\n# 2016 13 1 0 0 0 0 0 0 0 0 0 0 0\nB 1 1 P\n" +
                        kHypoDd + "C 1 1 P\n");
    EXPECT_EQ(r.picks.size(), 2u);
    ASSERT_EQ(r.errors.size(), 2u);
    EXPECT_EQ(r.errors[1], "picks:4: a phase without an event in front");
}

TEST(ForeignPicks, AnEventWhosePlaceMakesNoSenseIsSaidOnceAndItsPhasesAreRead) {
    LogCapture log;
    const std::string event = "2016 9 1 0 29.2935 35.19117W27.73 5.000.00\n";
    const std::string phase = "B921 PB  HHZ IP 02016 9 1 0 2 9.32        0.00   0\n";
    const Read r = read(event + phase + event + phase);
    EXPECT_EQ(r.picks.size(), 2u);
    EXPECT_THAT(log.text(), HasSubstr("picks:1: an event whose columns are shifted"));
    EXPECT_EQ(log.text().find("picks:3"), std::string::npos);
}

// A folder of files, its own or dated ones in it, comes out by time whatever the files' names.
TEST(ForeignPicks, AFolderIsReadDayByDay) {
    namespace fs = std::filesystem;
    const fs::path root = fs::temp_directory_path() / ("velorix_" + std::to_string(getpid()));
    const auto put = [&](const char* name, const std::string& text) {
        fs::create_directories((root / name).parent_path());
        std::ofstream(root / name) << text;
    };
    put("20161015/IV.A.P.txt", "5 1 0\n");
    put("20161014/IV.A.P.txt", "9 1 0\n3 1 0\n");
    put("20161014/IV.B.S.txt", "4 1 0\nx 1 0\n");
    put("20161014/notes.txt", "nothing\n");
    std::string error;
    const auto reader = open_picks(root.string() + "/", error);
    ASSERT_TRUE(reader) << error;
    const Read r = read_all(*reader);
    EXPECT_THAT(r.picks, ElementsAreArray({"IV.A.. P 2016-10-14T00:00:03.000Z 1",
                                           "IV.B.. S 2016-10-14T00:00:04.000Z 1",
                                           "IV.A.. P 2016-10-14T00:00:09.000Z 1",
                                           "IV.A.. P 2016-10-15T00:00:05.000Z 1"}));
    ASSERT_EQ(r.errors.size(), 1u);
    EXPECT_THAT(r.errors[0],
                HasSubstr("20161014/IV.B.S.txt:2: time 'x' is not a number (column 1)"));
    fs::remove_all(root);
    fs::create_directories(root);
    EXPECT_FALSE(open_picks(root.string(), error));
    EXPECT_THAT(error, HasSubstr(": a folder without NET.STA.P.txt"));
    fs::remove_all(root);
}

}  // namespace
}  // namespace velorix::assoc
