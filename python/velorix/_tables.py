"""Tables of picks and stations as they come: DataFrames, dictionaries, records, ObsPy's objects."""
import datetime
import math
import os
import numpy as np

from . import _core
from ._core import VelorixError


def is_path(value):
    return isinstance(value, (str, os.PathLike))


def columns_of(table, what):
    """A table's columns by name, and its index (None: rows are counted from 0)."""
    if hasattr(table, "columns") and hasattr(table, "index"):  # a DataFrame
        return {str(name): table[name] for name in table.columns}, table.index
    if isinstance(table, dict):
        return {str(name): column for name, column in table.items()}, None
    if isinstance(table, np.ndarray) and table.dtype.names:
        return {name: table[name] for name in table.dtype.names}, None
    if isinstance(table, (list, tuple)):
        if not all(isinstance(row, dict) for row in table):
            raise TypeError(f"{what}: a list must hold dictionaries, one a row")
        names = list(dict.fromkeys(name for row in table for name in row))
        return {str(n): [row.get(n) for row in table] for n in names}, None
    raise TypeError(f"{what}: {type(table).__name__} is no table; give a DataFrame, a dictionary of "
                    "columns, a list of dictionaries or the path of a file")


def _iso(times):
    texts = np.datetime_as_string(times.astype("datetime64[ns]"), unit="ns")
    return ["" if t == "NaT" else t + "Z" for t in texts.tolist()]


def _moment(value):
    """Text of one time or other cell of a column of objects."""
    if value is None:
        return ""
    if isinstance(value, str):
        return value
    if isinstance(value, bytes):
        return value.decode("utf-8", "replace").rstrip("\0")
    if hasattr(value, "isoformat"):
        if value != value:  # NaT
            return ""
        if getattr(value, "tzinfo", None) is not None:
            value = value.astimezone(datetime.timezone.utc).replace(tzinfo=None)
        return value.isoformat()
    if isinstance(value, np.datetime64):
        return _iso(np.array([value]))[0]
    try:
        return "" if math.isnan(value) else repr(float(value)) if isinstance(value, float) else str(value)
    except TypeError:
        return str(value)


def texts(column):
    """A column's cells as text; empty where a value is missing. Times without a zone are UTC."""
    if getattr(getattr(column, "dtype", None), "tz", None) is not None:  # pandas, with a zone
        column = column.dt.tz_convert("UTC").dt.tz_localize(None)
    array = np.asarray(column)
    if array.ndim != 1:
        raise ValueError("a column must have one dimension")
    if array.dtype.kind == "M":
        return _iso(array)
    if array.dtype.kind == "f":
        return ["" if v != v else repr(v) for v in array.astype(np.float64).tolist()]
    if array.dtype.kind in "iu":
        return [str(v) for v in array.tolist()]
    return [_moment(v) for v in (column.tolist() if hasattr(column, "tolist") else column)]


def _same_length(columns, what):
    lengths = {len(column) for column in columns.values()}
    if len(lengths) > 1:
        raise ValueError(f"{what}: the columns differ in length")


def picks_table(picks, skip_bad=False):
    """Picks as the library takes them, and the index of the rows."""
    if not hasattr(picks, "columns") and not isinstance(picks, (dict, np.ndarray)):
        from . import _obspy

        picks = _obspy.picks_in(picks)
    columns, index = columns_of(picks, "picks")
    known = {n: c for n, c in columns.items() if _core.is_pick_column(n.lower())}
    _same_length(known, "picks")
    if len(known) == 0:
        known = dict.fromkeys(columns, [])  # the library says what it looks for
    table = _core.PickTable(list(known), [texts(c) for c in known.values()], skip_bad)
    return table, index


# Names of the field's tools, the preferred one first. Elevations: "elevation" is in metres, as in
# FDSN texts, unless the column says km; positive depths of instruments are not looked at.
_STATION_COLUMNS = {
    "network": ("network", "net", "network_code"),
    "station": ("station", "sta", "station_code", "code", "id"),
    "latitude": ("latitude", "lat"),
    "longitude": ("longitude", "lon", "long"),
    "elevation_m": ("elevation", "elevation_m", "elev", "height"),
    "elevation_km": ("elevation_km", "elev_km", "elevation(km)"),
    "start": ("starttime", "start_time", "start", "start_date"),
    "end": ("endtime", "end_time", "end", "end_date"),
}


# FDSN texts ask for a network; this code is reserved for what has none.
_NO_NETWORK = "XX"


def _station_columns(stations):
    columns, _ = columns_of(stations, "stations")
    lower = {name.lower(): column for name, column in columns.items()}
    out = {}
    for name, choices in _STATION_COLUMNS.items():
        for choice in choices:
            if choice in lower:
                out[name] = texts(lower[choice])
                break
    for name in ("station", "latitude", "longitude"):
        if name not in out:
            raise VelorixError(f"stations: no column '{name}' (or: "
                               f"{', '.join(_STATION_COLUMNS[name][1:])}); the columns here: "
                               f"{', '.join(columns)}")
    _same_length(out, "stations")
    return out


def _elevation(columns, row):
    for name, scale in (("elevation_m", 1.0), ("elevation_km", 1000.0)):
        text = columns[name][row].strip() if name in columns else ""
        if text:
            metres = float(text) * scale
            return text if scale == 1.0 else repr(metres)
    return "0"


def _split(columns, row):
    network = columns["network"][row].strip() if "network" in columns else ""
    station = columns["station"][row].strip()
    if not network and "." in station:  # "NET.STA.LOC."
        network, station = station.split(".")[:2]
    return network or _NO_NETWORK, station


def station_text(stations):
    """Stations as an FDSN text, the library's own way to read them."""
    columns = _station_columns(stations)
    lines = ["#Network | Station | Latitude | Longitude | Elevation | SiteName | StartTime | EndTime"]
    seen = set()
    for row in range(len(columns["station"])):
        network, station = _split(columns, row)
        fields = [network, station, columns["latitude"][row].strip(), columns["longitude"][row].strip()]
        try:
            fields.append(_elevation(columns, row))
        except ValueError as error:
            raise VelorixError(f"stations: row {row}: the elevation is not a number") from error
        start = columns["start"][row].strip() if "start" in columns else ""
        end = columns["end"][row].strip() if "end" in columns else ""
        fields += ["", start.rstrip("Z") or "1900-01-01T00:00:00", end.rstrip("Z")]
        if any("|" in f or "\n" in f for f in fields):
            raise VelorixError(f"stations: row {row}: a bar or a line's end in a field")
        line = "|".join(fields)
        if line not in seen:  # a table of channels has a station several times
            seen.add(line)
            lines.append(line)
    return "\n".join(lines) + "\n"
