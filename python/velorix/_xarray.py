"""Grids as labelled arrays."""
import numpy as np

from ._optional import need


def dataset(grid):
    """An xarray.Dataset with the grid's tables, views still."""
    xarray = need("xarray", "Grid.to_xarray")
    stations = grid.stations
    coords = {
        "station": [code.decode("utf-8", "replace") for code in stations["code"].tolist()],
        "depth": ("depth", grid.depths, {"units": "km"}),
    }
    place = ("row", "column") if grid.regular else ("node",)
    if grid.is_table:
        dims = ("depth", "distance")
        coords["distance"] = ("distance", grid.distances, {"units": "degrees"})
    else:
        dims = (*(("depth",) if grid.regular else ()), *place, "station")
    if not grid.regular:
        coords["depth"] = (place, grid.sources["depth"], {"units": "km"})
    coords["latitude"] = (place, grid.sources["lat"], {"units": "degrees"})
    coords["longitude"] = (place, grid.sources["lon"], {"units": "degrees"})
    tables = {}
    for name, values in (("p_time", grid.p_times), ("s_time", grid.s_times)):
        if values is not None:
            tables[name] = (dims, values, {"units": "s"})
    if grid.distances is not None and not grid.is_table:
        tables["distance"] = (dims, grid.distances, {"units": "degrees"})
    if grid.offsets is not None:
        tables["offset"] = ((*place, "station"), grid.offsets)
    for name in ("lat", "lon", "elevation"):
        coords[f"station_{name}"] = ("station", np.asarray(stations[name]))
    return xarray.Dataset(tables, coords, {"name": grid.name, "model": grid.model})
