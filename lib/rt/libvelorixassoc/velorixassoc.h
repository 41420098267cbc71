#ifndef VELORIXASSOC_H
#define VELORIXASSOC_H
/** @file
 * From picks to events: reading picks, associating them on travel-time grids in one pass over their
 * stream, and writing catalogues. C++20; link velorix::velorixassoc (CMake) or the pkg-config
 * module `velorixassoc`.
 *
 * 1. Units: degrees for latitudes, longitudes (east positive), azimuths (clockwise from north) and
 *    arc distances; km for depths (positive down) and lengths; seconds, and epoch seconds (UTC) for
 *    times.
 * 2. Errors: a function that can fail says so in its result, after one line in the error log
 *    (platform/elog/elog.h, where a program can install a hook of its own), or hands the line to
 * its caller where the description says so. Only std::bad_alloc is thrown.
 * 3. Threads: one object belongs to one thread at a time. Objects of different grid sets do not
 *    share anything; a scan runs its own threads inside.
 * 4. Determinism: final events depend on the picks, the grids and the rules alone: not on the order
 *    in which picks arrive within the lateness, nor on the pace, nor on the number of threads.
 */
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "velorix.h"

namespace velorix::assoc {

// ---- Picks ----

/// What a source says about the phase of a pick.
enum class Label : unsigned char { unknown, p, s, other };

/// A pick as its source gives it.
struct Pick {
    double time = 0.0;      ///< epoch seconds
    std::string network;    ///< code; empty when unknown
    std::string station;    ///< code
    std::string location;   ///< code; empty when unknown
    std::string channel;    ///< code; empty when unknown
    std::string phase;      ///< as written; empty when unknown
    std::string id;         ///< the source's identifier; empty without one
    double quality = -1.0;  ///< signal-to-noise ratio, probability or weight; -1 unknown
    int64_t arid = -1;      ///< numeric identifier; -1 without one
    int64_t tag = -1;       ///< the caller's own; carried along, neither looked at nor written
};

/// P, S, unknown (no label, "?"), or something that a first-arrival grid does not carry (pP, LR).
Label label_of(const std::string& phase);

/// "NET.STA.LOC.CHA", for messages.
std::string full_name(const Pick& pick);

/// What PickReader::next met.
enum class ReadResult {
    pick,   ///< a pick
    end,    ///< the end of the file
    bad,    ///< a record that is no pick; reading can go on behind it
    failed  ///< the file cannot be read any further
};

/// One source of picks, read as it comes.
class PickReader {
  public:
    virtual ~PickReader() = default;
    /// The next pick. With `bad` and `failed`, `error` says file, line and what is wrong.
    virtual ReadResult next(Pick& pick, std::string& error) = 0;
    /// The kind of source, for reports: "CSV", "QuakeML", ...
    virtual const char* kind() const = 0;
};

/// What some kinds of pick file leave open: those that count samples or seconds from a start.
struct PickFileOptions {
    double sampling_rate = 0.0;  ///< of sample numbers, Hz; 0: not known
    std::optional<double>
        start{};  ///< of sample or second 0, epoch seconds, where a file says none
};

/**
 * Opens a file of picks. Its kind is found by looking at it: CSV with a header line, a CSS3.0
 * `arrival` table, QuakeML 1.2, TOML with a list `arrivals`, or a file of another program
 * (velorix-assoc(1) and docs/formats.md describe each).
 * Time and memory: lines and elements are read as they come; a TOML file is held whole, and of a
 * folder the picks of a day.
 * @param[in]  path    file, pipe or device; "-" is standard input; a folder of pick files
 * @param[out] error   says what is wrong when the result is null
 * @param[in]  options what the file leaves open
 */
std::unique_ptr<PickReader> open_picks(const std::string& path, std::string& error,
                                       const PickFileOptions& options = {});

/// The same from text in memory; `name` stands for the file in messages.
std::unique_ptr<PickReader> open_picks_in(std::string text, const std::string& name,
                                          std::string& error, const PickFileOptions& options = {});

/**
 * Picks that come line by line, from a service or a growing file: feed it what has arrived.
 * The first line tells the kind, which is one whose rows are lines: CSV with its header, CSS3.0
 * `arrival` rows, JSON lines ...
 */
class PickLines {
  public:
    /// @param name    of the source, for messages
    /// @param options what the lines leave open
    explicit PickLines(std::string name, const PickFileOptions& options = {});
    ~PickLines();
    /// Takes over what another has learned of the lines.
    PickLines(PickLines&&) noexcept;

    /**
     * Takes one line.
     * @param[in]  line  without its newline
     * @param[out] picks what the line held is appended: nothing for a header, a comment or a blank
     * @param[out] error says name, line and what is wrong
     * @return pick: taken; bad: the line is none; failed: no header that names the columns
     */
    ReadResult take(std::string_view line, std::vector<Pick>& picks, std::string& error);

    class State;  ///< the library's own

  private:
    std::unique_ptr<State> state_;
};

/// What PickStream reads, and how.
struct PickStreamOptions {
    std::vector<std::string> paths{};  ///< "-" is standard input
    std::set<std::string> sorted{};    ///< of them, those to hold whole and sort by time
    bool skip_bad = false;             ///< pass over records that are no picks
    double from = -std::numeric_limits<double>::infinity();  ///< earliest time, epoch seconds
    double to = std::numeric_limits<double>::infinity();     ///< latest time
    double lateness = 60.0;   ///< how far a file's picks may be out of order, s
    PickFileOptions files{};  ///< what files leave open
};

/// Picks of several files, each in order of time up to the lateness, as one such stream.
class PickStream {
  public:
    /// What next() met.
    enum class Next {
        pick,      ///< a pick
        end,       ///< the end of all files
        disorder,  ///< a file is further out of order than the lateness: disordered() names it
        failed     ///< after a logged line
    };

    /// Counts of what was read so far.
    struct Counts {
        long read = 0;                         ///< picks
        long bad = 0;                          ///< unreadable records passed over
        long outside = 0;                      ///< picks outside the span asked for
        long given = 0;                        ///< picks that next() has given
        long p = 0;                            ///< labelled P
        long s = 0;                            ///< labelled S
        long unlabelled = 0;                   ///< without a label
        long other = 0;                        ///< labelled as other phases
        double first = 0.0;                    ///< earliest time of the picks given, epoch seconds
        double last = 0.0;                     ///< latest
        std::map<std::string, long> stations;  ///< picks by "NET.STA"
    };

    PickStream();
    ~PickStream();
    /// Opens every file. False after a logged line.
    bool open(const PickStreamOptions& options);
    /// The next pick, by time as far as the files are in order.
    Next next(Pick& pick);
    /// Counts so far.
    const Counts& counts() const;
    /// Kinds of the files, "CSV, QuakeML".
    std::string kinds() const;
    /// The file that is out of order.
    const std::string& disordered() const;
    /// A line that says where.
    const std::string& disorder() const;

  private:
    class Merge;
    std::unique_ptr<Merge> merge_;
};

// ---- Rules ----

/// How the phase labels of the picks are taken.
enum class Labels : unsigned char {
    trust,     ///< P is P and S is S
    p_first,   ///< a P label may be an S; for pickers that call every onset P
    ignore,    ///< any pick may be either
    automatic  ///< p_first where the past holds many P labels and no S label, else trust
};

/// Which stations count as at work where it matters whether one has a pick.
enum class AtWork : unsigned char {
    learn,  ///< those with a pick in the past `history`
    all     ///< every station of the grid
};

/// Rules of a stream, whatever the grids.
struct StreamRules {
    Labels labels = Labels::automatic;  ///< key `phase_labels`
    AtWork at_work = AtWork::learn;     ///< key `stations_at_work`
    double history = 7200.0;            ///< span of the past that is learned from, s
    double lateness = 60.0;             ///< a pick may arrive so much behind later ones, s
    bool reuse_picks = false;           ///< picks of an event may join later ones too
};

class Parameters;
struct SearchGrid;

/// A parameter file's text; without one every parameter follows from the grids.
class Parameters {
  public:
    Parameters();
    ~Parameters();
    /// Takes over what another has read.
    Parameters(Parameters&&) noexcept;
    /// The same.
    Parameters& operator=(Parameters&&) noexcept;

    /// Reads a file, looked for as velorix.toml(5) says. False after a logged line.
    bool read(const std::string& name);
    /// Takes TOML text; `label` stands for the file in messages. False after a logged line.
    bool parse(const std::string& text, const std::string& label);
    /// The node of a grid in a table ("grids": the engine's, "events": the rules of an event).
    /// Null when there is none.
    Pf* section(const char* table, const std::string& grid) const;
    /// The whole; null when nothing was read.
    Pf* root() const { return root_; }

  private:
    Pf* root_ = nullptr;
};

/// Reads the rules at the top of a parameter file. False after a logged line.
bool read_stream_rules(const Parameters& parameters, StreamRules& rules);
/// The rules as TOML that read_stream_rules takes back.
std::string show_stream_rules(const StreamRules& rules);

// ---- Grids ----

/// The grids of a run, each with its rules.
class GridSet {
  public:
    GridSet();
    ~GridSet();
    /// Takes over another's grids.
    GridSet(GridSet&&) noexcept;

    /**
     * Loads every grid of some grid files.
     * @param[in] paths      grid files
     * @param[in] parameters rules that differ from what follows from the grids
     * @param[in] threads    of a scan, 1 .. VELORIX_MOST_THREADS
     * @return false after a logged line
     */
    bool load(const std::vector<std::string>& paths, const Parameters& parameters, int threads);
    /// Adds one grid, which stays the caller's and must outlive the set. False after a logged line.
    bool add(Velorix* grid, const Parameters& parameters, int threads);

    /// Number of grids.
    size_t size() const;
    /// A grid of the set.
    const Velorix& grid(size_t number) const;
    /// Names in the order of the files.
    std::vector<std::string> names() const;
    /// Complains of keys and grids of a parameter file that nobody reads.
    void complain_unknown(const Parameters& parameters) const;
    /// Rules in force of all grids, as TOML that a parameter file may hold.
    std::string show() const;
    /// Longest time from an origin to a pick, s.
    double longest_window() const;

    /// The set as the associator sees it.
    std::vector<SearchGrid>& search_grids();
    /// The same.
    const std::vector<SearchGrid>& search_grids() const;

  private:
    struct Owned;
    std::unique_ptr<Owned> owned_;
};

/// Sixteen hexadecimal digits that stand for all rules in force.
std::string rules_digest(const GridSet& grids, const StreamRules& rules);

// ---- Events ----

/// A place.
struct Position {
    double lat = 0.0;    ///< degrees
    double lon = 0.0;    ///< degrees
    double depth = 0.0;  ///< km
};

/// A pick as part of an event.
struct EventPick {
    Pick pick;              ///< as its source gives it
    char phase = 'P';       ///< as associated: 'P' or 'S'
    bool defining = false;  ///< took part in the location; else only associated
    double residual = 0.0;  ///< s, observed minus predicted
    double delta = 0.0;     ///< distance of the station, degrees
    double esaz = 0.0;      ///< event to station, degrees, 0 .. 360
    double seaz = 0.0;      ///< station to event
    double weight = 0.0;    ///< in the location, 1: the largest
};

/// Why a pick is not in an event.
enum class Reason : unsigned char {
    accepted,      ///< it is
    no_time,       ///< the grid has no time for its phase there
    beyond_limit,  ///< its residual is
    label,         ///< it is labelled as something else
    sifted,        ///< a sifter keeps it out
    better_pick,   ///< another pick of the station fits better
    out_of_order,  ///< an S before the P of the station
    other_event    ///< it belongs to another event
};

/// A pick that could have belonged to an event and does not.
struct LeftOut {
    Pick pick;                             ///< as its source gives it
    char phase = 'P';                      ///< that it would have been
    double residual = 0.0;                 ///< s
    double limit = 0.0;                    ///< largest |residual| of the phase at the station, s
    Reason reason = Reason::beyond_limit;  ///< never `accepted`
};

/// "residual beyond 0.43 s", "labelled 'S'" ...
std::string reason_text(const LeftOut& left);
/// "beyond_limit" ..., for machines.
const char* reason_name(Reason reason);

/// One standard deviation each, with the covariance they come from.
struct Uncertainty {
    double time = 0.0;             ///< s
    double depth = 0.0;            ///< km
    double major = 0.0;            ///< km, half axis of the horizontal ellipse
    double minor = 0.0;            ///< km, the other one
    double strike = 0.0;           ///< degrees from north of the major axis
    double east = 0.0;             ///< km
    double north = 0.0;            ///< km
    double covariance[4][4] = {};  ///< east, north, depth (km), time (s)
};

/// An earthquake as its picks tell.
struct Event {
    std::string id;                 ///< follows from the final event alone; empty before
    double time = 0.0;              ///< origin time, epoch seconds
    double lat = 0.0;               ///< degrees
    double lon = 0.0;               ///< degrees
    double depth = 0.0;             ///< km
    std::string grid;               ///< that placed it
    std::string model;              ///< earth model of the grid
    int p = 0;                      ///< associated P picks
    int s = 0;                      ///< associated S picks
    int defining = 0;               ///< picks in the location
    int stations = 0;               ///< stations with an associated pick
    double scatter = 0.0;           ///< standard deviation of the residuals, s
    double scatter_weighted = 0.0;  ///< s
    double gap = 360.0;             ///< largest azimuth without a station, degrees
    double nearest = 0.0;           ///< distance of the nearest station, degrees
    double farthest = 0.0;          ///< of the farthest
    double median = 0.0;            ///< of the median one
    double score = 0.0;             ///< of the last scan's best node
    double coverage = 0.0;          ///< share of near stations that recorded the event
    bool on_edge = false;           ///< of the mesh, horizontally
    bool fixed_depth = false;       ///< the grid has one depth
    Uncertainty error;              ///< one standard deviation
    std::vector<EventPick> picks;   ///< by station distance, P before S
    std::vector<LeftOut> left_out;  ///< picks near predicted times that are not in it, and why
};

/// What an event lacks.
enum class Lack : unsigned char {
    nothing,               ///< it passes
    picks_in_window,       ///< too few picks around the candidate
    cluster,               ///< none go back to one time at any node
    p_picks,               ///< defining P picks
    s_picks,               ///< defining S picks
    picks,                 ///< defining picks
    stations,              ///< with a defining pick
    stations_by_distance,  ///< no entry of nsta_thresh is met
    priority,              ///< inside a grid of higher priority
    edge,                  ///< on the edge of its grid
    other_grid,            ///< inside a grid of drop_if_in_grid
    scatter,               ///< of the residuals is too large
    coverage,              ///< near stations have no pick
    twin,                  ///< the same as another event
    echo,                  ///< of a larger event
    gone                   ///< announced early, and not among the final events
};

/// Whether an event passes the rules, and what it lacks otherwise.
struct Verdict {
    Lack lack = Lack::nothing;  ///< what is lacking
    double have = 0.0;          ///< of it: a count, seconds, or a share
    double need = 0.0;          ///< the least (scatter: the most) of it
    double other_time = 0.0;    ///< origin time of the twin or the larger event
    std::string other_grid{};   ///< the grid that contains it
    /// Nothing lacks.
    bool passes() const { return lack == Lack::nothing; }
};

/// "too few P picks: 2 of 3" ...
std::string verdict_text(const Verdict& verdict);
/// The same without figures, for counts: "too few P picks".
const char* lack_text(Lack lack);
/// "p_picks" ..., for machines.
const char* lack_name(Lack lack);

/// A place and time that was looked at and gave no event.
struct Refusal {
    double time = 0.0;     ///< origin time, epoch seconds
    std::string grid;      ///< that came nearest
    Position best;         ///< where
    double score = 0.0;    ///< of the best node
    int p = 0;             ///< P picks that were associated
    int s = 0;             ///< S picks
    int stations = 0;      ///< their stations
    Verdict verdict;       ///< what lacks
    bool scanned = false;  ///< there is a best node
};

/// What a report says about its event.
enum class Kind : unsigned char {
    announced,  ///< "new": picks that pass the rules are there
    revised,    ///< more picks have changed it
    final,      ///< nothing that arrives in time can change it any more
    withdrawn   ///< it was announced and does not hold
};

/// "new", "revised", "final" or "withdrawn".
const char* kind_name(Kind kind);

/// An event at one moment.
struct Report {
    Kind kind = Kind::final;  ///< what is said of the event
    /// Counts the reports of a track from 1; final ones from kFinalVersion.
    int version = 0;
    /// Given at the first announcement and kept; empty in a run that announces nothing early.
    std::string track;
    Event event;      ///< as it stands
    Verdict verdict;  ///< what a withdrawn event lacks
};

/// Final reports begin here, so that they come behind any preliminary one and do not depend on the
/// number of those.
inline constexpr int kFinalVersion = 1000;

// ---- The associator ----

/// What became of the picks of a stream; each is counted once when it is done with.
struct PickFates {
    long taken_in = 0;      ///< handed over
    long duplicates = 0;    ///< repeated another in time, station, channel and phase
    long late = 0;          ///< arrived behind the lateness
    long unknown = 0;       ///< at stations that are in no grid
    long other_phases = 0;  ///< of phases that no grid carries, or kept out by sifters
    long in_events = 0;     ///< members of final events
    long in_no_event = 0;   ///< decided, and free
    long waiting = 0;       ///< not yet decided
    /// All of them: taken_in, when nothing is lost.
    long done() const {
        return duplicates + late + unknown + other_phases + in_events + in_no_event + waiting;
    }
};

/// What Associator::add did with a pick.
enum class Added {
    taken,      ///< held, or of a station in no grid
    duplicate,  ///< the same pick is there already
    late,       ///< behind the lateness: not used
    failed      ///< after a logged line
};

/// Who is told what the associator finds; unset functions are not called.
struct Listener {
    /// Events, as they form and when they are final; final ones come in order of origin time.
    std::function<void(const Report&)> on_report;
    /// Candidates that came to nothing.
    std::function<void(const Refusal&)> on_refusal;
};

/**
 * Takes picks as they come and finds events.
 *
 * Final events: votes of a sparse subset of nodes say where in time an event may have happened. The
 * candidate with most votes among all within two windows of it goes first: every grid is scanned
 * with the picks that an event there could have, the best result that passes the rules is located
 * between the nodes and takes its picks, and the votes are counted again. A candidate is decided
 * only when the picks of two windows behind it are known, so that neither the place where a stream
 * starts nor the pace at which picks arrive matters.
 *
 * With `announce`, an event is told of as soon as the picks that are there pass the rules, stations
 * whose waves cannot have arrived yet left aside, and again when more picks change it.
 *
 * Memory: the picks of the longer of the windows and the past that is learned from.
 */
class Associator {
  public:
    /**
     * @param grids    must outlive the associator; no other one may use them at the same time
     * @param rules    of the stream
     * @param listener who is told
     * @param announce events as they form, too
     */
    Associator(GridSet& grids, const StreamRules& rules, Listener listener, bool announce = false);
    ~Associator();

    /// Takes one pick. The newest pick's time is the least that the clock shows.
    Added add(Pick pick);
    /// The time now, epoch seconds: later picks do not lie more than the lateness before it. A time
    /// before an earlier one is ignored. False after a logged line.
    bool advance_clock(double time);
    /// The stream has ended: everything is decided. False after a logged line.
    bool finish();

    /// What became of the picks so far.
    const PickFates& fates() const;
    /// Candidates that came to nothing, by what they lack.
    const std::map<Lack, long>& refusals() const;
    /// Picks at stations that are in no grid, by "NET.STA".
    const std::map<std::string, long>& strangers() const;
    /// Scans of a grid so far.
    long scans() const;
    /// Most picks held at one time.
    long most_waiting() const;
    /// Labels as they are taken at the moment (never automatic).
    Labels labels() const;

  private:
    class Core;
    std::unique_ptr<Core> core_;
};

// ---- Catalogues ----

/// One JSON document on one line, as docs/event.schema.json describes it, without a newline.
std::string event_document(const Report& report, const std::string& digest);

/// Formats of a catalogue.
enum class Format : unsigned char { text, csv, json, quakeml, css, html };

/// The format of a name ("text", "csv", ...); nothing when there is none.
std::optional<Format> format_of(const std::string& name);

/// A place for text.
class Sink {
  public:
    virtual ~Sink() = default;
    /// False when it could not be written.
    virtual bool write(std::string_view text) = 0;
};

/// A sink in memory.
class TextSink : public Sink {
  public:
    bool write(std::string_view piece) override {
        text += piece;
        return true;
    }
    std::string text;  ///< so far
};

/// A catalogue being written, event by event in order of time.
class CatalogueWriter {
  public:
    virtual ~CatalogueWriter() = default;
    /// What tells the format's documents apart: "" for a single one; for CSV also "_picks"; for
    /// CSS3.0 ".event", ".origin" ...
    virtual const std::vector<std::string>& suffixes() const = 0;
    /// What comes before the events. One sink a suffix; false when a sink fails, as below.
    virtual bool begin(const std::vector<Sink*>& sinks) = 0;
    /// The next event.
    virtual bool add(const Event& event, const std::vector<Sink*>& sinks) = 0;
    /// What comes behind them.
    virtual bool end(const std::vector<Sink*>& sinks) = 0;
};

/// A writer of a format.
/// @param[in] format of the catalogue
/// @param[in] digest of the rules, for formats that carry it
std::unique_ptr<CatalogueWriter> make_catalogue_writer(Format format, const std::string& digest);

/// What a page tells of the run behind its events.
struct PageRun {
    std::string title{};                 ///< of the page
    std::vector<std::string> sources{};  ///< names of the files that were read
    bool associated = false;             ///< the figures below are known
    long picks_read = 0;                 ///< picks
    PickFates fates{};                   ///< what became of them
    std::map<Lack, long> refusals{};     ///< candidates that came to nothing, by what they lack
    std::map<std::string, long> strangers{};  ///< picks of stations in no grid, by "NET.STA"
};

/**
 * The format html: one self-contained page with maps, sections, time, a list, every event with its
 * picks, and the run (docs/report.md). Grids give it stations without picks, outlines and
 * travel-time curves; without them stations stand where distance and azimuth of their picks put
 * them. Memory: about 60 bytes a pick until the end.
 */
class PageWriter : public CatalogueWriter {
  public:
    /// @param digest of the rules; empty: not known
    explicit PageWriter(const std::string& digest);
    ~PageWriter() override;

    /// To be called before the first event.
    /// @param grid  what events were found on; read during the call
    /// @param nodes the page shows the nodes too, with their times (thinned to a million times)
    void add_grid(const Velorix& grid, bool nodes = false);
    /// A place and time that gave no event.
    void add_refusal(const Refusal& refusal);
    /// To be called before end().
    void set_run(const PageRun& run);
    /// The page's data as it stands: one JSON document.
    std::string document() const;

    const std::vector<std::string>& suffixes() const override;
    bool begin(const std::vector<Sink*>& sinks) override;
    bool add(const Event& event, const std::vector<Sink*>& sinks) override;
    bool end(const std::vector<Sink*>& sinks) override;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

/// One source of reports, read as they come.
class EventReader {
  public:
    virtual ~EventReader() = default;
    /// The next report; `pick` stands for one. With `bad` and `failed`, `error` says where and
    /// what.
    virtual ReadResult next(Report& report, std::string& error) = 0;
    /// "event documents" or "QuakeML".
    virtual const char* kind() const = 0;
    /// Digest of the rules as the last report tells; empty without one.
    virtual std::string digest() const { return ""; }
};

/**
 * Opens a file of events: event documents, one a line, or QuakeML 1.2 (held whole; of each event
 * the preferred origin).
 * @param[in]  path  file, pipe or device; "-" is standard input
 * @param[out] error says what is wrong when the result is null
 */
std::unique_ptr<EventReader> open_events(const std::string& path, std::string& error);

/**
 * Files that hold a whole catalogue, or what they held before.
 *
 * Each document goes into a temporary file in its target's folder (or, for standard output and
 * devices, into an unnamed one) and appears at commit(). Of a set of files, old and new ones are
 * never there together. Without commit() nothing changes.
 */
class CatalogueFiles {
  public:
    CatalogueFiles();
    ~CatalogueFiles();

    /**
     * Looks at the targets and opens a document for each.
     * @param[in] path     target; empty: standard output. A suffix goes behind it, before ".csv"
     * @param[in] suffixes of the documents
     * @param[in] inputs   files that must not be overwritten
     * @return false after a logged line
     */
    bool open(const std::string& path, const std::vector<std::string>& suffixes,
              const std::vector<std::string>& inputs);
    /// One for each suffix; a sink that cannot write has logged why.
    std::vector<Sink*> sinks() const;
    /// Empties the documents, to write them anew. False after a logged line.
    bool restart();
    /// Puts the documents in place. False after a logged line; what was there before is then there
    /// again.
    bool commit();

  private:
    struct Target;
    std::vector<std::unique_ptr<Target>> targets_;
};

}  // namespace velorix::assoc

#endif
