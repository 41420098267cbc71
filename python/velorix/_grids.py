"""Travel-time grids: read, made, written, looked at."""
import contextlib
import os
import tempfile

import numpy as np

from . import _core, _tables, _toml
from ._optional import need


class Grid:
    """A travel-time grid; made by `read` and `make_grid`.

    Arrays are read-only views of the grid's memory: nothing is copied, and a view keeps the memory
    alive. A grid that was read is a mapping of its file: do not shorten the file while it is used.
    """

    def __init__(self, core):
        if not isinstance(core, _core.Grid):
            raise TypeError("grids are made by velorix.read and velorix.make_grid")
        self._core = core

    def __repr__(self):
        return (f"<Grid {self.name!r}: {self.number_of_nodes} nodes, {len(self.stations)} stations, "
                f"model {self.model!r}>")

    @property
    def name(self):
        """The grid's name."""
        return self._core.name

    @property
    def model(self):
        """The earth model of its times."""
        return self._core.model

    @property
    def method(self):
        """The calculator's method."""
        return self._core.method

    @property
    def regular(self):
        """Whether nodes form a mesh of columns, rows and depths; else they are a list."""
        return self._core.regular

    @property
    def is_table(self):
        """Whether times are a table of distance and depth, with a distance number for every pair."""
        return self._core.offsets is not None

    @property
    def mesh(self):
        """Reference point (lat, lon), strike and extents (xmin ... ymax), degrees."""
        return self._core.mesh

    @property
    def number_of_nodes(self):
        """Nodes, depths counted."""
        return self._core.number_of_nodes

    @property
    def nodes(self):
        """Array [number_of_nodes, 3] of latitude, longitude (degrees) and depth (km), in the order of
        the tables; a copy."""
        sources = self.sources
        if not self.regular:
            return np.stack([sources["lat"], sources["lon"], sources["depth"]], axis=-1)
        shape = (len(self.depths), sources.size)
        out = np.empty((*shape, 3))
        out[..., 0] = sources["lat"].reshape(-1)
        out[..., 1] = sources["lon"].reshape(-1)
        out[..., 2] = self.depths[:, None]
        return out.reshape(-1, 3)

    @property
    def sources(self):
        """View of horizontal positions: fields lat, lon (degrees), depth (km; a mesh: its first).
        Shape [rows, columns] of a mesh, [nodes] of a list."""
        return self._core.sources

    @property
    def stations(self):
        """View [stations]: fields code (bytes), lat, lon (degrees), elevation (km), index."""
        return self._core.stations

    @property
    def depths(self):
        """View [depths], km."""
        return self._core.depths

    @property
    def p_times(self):
        """View of first P times in seconds, or None. Shape [depths, rows, columns, stations] of a
        mesh, [nodes, stations] of a list, [depths, distances] of a distance table."""
        return self._core.p_times

    @property
    def s_times(self):
        """First S times, as `p_times`."""
        return self._core.s_times

    @property
    def distances(self):
        """View of distances in degrees, or None: shaped as the times; of a distance table its
        samples."""
        return self._core.distances

    @property
    def offsets(self):
        """View [rows, columns, stations] of places in a distance table's samples, or None."""
        return self._core.offsets

    @property
    def heap(self):
        """View of the bytes that a file of this grid has."""
        return self._core.heap

    def times(self, station, ix, iy=0, id=0):
        """P and S time in seconds from a node (column, row, depth number; of a list: node number) to
        a station (number or code); NaN without a table. IndexError, KeyError: there is none."""
        if isinstance(station, str):
            found = np.flatnonzero(self.stations["code"] == station.encode())
            if len(found) == 0:
                raise KeyError(f"grid {self.name!r} has no station {station!r}")
            station = int(found[0])
        return self._core.times(station, ix, iy, id)

    def check(self):
        """Raises `VelorixError` when a time is none that a wave can take."""
        self._core.check()

    def to_file(self, path):
        """Writes the grid as a file of its own, which appears whole or not at all."""
        write(path, [self])

    def to_xarray(self):
        """The grid as an xarray.Dataset."""
        from . import _xarray

        return _xarray.dataset(self)

    def plot(self, ax=None):
        """A map of nodes and stations (needs matplotlib); returns its axes."""
        from . import _plots

        return _plots.plot_grid(self, ax)

    def __eq__(self, other):
        if not isinstance(other, Grid):
            return NotImplemented
        return np.array_equal(self.heap, other.heap)

    __hash__ = None  # type: ignore[assignment]


def read(path):
    """The grids of a file, in its order: a list of `Grid`. VelorixError: it is none, or damaged."""
    return [Grid(core) for core in _core.read(os.fspath(path))]


def write(path, grids):
    """Writes grids one behind another into a file, which appears whole or not at all."""
    path = os.path.realpath(os.fspath(path))
    handle, temporary = tempfile.mkstemp(prefix=".velorix", dir=os.path.dirname(path))
    try:
        with os.fdopen(handle, "wb") as file:
            for grid in grids:
                file.write(grid.heap)
            mask = os.umask(0)
            os.umask(mask)
            os.fchmod(file.fileno(), 0o666 & ~mask)
            file.flush()
            os.fsync(file.fileno())
        os.replace(temporary, path)
    except BaseException:
        with contextlib.suppress(OSError):
            os.unlink(temporary)
        raise


@contextlib.contextmanager
def _station_file(stations):
    """The path of a station database with the given stations."""
    if _tables.is_path(stations):
        yield os.fspath(stations)
        return
    from . import _obspy

    text = _tables.station_text(_obspy.stations_in(stations))
    with tempfile.NamedTemporaryFile("w", prefix="stations", suffix=".txt", encoding="utf-8") as file:
        file.write(text)
        file.flush()
        try:
            yield file.name
        except _core.VelorixError as error:
            raise _core.VelorixError(str(error).replace(file.name, "stations")) from None


def _tables_of(parameters):
    """The grids of a parameter file or dictionary: text, label and names."""
    if _tables.is_path(parameters):
        with open(parameters, encoding="utf-8") as file:
            text = file.read()
        return text, os.fspath(parameters)
    return _toml.dump(parameters), "parameters"


def make_grid(stations, parameters=None, *, name=None, progress=None, **keys):
    """Computes a grid.

    stations: a DataFrame (or dictionary of columns) with station, latitude, longitude and, where
        there are, network, elevation (m) or elevation_km, start and end times; an ObsPy Inventory; or
        the path of a station database (CSS3.0, SQLite, FDSN text).
    parameters: a parameter file's path, or a dictionary; either the grid's own keys, or a table
        "grids" that holds it.
    name: of the grid, where `grids` holds several.
    progress: is called with 0 .. 100 now and then.
    keys: parameters of velorix.toml(5): mode ("edp", "slow", "file", "utele"), model, depths, nx ...
        Unless given: method "tttaup", time "all", P and S times computed.

    Returns a `Grid`. VelorixError: a key or a station is wrong. KeyboardInterrupt ends it at once.
    """
    defaults = {"time": "all", "method": "tttaup", "compute_P": True, "compute_S": True}
    if parameters is None or (isinstance(parameters, dict) and "grids" not in parameters):
        own = {**defaults, **(parameters or {}), **keys}
        if own["time"] != "all" and not isinstance(own["time"], str):
            own["time"] = _tables.texts([own["time"]])[0]
        name = name or "grid"
        parameters = {"grids": {name: own}}
    elif keys:
        raise TypeError("keys beside a parameter file: change them in the file, or give a dictionary")
    text, label = _tables_of(parameters)
    if name is None:
        name = _only_grid(parameters, text)
    with _station_file(stations) as path:
        return Grid(_core.build(name, text, label, path, progress))


def _only_grid(parameters, text):
    names = list(parameters["grids"]) if isinstance(parameters, dict) else _core.grid_names(text)
    if len(names) != 1:
        raise ValueError(f"name one of the grids {', '.join(map(repr, names))}")
    return names[0]
