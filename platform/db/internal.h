#ifndef VELORIX_PLATFORM_DB_INTERNAL_H
#define VELORIX_PLATFORM_DB_INTERNAL_H
// What the readers of the three kinds of database share.
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/db/schema.h"

namespace velorix::db {

/// A coordinate that its file does not give.
inline constexpr double kNull = std::numeric_limits<double>::quiet_NaN();

/// A row of `site` as its file has it: what its values mean is checked when a position is asked
/// for, so that a row that nobody chooses does no harm.
struct Site {
    std::string sta;
    long ondate = -1;    // year x 1000 + day of year; -1 unknown
    long offdate = -1;   // -1 open
    double lat = 0.0;    // degrees
    double lon = 0.0;    // degrees
    double elev = 0.0;   // km above sea level
    size_t line = 0;     // in the file; SQLite: row in table order
    std::string net{};   // of an FDSN text alone: the network, and the code
    std::string code{};  // that `sta` is made of
};

/// A row of `affiliation`: a station belongs to a network.
struct Affiliation {
    std::string net;
    std::string sta;
};

struct Tables {
    std::string site_file;
    std::vector<Site> site;
    std::vector<Affiliation> affiliation;
};

enum class Format { css, sqlite, fdsn, xml, csv, json, gtsrce };

/// A database that has been recognised: what it is and where.
struct Place {
    Format format;
    std::string path;  // the file; for CSS3.0 the common prefix of its files
};

/// What a name stands for; logs a line and returns nothing when it stands for nothing known.
std::optional<Place> recognise(const std::string& name);

/// Whole text of a regular file; logs a line on failure.
std::optional<std::string> read_text(const std::string& path);

/// What became of a table: it is there, it is not, or one of its rows cannot be read.
enum class Read { good, absent, malformed };

// Each reader fills the table that it is asked for; anything but `good` comes after a logged line.
Read read_css(const std::string& prefix, std::string_view table, Tables& tables);
Read read_css(const std::string& prefix, const Schema& schema, Rows& rows);
Read read_sqlite(const std::string& path, std::string_view table, Tables& tables);
Read read_sqlite(const std::string& path, const Schema& schema, Rows& rows);
// Files of epochs of stations: no tables yet, but what they are made of.
Read read_fdsn(const std::string& path, std::vector<Site>& epochs);
Read read_station_xml(const std::string& path, std::vector<Site>& epochs);
Read read_station_csv(const std::string& path, std::vector<Site>& epochs);
Read read_station_json(const std::string& path, std::vector<Site>& epochs);
Read read_gtsrce(const std::string& path, std::vector<Site>& epochs);

/// Whether a line is the header of a CSV file of stations, or says that it is a NonLinLoc source.
bool is_station_header(std::string_view line);
bool is_gtsrce(std::string_view line);

/// Where a row stands, for messages: "file:line".
struct RowPlace {
    const std::string& file;
    size_t line;
};
/// Logs "dblookup: file:line: what" and returns false.
bool malformed(const RowPlace& at, const std::string& what);
/// A coordinate of a text; an empty one is null. False after a logged line, which ends in `column`.
bool parse_coordinate(std::string_view text, const char* name, const RowPlace& at, double& value,
                      const std::string& column = "");
/// Day number of a time; an empty time and one of the year 2100 or later are open (-1).
bool parse_day(std::string_view text, const char* name, const RowPlace& at, long& day,
               const std::string& column = "");
/// What is wrong with a network's and a station's code; empty when nothing.
std::string fault_of_codes(const std::string& net, const std::string& sta);
/// Adds a row whose codes can be codes; else logs and returns false.
bool add(Tables& tables, Site&& row, const RowPlace& at);
bool add(Tables& tables, Affiliation&& row, const RowPlace& at);
/// What keeps a row from being a station: a null, or a value out of its range; empty when nothing.
std::string fault_of(const Site& row);
/// One line about rows whose first or last day is none.
void complain_of_days(const Tables& tables);

/// Logs and returns false when a line holds what no text table does: a NUL, or a carriage return
/// within, which is a file whose rows have become one line.
bool is_text(std::string_view line, const RowPlace& at);

std::string_view trimmed(std::string_view text);
std::string lower_case(std::string_view text);
/// " (column 12)": where a piece of a line begins, counted from 1 in bytes.
std::string at_column(std::string_view line, std::string_view piece);
/// Words between blanks; views into the line.
std::vector<std::string_view> words_of(std::string_view line);
/// Splits NET.STA.LOC.CHA, NET.STA or NET_STA; a bare code is a station without a network.
void take_codes(std::string_view text, Site& epoch);
/// Whole-text numbers, independent of the locale.
std::optional<double> to_double(std::string_view text);
std::optional<long> to_long(std::string_view text);

/// Hands over the lines of a text one by one, without line ends; blank lines are passed over.
class Lines {
  public:
    explicit Lines(std::string_view text) : rest_(text) {}
    /// False at the end. `number` counts every line of the text from 1.
    bool next(std::string_view& line);
    size_t number() const { return number_; }

  private:
    std::string_view rest_;
    size_t number_ = 0;
};

}  // namespace velorix::db

#endif
