"""velorix: travel-time grids and association of earthquakes.

Units: degrees for latitudes, longitudes (east positive), azimuths and arc distances; km for depths
(positive down) and elevations (positive up); seconds; absolute times in epoch seconds (UTC) or, in
DataFrames, as UTC timestamps. Failures raise `VelorixError` with what the library says; oddities
warn with `VelorixWarning`.

>>> import velorix
>>> p, s = velorix.TravelTimes("iasp91").first([30.0, 60.0], 10.0)
"""
import numpy as _numpy

from . import _core

if int(_numpy.__version__.split(".")[0]) >= 2 and not _core.knows_numpy_2:
    raise ImportError("this velorix was built for numpy 1 (Debian's): use that numpy, or install velorix "
                      "beside yours with pip")

from ._core import VelorixError, VelorixWarning
from ._association import Associator, Report, associate, scan, Scan, show_rules
from ._catalogue import Catalogue, Event
from ._grids import Grid, make_grid, read, write
from ._travel_times import Arrival, Slowness, TravelTimes

__version__ = _core.version
__all__ = [
    "Arrival",
    "Associator",
    "Catalogue",
    "Event",
    "Grid",
    "Report",
    "Scan",
    "Slowness",
    "TravelTimes",
    "VelorixError",
    "VelorixWarning",
    "associate",
    "make_grid",
    "read",
    "scan",
    "show_rules",
    "write",
]
