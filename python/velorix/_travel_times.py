"""Travel times of single paths."""
import os
import tempfile
from typing import NamedTuple

import numpy as np

from . import _core

# A calculator's name of a model is cut behind so many characters.
_LONGEST_MODEL = 64


class Arrival(NamedTuple):
    """One arrival of a path."""

    phase: str
    time: float
    """seconds"""
    slowness: float
    """dT/d(distance), s/degree"""
    depth_slowness: float
    """dT/d(source depth), s/km; negative for rays that leave the source downward"""


class Slowness(NamedTuple):
    """The horizontal slowness of an arrival at the station, in the direction of propagation."""

    phase: str
    east: float
    """s/km"""
    north: float
    """s/km"""


class TravelTimes:
    """Travel times in an earth model: "iasp91", "ak135", "prem", or a file (.tvel or .nd).

    The calculator is that of the grids (Buland & Chapman 1983). An object may be used from several
    threads; their calls take turns. A model that cannot be read raises `VelorixError`.
    """

    def __init__(self, model="iasp91"):
        name = os.fspath(model)
        if len(os.fsencode(name)) <= _LONGEST_MODEL:
            self._core = _core.TravelTimes(name)
        else:
            with tempfile.TemporaryDirectory(prefix="velorix") as folder:
                link = os.path.join(folder, "model" + os.path.splitext(name)[1])
                os.symlink(os.path.abspath(name), link)
                self._core = _core.TravelTimes(link)
        self.model = name

    def __repr__(self):
        return f"TravelTimes({self.model!r})"

    def first(self, distance_deg, depth_km, elevation_km=0.0):
        """First P and first S, chosen as grids choose them.

        distance_deg: 0 to 180; depth_km: of the source; elevation_km: of the station. Numbers or
        arrays of any shapes that broadcast. Returns `(p, s)` in seconds, each of the common shape
        (numbers for numbers); NaN where an argument is NaN or nothing arrives. Raises ValueError for
        shapes that do not broadcast and distances out of range, `VelorixError` for a depth or an
        elevation outside the model. Many distances at one depth cost some 50 ns each; times may then
        differ from those of `arrivals` by 1e-9 s.
        """
        given = [np.asarray(a, dtype=np.float64) for a in (distance_deg, depth_km, elevation_km)]
        if np.any((given[0] < 0.0) | (given[0] > 180.0)):
            raise ValueError("distance_deg must lie between 0 and 180 degrees")
        shape = np.broadcast_shapes(*(a.shape for a in given))
        p, s = self._core.first(np.broadcast_to(given[0], shape),
                                *(a if a.size == 1 else np.broadcast_to(a, shape) for a in given[1:]))
        return (float(p), float(s)) if p.ndim == 0 else (p, s)

    def arrivals(self, distance_deg, depth_km, elevation_km=0.0):
        """All arrivals of one path by increasing time: a list of `Arrival`."""
        if not 0.0 <= distance_deg <= 180.0:
            raise ValueError("distance_deg must lie between 0 and 180 degrees")
        return [Arrival(*a) for a in self._core.arrivals(distance_deg, depth_km, elevation_km)]

    def slowness(self, source_lat, source_lon, depth_km, lat, lon, elevation_km=0.0):
        """Horizontal slownesses at a station, arrival by arrival: a list of `Slowness`."""
        found = self._core.slowness(source_lat, source_lon, depth_km, lat, lon, elevation_km)
        return [Slowness(*s) for s in found]
