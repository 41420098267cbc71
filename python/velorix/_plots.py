"""Pictures, with matplotlib."""
import numpy as np

from . import _core
from ._optional import need


def _axes(ax):
    if ax is None:
        ax = need("matplotlib.pyplot", "a picture").figure().add_subplot()
    ax.set_xlabel("longitude (degrees)")
    ax.set_ylabel("latitude (degrees)")
    return ax


def _as_map(ax, latitude):
    ax.set_aspect(1.0 / max(0.05, np.cos(np.radians(latitude))))


def _draw_stations(ax, grid):
    ax.plot(grid.stations["lon"], grid.stations["lat"], "^", color="0.4", markersize=4, label="stations")


def plot_grid(grid, ax):
    """Nodes and stations."""
    ax = _axes(ax)
    ax.plot(grid.sources["lon"].ravel(), grid.sources["lat"].ravel(), ",", color="tab:blue", label="nodes")
    _draw_stations(ax, grid)
    _as_map(ax, float(np.mean(grid.sources["lat"])))
    ax.set_title(f"{grid.name}, {grid.model}")
    return ax


def plot_catalogue(catalogue, ax):
    """Events, coloured by depth."""
    ax = _axes(ax)
    for grid in catalogue.grids:
        _draw_stations(ax, grid)
    columns = catalogue.event_columns()
    dots = ax.scatter(columns["longitude"], columns["latitude"], c=columns["depth"], s=12, zorder=3)
    ax.figure.colorbar(dots, ax=ax, label="depth (km)")
    if len(catalogue):
        _as_map(ax, float(np.mean(columns["latitude"])))
    return ax


def plot_scores(scan, ax):
    """Scores of the nodes at the best node's depth."""
    if scan.scores is None:
        raise ValueError("the scan kept no scores: scan(..., scores=True)")
    ax = _axes(ax)
    grid = scan.grid
    lat, lon = grid.sources["lat"], grid.sources["lon"]
    if grid.regular:
        drawn = ax.pcolormesh(lon, lat, scan.scores[scan.node[2]], shading="gouraud")
    else:
        drawn = ax.scatter(lon, lat, c=scan.scores, s=4)
    ax.figure.colorbar(drawn, ax=ax, label="score")
    _draw_stations(ax, grid)
    ax.plot(scan.longitude, scan.latitude, "*", color="red", markersize=12)
    _as_map(ax, float(np.mean(lat)))
    return ax


def _places(event, grid):
    """Latitude and longitude of the event's picks' stations; NaN for one that the grid lacks."""
    known = {s["code"].decode(): (s["lat"], s["lon"]) for s in grid.stations}
    missing = (np.nan, np.nan)
    return np.array([known.get(p.pick.station,
                               known.get(f"{p.pick.network}_{p.pick.station}", missing))
                     for p in event.picks]).reshape(-1, 2)


def _draw_map(ax, event, grid):
    ax.set_xlabel("longitude (degrees)")
    ax.set_ylabel("latitude (degrees)")
    _draw_stations(ax, grid)
    for lat, lon in _places(event, grid):
        ax.plot([event.longitude, lon], [event.latitude, lat], "-", color="0.85", zorder=0)
    error = event.error
    angle = np.linspace(0.0, 2.0 * np.pi, 73)
    strike = np.radians(error.strike)
    north = error.major * np.cos(angle) * np.cos(strike) - error.minor * np.sin(angle) * np.sin(strike)
    east = error.major * np.cos(angle) * np.sin(strike) + error.minor * np.sin(angle) * np.cos(strike)
    km = 111.195  # a degree
    ax.plot(event.longitude + east / km / np.cos(np.radians(event.latitude)), event.latitude + north / km, "r-")
    ax.plot(event.longitude, event.latitude, "*", color="red", markersize=12)
    _as_map(ax, event.latitude)


def _draw_section(ax, event, grid):
    ax.axhline(0.0, color="0.7")
    lon = _places(event, grid)[:, 1]
    ax.plot(lon, np.zeros_like(lon), "^", color="0.4", markersize=4)
    ax.errorbar(event.longitude, event.depth, yerr=event.error.depth or None, fmt="r*", markersize=12)
    ax.invert_yaxis()
    ax.set_xlabel("longitude (degrees)")
    ax.set_ylabel("depth (km)")


def _draw_times(ax, event, grid):
    for phase, colour in (("P", "tab:blue"), ("S", "tab:orange")):
        own = [p for p in event.picks if p.phase == phase]
        ax.plot([p.distance for p in own], [p.pick.time - event.time for p in own], "o", color=colour,
                markersize=4, label=phase)
    farthest = max((p.distance for p in event.picks), default=1.0)
    distance = np.linspace(0.0, farthest, 200)
    try:
        p, s = _core.TravelTimes(grid.model).first(distance, np.full(200, max(event.depth, 0.0)), np.zeros(200))
    except _core.VelorixError:
        pass  # the grid's model is not here
    else:
        ax.plot(distance, p, "-", color="tab:blue")
        ax.plot(distance, s, "-", color="tab:orange")
    ax.set_xlabel("distance (degrees)")
    ax.set_ylabel("time after origin (s)")
    ax.legend()


def plot_event(event, grids, figure):
    """Map, section and picks of an event."""
    if figure is None:
        figure = need("matplotlib.pyplot", "a picture").figure(figsize=(11, 4))
    (grid,) = [g for g in grids if g.name == event.grid]
    axes = [figure.add_subplot(1, 3, i) for i in (1, 2, 3)]
    _draw_map(axes[0], event, grid)
    _draw_section(axes[1], event, grid)
    _draw_times(axes[2], event, grid)
    figure.suptitle(repr(event)[7:-1])
    return figure
