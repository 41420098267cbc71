"""Events: what the associator has found, as tables, files and pictures."""
import os

import numpy as np

from . import _core
from ._optional import need


class Event:
    """An earthquake as its picks tell.

    time (epoch seconds), latitude, longitude, depth (km), p_picks, s_picks, defining (picks in the
    location), stations, scatter (s), gap (degrees), score, error (one standard deviation each: time,
    depth, east, north, major, minor, strike, covariance), grid, model; picks: each with pick, phase,
    residual (s), distance (degrees), azimuth, weight, defining; left_out: picks near predicted times
    that are not in it, with `reason`.
    """

    def __init__(self, core, catalogue):
        self._core = core
        self._catalogue = catalogue

    def __getattr__(self, name):
        if name.startswith("_"):
            raise AttributeError(name)
        return getattr(self._core, name)

    def __dir__(self):
        return [*super().__dir__(), *(n for n in dir(self._core) if not n.startswith("_"))]

    def __repr__(self):
        when = np.datetime64(round(self.time * 1000), "ms")
        return (f"<Event {when} {self.latitude:.4f} {self.longitude:.4f} {self.depth:.1f} km, "
                f"{self.p_picks} P {self.s_picks} S>")

    @property
    def datetime(self):
        """The origin time, numpy.datetime64 in microseconds (UTC)."""
        return np.datetime64(round(self.time * 1e6), "us")

    def plot(self, figure=None):
        """Map, section, and picks against travel-time curves (needs matplotlib); the figure."""
        from . import _plots

        return _plots.plot_event(self, self._catalogue.grids, figure)


class Catalogue:
    """Events in order of time: a sequence of `Event`, with tables and files.

    counts: what became of the picks (in_events, in_no_event, duplicates, unknown_stations ...), and
        refusals, the candidates that came to nothing by what they lack.
    """

    def __init__(self, events, digest, grids=(), index=None, counts=None):
        self._events = list(events)
        self._digest = digest
        self._index = index
        self.grids = list(grids)
        self.counts = dict(counts or {})

    def __len__(self):
        return len(self._events)

    def __getitem__(self, number):
        if isinstance(number, slice):
            return Catalogue(self._events[number], self._digest, self.grids, self._index, self.counts)
        return Event(self._events[number], self)

    def __repr__(self):
        return f"<Catalogue of {len(self)} events>"

    def event_columns(self):
        """A dictionary of columns, one entry an event: id, time (epoch seconds), latitude ..."""
        return _core.event_columns(self._events)

    def pick_columns(self):
        """A dictionary of columns, one entry a pick of an event: row (of the picks given), event
        (number in the catalogue), network, station, phase, time, residual (s), distance (degrees),
        azimuth, weight, defining."""
        return _core.pick_columns(self._events)

    @property
    def events(self):
        """A DataFrame, one row an event, numbered from 0; times are UTC timestamps. Needs pandas;
        `event_columns` does not."""
        pandas = need("pandas", "a DataFrame of events")
        return pandas.DataFrame(_timed(pandas, self.event_columns()))

    @property
    def assignments(self):
        """A DataFrame, one row a pick of an event, with the index of the row that was given; column
        `event` is the number of the event's row. Needs pandas; `pick_columns` does not."""
        pandas = need("pandas", "a DataFrame of assignments")
        columns = _timed(pandas, self.pick_columns())
        rows = columns.pop("row")
        if self._index is None:
            index = pandas.Index(rows, name="row")
        else:
            index = self._index.take(rows)
        return pandas.DataFrame(columns, index=index)

    def to_text(self, format="text"):
        """The catalogue as the program velorix-assoc writes it: bytes for "text", "csv" (events),
        "json" and "quakeml"; for "css" a dictionary of tables."""
        documents = _core.catalogue_text(self._events, format, self._digest)
        return documents if format == "css" else documents[""]

    def write(self, path, format):
        """Writes the files that velorix-assoc writes for --format and --out; they appear whole or not
        at all."""
        _core.write_catalogue(self._events, format, self._digest, os.fspath(path))

    def to_csv(self, path):
        """Events into a CSV file, their picks into another with `_picks` in its name."""
        self.write(path, "csv")

    def to_quakeml(self, path):
        """QuakeML 1.2."""
        self.write(path, "quakeml")

    def to_json(self, path):
        """One event document a line."""
        self.write(path, "json")

    def to_obspy(self):
        """An obspy.Catalog (needs ObsPy)."""
        from . import _obspy

        return _obspy.catalog(self.to_text("quakeml"))

    def plot(self, ax=None):
        """A map of the events (needs matplotlib); its axes."""
        from . import _plots

        return _plots.plot_catalogue(self, ax)


def _timed(pandas, columns):
    columns["time"] = pandas.to_datetime(np.round(columns["time"] * 1e6).astype("int64"), unit="us",
                                         utc=True)
    return columns
