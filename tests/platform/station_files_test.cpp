// Station files of other programs: units, signs and order of each, odd cases, and what is refused.
#include <gmock/gmock.h>

#include "db_files.h"
#include "support/log_capture.h"
#include "support/temp_file.h"

namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using velorix_test::LogCapture;
using velorix_test::rows_of;
using velorix_test::TempFile;

struct Read {
    std::vector<std::string> rows;  // "STA ONDATE OFFDATE LAT LON KM"
    std::string log;
};

Read read(const std::string& text) {
    const TempFile file(text, "net");
    const LogCapture log;
    Read out;
    for (const auto& row : rows_of(file.path())) {
        char line[128];
        snprintf(line, sizeof line, "%s %ld %ld %g %g %g", row.sta.c_str(), row.ondate, row.offdate,
                 row.lat, row.lon, row.elev);
        out.rows.emplace_back(line);
    }
    out.log = log.text();
    return out;
}

std::string xml(const std::string& inside, const std::string& prefix = "") {
    const std::string space =
        (prefix.empty() ? "xmlns" : "xmlns:" + prefix.substr(0, prefix.size() - 1)) +
        "=\"http://www.fdsn.org/xml/station/1\"";
    return "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<" + prefix + "FDSNStationXML " +
           space + " schemaVersion=\"1.1\">\n" + inside + "</" + prefix + "FDSNStationXML>\n";
}

const std::string kPlace =
    "<Latitude unit=\"DEGREES\">\n 42.5 </Latitude><Longitude>13.25</Longitude>"
    "<Elevation>1820</Elevation><Site><Name>\xD8ster</Name><Latitude>1</Latitude></Site>\n";
// The sensor stands in a borehole, and has moved; another channel has no place of its own.
const std::string kChannels =
    "<Channel code='HHZ' locationCode='  ' startDate='2010-01-01T00:00:00' "
    "endDate='2012-06-30T23:59:59.5Z'><Latitude>42.5</Latitude><Longitude>13.25</Longitude>"
    "<Elevation>1759</Elevation><Depth>57</Depth><Response><Stage><Latitude>7</Latitude></Stage>"
    "</Response></Channel>"
    "<Channel code='HHZ' locationCode='' startDate='2012-07-01' endDate='2500-12-12T23:59:59'>"
    "<Latitude>42.501</Latitude><Longitude>13.25</Longitude><Elevation>-3180</Elevation></"
    "Channel>\n";

TEST(StationFiles, AreReadInTheirUnitsSignsAndOrder) {
    const struct {
        const char* name;
        std::string text;
        std::vector<std::string> rows;
    } cases[] = {
        {"StationLevel",
         xml("<Network code='IV'><Description/><Station code='ARRO' startDate='2010-03-01'>" +
             kPlace + "</Station></Network>"),
         {"ARRO 2010060 -1 42.5 13.25 1.82"}},
        {"PrefixedNamespaceAndTwoNetworks",
         xml("<a:Network code='IV'><a:Station code='A'><a:Latitude>1</a:Latitude><a:Longitude>2"
             "</a:Longitude><a:Elevation>3</a:Elevation></a:Station></a:Network><a:Network "
             "code='XX'>"
             "<a:Station code='A'><a:Latitude>-1</a:Latitude><a:Longitude>2</a:Longitude>"
             "<a:Elevation>3</a:Elevation></a:Station></a:Network>",
             "a:"),
         {"IV_A -1 -1 1 2 0.003", "XX_A -1 -1 -1 2 0.003"}},
        {"ChannelLevel",
         xml("<Network code='IV'><Station code='ARRO' startDate='2009-01-01'>" + kPlace +
             kChannels + "</Station></Network>"),
         {"ARRO 2010001 2012182 42.5 13.25 1.759", "ARRO 2012183 -1 42.501 13.25 -3.18"}},
        {"ChannelWithoutPosition",
         xml("<Network code='IV'><Station code='ARRO' startDate='2009-01-01'>" + kPlace +
             "<Channel code='HHZ' locationCode=''><Depth>0</Depth></Channel></Station></Network>"),
         {"ARRO 2009001 -1 42.5 13.25 1.82"}},
        {"CsvALineAChannel",
         "network,station,channel,latitude,longitude,elevation\nCI,CCC,HHZ,35.5,-117.25,670\n"
         "CI,CCC,HHE,35.5,-117.25,670\n\nGS,CA01,HHZ,35.75,-117.5,570.4\n",
         {"CCC -1 -1 35.5 -117.25 0.67", "CA01 -1 -1 35.75 -117.5 0.5704"}},
        {"LongitudeFirstBehindTabs",
         "station\tx(km)\tlongitude\tlatitude\televation(m)\tcomponent\n"
         "CI.CCC..BH\t5\t-117.25\t35.5\t670.000\tE,N,Z\nCI.CCC..HH\t5\t-117.25\t35.5\t670.000\tE,N,"
         "Z\n",
         {"CCC -1 -1 35.5 -117.25 0.67"}},
        {"TraceCodesAndABorehole",
         "\xEF\xBB\xBFid,channel_code,lat,lng,elv\r\r\nFR.SZBH.02,HH,48.5,7.5,-100.0\r\r\n",
         {"SZBH -1 -1 48.5 7.5 -0.1"}},
        {"SpreadsheetWithKm",
         "# ours\nCode;Elevation_km;Lat;Lon;Start\n\"A\";0,464;42,5;13,25;2010-03-01\n",
         {"A 2010060 -1 42.5 13.25 0.464"}},
        {"StationListJson",
         "{\"CA06\": {\"network\": \"GS\", \"channels\": [\"HHZ\"], \"coords\": [35.5, -117.25, "
         "796.4]}}",
         {"CA06 -1 -1 35.5 -117.25 0.7964"}},
        {"StationsJson",
         "{\n\"CI.CCC..BH\": {\"longitude\": -117.25, \"latitude\": 35.5, \"elevation_m\": 670}}",
         {"CCC -1 -1 35.5 -117.25 0.67"}},
        // The second of one label does not count; the sensor is 0.5 km below 1.52 km.
        {"Gtsrce",
         "# a comment\nGTSRCE PAH LATLON 39.5 -119.25 0.500 1.520\nGTSRCE PAH LATLON 1 1 0 0\n"
         "LOCSRCE IV_RONE LATLONDM 43 30 S 7 45.0 W 0.0 0.300\n"
         "GTSRCE SBF\tLATLONDS 43 30 36 N 7 0 0 E 0.0 0.847\n",
         {"PAH -1 -1 39.5 -119.25 1.02", "RONE -1 -1 -43.5 -7.75 0.3", "SBF -1 -1 43.51 7 0.847"}},
        {"ControlFile",
         "CONTROL 1 54321\nTRANS NONE\nGTSRCE A LATLON 1 2 0 0\n",
         {"A -1 -1 1 2 0"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Read r = read(c.text);
        EXPECT_EQ(r.log, "");
        EXPECT_THAT(r.rows, ElementsAreArray(c.rows));
    }
}

TEST(StationFiles, FaultsNameFileLineAndColumn) {
    const std::string csv = "station,latitude,longitude,elevation\n";
    const struct {
        std::string text;
        const char* message;
    } cases[] = {
        {xml("<Network code='IV'>\n<Station code='A'><Latitude>x</Latitude></Station></Network>"),
         "net:4: Latitude 'x' is not a number"},
        {xml("<Network code='IV'>\n<Station code='A' startDate='now'/></Network>"),
         "net:4: startDate 'now' is not a time"},
        {xml("<Network code='IV'><Station/></Network>"), "net:3: no station code"},
        {xml("<Network code='IV'>\n<Station code='A'>"), "net:4: "},
        {xml("<Network code='IV'/>"), "no station in it (of level network?)"},
        {"<html/>", "net:1: an XML document that is not StationXML, its root is 'html'"},
        {"<FDSNStationXML/>", "an XML document that is not StationXML"},
        {"<!DOCTYPE a [<!ENTITY a 'b'>]>" + xml("").substr(44), "a document type declaration"},
        {xml("<Network code='IV'><Station code='A'><Latitude>1</Latitude></Station></Network>"),
         "net:3: longitude is null"},
        {csv + "A,42.5,x,1\n", "net:2: longitude 'x' is not a number (column 8)"},
        {csv + "A,42.5,13\n", "net:2: 3 of 4 fields"},
        {csv + "\"A,42.5,13,1\n", "net:2: a quote stays open"},
        {csv + ",42.5,13,1\n", "net:2: no station code (column 1)"},
        {csv + "A,-117.25,35.5,670\n",
         "net:2: latitude -117.25 is not between -90 and 90: latitude and longitude may have been "
         "exchanged"},
        {"station,latitude,longitude,elevation_km\nA,42.5,13,464\n",
         "net:2: elevation (km) 464 is not between -12 and 10: metres may have been taken for km"},
        {csv + "A,42.5,13,0.464\nB,42.5,14,1.283\nC,42,13,0.25\n",
         "every elevation is below 10 and taken as metres; call the column elevation_km"},
        {"{\"A\": {\n\"coords\": [1, 2, }}", "net:2: not JSON (column 18)"},
        {"{\"A\": {\"coords\": [1, 2]}}",
         "net:1: 'coords' is not [latitude, longitude, elevation]"},
        {"{\"A\": {\"coords\": [1, \"x\", 3]}}", "net:1: longitude is not a number"},
        {"{\"A\": {},\n\"B\": 1}", "net:1: neither 'coords' nor 'latitude'"},
        {"{\n\"B\": 1}", "net:2: station 'B' is not an object"},
        {"{}", "no station in it"},
        {"GTSRCE A LATLON 1 x 0 0\n", "net:1: longitude 'x' is not a number (column 19)"},
        {"GTSRCE A LATLON 1 2 0\n", "net:1: 6 words, LATLON has 7"},
        {"GTSRCE A LATLONDM 43 30 N 7 45 North 0 0\n", "net:1: 'North' is not E or W (column 32)"},
        {"GTSRCE A XYZ 1 2 0 0\n", "net:1: a position in km of a grid"},
        {"GTSRCE A HERE 1 2 0 0\n", "net:1: neither LATLON, LATLONDM nor LATLONDS"},
        {"CONTROL 1 2\n", "no GTSRCE or LOCSRCE in it"},
        {"CONTROL 1 2\nINCLUDE other\n", "net:2: INCLUDE is not followed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_THAT(read(c.text).log, HasSubstr(c.message));
    }
}

}  // namespace
