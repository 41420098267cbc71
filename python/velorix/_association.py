"""Picks into events: whole tables, streams, single scans."""
import json
import math
import os

import numpy as np

from . import _core, _tables, _toml
from ._catalogue import Catalogue, Event
from ._grids import Grid, read
from ._optional import need


def _grids_of(grids):
    if isinstance(grids, Grid):
        return [grids]
    if _tables.is_path(grids):
        return read(grids)
    out = []
    for grid in grids:
        out.extend(_grids_of(grid))
    return out


def _rules_of(rules):
    """Text of the rules, and what stands for its file."""
    if rules is None:
        return "", ""
    if isinstance(rules, dict):
        return _toml.dump(rules), "rules"
    if isinstance(rules, os.PathLike) or "\n" not in rules and "=" not in rules:
        with open(rules, encoding="utf-8") as file:
            return file.read(), os.fspath(rules)
    return rules, "rules"


def _seconds(time, otherwise):
    if time is None:
        return otherwise
    if isinstance(time, (int, float)):
        return float(time)
    text = _tables.texts([time])[0]
    return float(np.datetime64(text.removesuffix("Z"), "ns").astype("int64")) / 1e9


def _paths_of(picks):
    if _tables.is_path(picks):
        return [os.fspath(picks)]
    if isinstance(picks, (list, tuple)) and picks and all(_tables.is_path(p) for p in picks):
        return [os.fspath(p) for p in picks]
    return None


def _stream(grids, rules, announce, threads):
    text, label = _rules_of(rules)
    return _core.Stream([g._core for g in grids], text, label, announce, threads)


def associate(picks, grids, rules=None, *, start=None, end=None, skip_bad=False, threads=1):
    """Finds the events in picks: those that velorix-assoc finds, to the byte.

    picks: a DataFrame (a dictionary of columns, a list of dictionaries) with a time and a station and,
        where there are, network, phase, channel, probability ...: columns are known by the names that
        pickers write, without regard to case (velorix-assoc(1) lists them). Times are UTC: epoch
        seconds, timestamps with or without a zone, ISO texts. Or ObsPy's picks, events or catalogue;
        or the path of a file or several (CSV, CSS3.0, QuakeML, TOML), read as they come.
    grids: a `Grid`, the path of a grid file, or a list of them.
    rules: a dictionary, a parameter file's path or TOML text (velorix.toml(5)); unless given, they
        follow from the grids.
    start, end: picks outside are left aside. skip_bad: rows that are no picks are passed over.
    threads: of a scan; the events do not depend on it.

    Returns a `Catalogue`, whose `events` and `assignments` are DataFrames. VelorixError: a row, a
    rule or a grid is wrong. KeyboardInterrupt ends it within a scan's time.
    """
    grids = _grids_of(grids)
    span = (_seconds(start, -math.inf), _seconds(end, math.inf))
    paths = _paths_of(picks)
    if paths is None:
        table, index = _tables.picks_table(picks, skip_bad)
        stream = _stream(grids, rules, False, threads)
        stream.add(table, *span)
    else:
        index = None
        stream = _associate_files(paths, grids, rules, span, skip_bad, threads)
    stream.finish()
    events = [report.event for report in stream.take()]
    return Catalogue(events, stream.digest, grids, index, stream.counts())


def _associate_files(paths, grids, rules, span, skip_bad, threads):
    # A file whose picks are far out of order is held whole and sorted.
    to_sort = set()
    while True:
        stream = _stream(grids, rules, False, threads)
        disordered = stream.add_files(paths, to_sort, skip_bad, *span)
        if not disordered:
            return stream
        if disordered in to_sort or not os.path.isfile(disordered):
            raise _core.VelorixError(f"{disordered}: picks are out of order by more than the lateness "
                                     "allows: sort them by time, or set `lateness`")
        to_sort.add(disordered)


class Report:
    """What a stream says of an event: kind ("new", "revised", "final", "withdrawn"), version, track,
    `event` (an `Event`), verdict (what a withdrawn one lacks), document (a dictionary as
    docs/event.schema.json describes it) and json (its text)."""

    def __init__(self, core, stream):
        self._core = core
        self.event = Event(core.event, stream)
        self.kind, self.version, self.track = core.kind, core.version, core.track
        self.verdict = core.verdict if core.kind == "withdrawn" else ""
        self._digest = stream.digest

    def __repr__(self):
        return f"<Report {self.kind} {self.event!r}>"

    @property
    def json(self):
        """One line of JSON."""
        return _core.document(self._core, self._digest).decode("utf-8", "replace")

    @property
    def document(self):
        """The document as a dictionary."""
        return json.loads(self.json)


class Associator:
    """Takes picks as they come and tells of events.

    >>> associator = Associator("italy.vxg")
    >>> for picks in source:
    ...     associator.add(picks)
    ...     for report in associator:
    ...         print(report.kind, report.event)
    >>> associator.finish()

    announce: tell of events as they form (new, revised, withdrawn), not only of final ones. Other
    arguments as `associate`. Iteration gives the reports since the last one and ends; calls from
    several threads take turns. Memory: the picks of the longer of the windows and the past that is
    learned from (rules: `history`).
    """

    def __init__(self, grids, rules=None, *, announce=True, threads=1):
        self.grids = _grids_of(grids)
        self._stream = _stream(self.grids, rules, announce, threads)
        self._finals = []

    def add(self, picks):
        """Takes picks (a table as `associate` does, or one dictionary of cells)."""
        if isinstance(picks, dict) and all(np.ndim(cell) == 0 for cell in picks.values()):
            picks = [picks]
        self._stream.add(_tables.picks_table(picks)[0], -math.inf, math.inf)

    def advance(self, time):
        """The time now: later picks do not lie more than the lateness before it."""
        self._stream.advance(_seconds(time, 0.0))

    def finish(self):
        """The stream has ended: everything is decided."""
        self._stream.finish()

    def __iter__(self):
        for core in self._stream.take():
            report = Report(core, self)
            if report.kind == "final":
                self._finals.append(core.event)
            yield report

    @property
    def digest(self):
        """Sixteen hexadecimal digits that stand for all rules in force."""
        return self._stream.digest

    @property
    def counts(self):
        """What became of the picks so far."""
        return self._stream.counts()

    @property
    def catalogue(self):
        """The final events that iteration has given."""
        return Catalogue(self._finals, self.digest, self.grids, None, self.counts)


class Scan:
    """The node of a grid at which picks agree best.

    found: whether anything could be scored; time (epoch seconds), latitude, longitude, depth (km),
    score, scatter (s), on_edge, node (column, row, depth number; of a list: node number, 0, 0);
    scores: the score of every node, [depths, rows, columns] of a mesh, [nodes] of a list, or None;
    picks: columns row, network, station, phase, time, residual of those that belong to it.
    """

    def __init__(self, found, grid, index):
        self.grid = grid
        self._index = index
        scores = found.pop("scores")
        rows = found.pop("picks")
        self.__dict__.update(found)
        self.scores = None
        if scores.size:
            shape = (len(grid.depths), *grid.sources.shape) if grid.regular else scores.shape
            self.scores = scores.reshape(shape)
        names = ("row", "network", "station", "phase", "time", "residual")
        self.picks = {name: [row[i] for row in rows] for i, name in enumerate(names)}

    def __repr__(self):
        if not self.found:
            return "<Scan: nothing agrees>"
        return (f"<Scan score {self.score:.2f} at {self.latitude:.4f} {self.longitude:.4f} "
                f"{self.depth:.1f} km>")

    @property
    def assignments(self):
        """The picks as a DataFrame with the index of the rows given (needs pandas)."""
        pandas = need("pandas", "a DataFrame of picks")
        columns = dict(self.picks)
        rows = np.asarray(columns.pop("row"), dtype="int64")
        index = pandas.Index(rows, name="row") if self._index is None else self._index.take(rows)
        return pandas.DataFrame(columns, index=index)

    def plot(self, ax=None):
        """The score map at the best depth (needs matplotlib); its axes."""
        from . import _plots

        return _plots.plot_scores(self, ax)


def scan(grid, picks, rules=None, *, scores=True, threads=1):
    """Scans one grid with picks that are taken for one event's.

    grid, picks, rules, threads: as `associate`. scores: every node's score too, which takes longer
    than the scan. Phase labels are trusted unless the rules say otherwise. Returns a `Scan`.
    VelorixError: a pick, a rule or the grid is wrong, or no pick is at a station of the grid.
    """
    (grid,) = _grids_of(grid)
    table, index = _tables.picks_table(picks)
    text, label = _rules_of(rules)
    return Scan(_core.scan(grid._core, table, text, label, scores, threads), grid, index)


def show_rules(grids, rules=None):
    """All rules in force, as the text of a parameter file."""
    text, label = _rules_of(rules)
    return _core.show_rules([g._core for g in _grids_of(grids)], text, label)
