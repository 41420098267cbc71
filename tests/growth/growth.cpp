// What readers cost as their files grow: processor time and memory of one read, a process for each.
// Usage: growth ROWS...   each ten times the one before
// Prints a table; status 1 when ten times the rows take much more than ten times the time.
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "setupgrid/coords_file.h"
#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/temp_file.h"
#include "support/tiny_grid.h"
#include "velorixassoc.h"

namespace {

using namespace velorix_test;

// n log n gives 12 to 13; what caches and a busy machine add stays below twice that.
constexpr double kMostGrowth = 25.0;
// Shorter reads than this are not compared: they are mostly the start of the process.
constexpr double kLeastSeconds = 0.005;

/// Writes the rows of a file one by one.
using Line = std::function<std::string(long)>;

std::string lines(const TempFolder& folder, const char* name, long rows, const Line& line) {
    std::ofstream out(folder.path(name));
    for (long i = 0; i < rows; ++i) out << line(i);
    if (!out.flush()) std::exit(2);
    return folder.path(name);
}

std::string code(long i) { return "S" + std::to_string(i); }

std::string fdsn(const std::string& net, const std::string& sta, const char* lat, long year) {
    return net + "|" + sta + "|" + lat + "|-110.0|0|Some place, somewhere|" + std::to_string(year) +
           "-01-01T00:00:00|\n";
}

std::string css(long i, const char* lat) {
    char text[128];
    std::snprintf(text, sizeof text, "%-6.6s  2000001       -1 %s -110.0000    0.0000\n",
                  ("S" + std::to_string(i % 100000)).c_str(), lat);
    return text;
}

std::string sqlite(const TempFolder& folder, long rows, const char* values) {
    sqlite3* database = nullptr;
    if (sqlite3_open(folder.path("net.db").c_str(), &database) != SQLITE_OK) std::exit(2);
    const std::string statement =
        "PRAGMA synchronous = OFF; CREATE TABLE site (sta, ondate, offdate, lat, lon, elev, wide);"
        "INSERT INTO site SELECT " +
        std::string(values) +
        ", 'some place, somewhere' FROM (WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 "
        "FROM c LIMIT " +
        std::to_string(rows) + ") SELECT x FROM c); CREATE INDEX i ON site(sta)";
    if (sqlite3_exec(database, statement.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        std::exit(2);
    sqlite3_close(database);
    return folder.path("net.db");
}

void read_stations(const std::string& database) {
    const GridPtr grid = new_grid();
    const auto pf = parameters("time = 'all'");
    velorix_setup_stations(grid.get(), database.c_str(), pf.get());
}

void read_points(const std::string& file) {
    Coords* coords = nullptr;
    read_coords(file.c_str(), &coords, 0.0);
    coords_free(coords);
}

void read_picks(const std::string& file) {
    using namespace velorix::assoc;
    PickStream stream;
    PickStreamOptions options;
    options.paths = {file};
    options.skip_bad = true;
    Pick pick;
    if (stream.open(options)) {
        while (stream.next(pick) == PickStream::Next::pick) {
        }
    }
    if (stream.counts().read + stream.counts().bad < 10) std::exit(3);
}

/// From the file through the associator, which finds nothing in them.
void associate_picks(const std::string& file) {
    using namespace velorix::assoc;
    std::vector<Station> stations;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            stations.push_back(
                make_station(std::to_string(4 * row + column), 0.1 * row, 0.1 * column));
        }
    }
    TinyGrid tiny(stations);
    tiny.grid.ttsize = tiny.grid.nn * tiny.grid.ns * 4;
    GridSet grids;
    PickStream stream;
    PickStreamOptions options;
    options.paths = {file};
    if (!grids.add(&tiny.grid, Parameters(), 1) || !stream.open(options)) std::exit(3);
    Associator associator(grids, StreamRules(), {}, true);
    for (Pick pick; stream.next(pick) == PickStream::Next::pick;) {
        if (associator.add(std::move(pick)) == Added::failed) std::exit(3);
    }
    if (!associator.finish()) std::exit(3);
}

std::string csv_head(long i) { return i == 0 ? "station,channel,phase,time\n" : ""; }

std::string csv(long i, const std::string& time) {
    return csv_head(i) + std::to_string(i % 16) + ",C" + std::to_string(i / 16) + ",P," + time +
           "\n";
}

std::string arrival(long i) {
    char text[256];
    std::snprintf(text, sizeof text,
                  "%-6ld %17.5f %8ld  2016288       -1       -1 EHZ      P        -\n", i % 16,
                  1e9 + 3.0 * static_cast<double>(i), i % 99999999);
    return text;
}

std::string quakeml(const TempFolder& folder, long rows, const char* pick) {
    std::ofstream out(folder.path("picks.xml"));
    out << "<q:quakeml xmlns:q='q'><eventParameters>\n";
    for (long i = 0; i < rows; ++i) out << pick;
    out << "</eventParameters></q:quakeml>\n";
    if (!out.flush()) std::exit(2);
    return folder.path("picks.xml");
}

struct Case {
    const char* name;
    std::function<std::string(const TempFolder&, long)> write;
    void (*read)(const std::string&);
};

const Case kCases[] = {
    {"FDSN text",
     [](const TempFolder& f, long n) {
         return lines(f, "net.txt", n, [](long i) { return fdsn("XX", code(i), "40.0", 2000); });
     },
     read_stations},
    {"FDSN text, every code in two networks",
     [](const TempFolder& f, long n) {
         return lines(f, "net.txt", n,
                      [](long i) { return fdsn(i % 2 ? "XX" : "YY", code(i / 2), "40.0", 2000); });
     },
     read_stations},
    {"FDSN text, one station that moves on one day",
     [](const TempFolder& f, long n) {
         return lines(f, "net.txt", n,
                      [](long i) { return fdsn("XX", "S", i % 2 ? "40.0" : "41.0", 2000); });
     },
     read_stations},
    {"FDSN text, no position can be one",
     [](const TempFolder& f, long n) {
         return lines(f, "net.txt", n, [](long i) { return fdsn("XX", code(i), "95.0", 2000); });
     },
     read_stations},
    {"CSS3.0",
     [](const TempFolder& f, long n) {
         return lines(f, "net.site", n, [](long i) { return css(i, "  40.0000"); });
     },
     read_stations},
    {"CSS3.0, no position can be one",
     [](const TempFolder& f, long n) {
         return lines(f, "net.site", n, [](long i) { return css(i, "  95.0000"); });
     },
     read_stations},
    {"SQLite",
     [](const TempFolder& f, long n) { return sqlite(f, n, "'S' || x, -1, -1, 40.0, 1.5, 0.1"); },
     read_stations},
    {"SQLite, no position can be one",
     [](const TempFolder& f, long n) { return sqlite(f, n, "'S' || x, -1, 5, NULL, 1.5, 0.1"); },
     read_stations},
    {"coordinates",
     [](const TempFolder& f, long n) {
         return lines(f, "points", n,
                      [](long i) { return "40.5 " + std::to_string(i % 180) + " 10.0\n"; });
     },
     read_points},
    {"coordinates, no line is a point",
     [](const TempFolder& f, long n) {
         return lines(f, "points", n, [](long) { return "no numbers here\n"; });
     },
     read_points},
    {"picks, CSV",
     [](const TempFolder& f, long n) {
         return lines(f, "picks", n, [](long i) { return csv(i, std::to_string(3 * i)); });
     },
     read_picks},
    {"picks, CSV, no line is a pick",
     [](const TempFolder& f, long n) {
         return lines(f, "picks", n, [](long i) { return csv(i, "noon"); });
     },
     read_picks},
    {"picks, CSS3.0", [](const TempFolder& f, long n) { return lines(f, "picks", n, arrival); },
     read_picks},
    {"picks, CSS3.0, no line but one is a pick",
     [](const TempFolder& f, long n) {
         return lines(f, "picks", n,
                      [](long i) { return i ? std::string("no arrival\n") : arrival(i); });
     },
     read_picks},
    {"picks, QuakeML, all at one time",
     [](const TempFolder& f, long n) {
         return quakeml(f, n,
                        "<pick publicID='a'><time><value>2016-10-14T00:00:10Z</value></time>"
                        "<waveformID stationCode='A'/></pick>\n");
     },
     read_picks},
    {"picks, QuakeML, none is a pick",
     [](const TempFolder& f, long n) { return quakeml(f, n, "<pick><time/></pick>\n"); },
     read_picks},
    {"picks, TOML",
     [](const TempFolder& f, long n) {
         // A TOML file has an upper bound, which more than 300,000 picks reach.
         const long fit = std::min<long>(n, 300000);
         return lines(f, "picks", fit, [fit](long i) {
             return (i == 0 ? "arrivals = [\n" : "") + ("\"A BHZ P " + std::to_string(i)) +
                    " 2\",\n" + (i + 1 == fit ? "]\n" : "");
         });
     },
     read_picks},
    {"picks through the associator",
     [](const TempFolder& f, long n) {
         return lines(f, "picks", n, [](long i) { return csv(i, std::to_string(3 * i)); });
     },
     associate_picks},
    {"picks through the associator, all at one time",
     [](const TempFolder& f, long n) {
         return lines(f, "picks", n, [](long i) { return csv(i, "1000"); });
     },
     associate_picks},
};

struct Cost {
    double seconds;
    double megabytes;  // most in memory
};

// In a process of its own, which starts with what this one has: little.
Cost cost_of(const Case& c, long rows) {
    const TempFolder folder;
    const std::string file = c.write(folder, rows);
    const pid_t child = fork();
    if (child == 0) {
        const LogCapture log;
        c.read(file);
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) std::exit(2);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / 1024.0};
}

bool run(int argc, char** argv) {
    bool good = true;
    std::printf("%-46s", "processor seconds (most MB in memory)");
    for (int i = 1; i < argc; ++i) std::printf(" %14s rows", argv[i]);
    std::printf("\n");
    for (const Case& c : kCases) {
        std::printf("%-46s", c.name);
        Cost before{};
        for (int i = 1; i < argc; ++i) {
            const Cost cost = cost_of(c, std::atol(argv[i]));
            const bool grows = i > 1 && before.seconds > kLeastSeconds &&
                               cost.seconds > kMostGrowth * before.seconds;
            std::printf(" %8.3f (%6.1f)%s", cost.seconds, cost.megabytes, grows ? " !" : "  ");
            good = good && !grows;
            before = cost;
        }
        std::printf("\n");
    }
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "growth: %s\n", error.what());
        return 2;
    }
}
