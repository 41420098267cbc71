"""Associators on the same picks, each in a process of its own: processor seconds, memory, events, and how far
they lie from velorix's. Then travel times beside ObsPy's model.

    peers.py FOLDER PROGRAM_FOLDER      (FOLDER: stations.txt, picks.csv, velorix.toml)
    peers.py --run NAME FOLDER WORK     (one associator; writes WORK/NAME.csv)

Settings are those that each project's own example or documentation gives for a local network; the area is that of
the stations, the velocities those of the upper crust of the bundled model. At least eight picks make an event, as
velorix's default has it.
"""
import csv
import math
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

KM_PER_DEGREE = 111.195
P_VELOCITY, S_VELOCITY = 5.5, 3.1  # km/s, of the upper crust
LEAST_PICKS = 8
NAMES = ("velorix", "velorix-assoc", "pyocto", "gamma")


def tables(folder):
    """Stations and picks as DataFrames: id, latitude, longitude, elevation (m); station, phase, time."""
    import pandas

    stations = pandas.read_csv(folder / "stations.txt", sep="|", comment=None)
    stations.columns = [name.strip(" #").lower() for name in stations.columns]
    stations["id"] = stations["network"] + "." + stations["station"] + "."
    picks = pandas.read_csv(folder / "picks.csv")
    picks["id"] = picks["network"] + "." + picks["station"] + "."
    return stations.drop_duplicates("id"), picks


def write(path, rows):
    with open(path, "w", newline="", encoding="utf-8") as file:
        csv.writer(file).writerows(rows)


def run_velorix(folder, work):
    import velorix

    stations, picks = tables(folder)
    found = velorix.associate(picks, work / "grid.vxg")
    return [(e.time, e.latitude, e.longitude, e.depth, len(e.picks)) for e in found]


def run_pyocto(folder, work):
    import pyocto

    stations, picks = tables(folder)
    model = pyocto.VelocityModel0D(p_velocity=P_VELOCITY, s_velocity=S_VELOCITY, tolerance=2.0)
    margin = 0.2
    associator = pyocto.OctoAssociator.from_area(
        lat=(stations["latitude"].min() - margin, stations["latitude"].max() + margin),
        lon=(stations["longitude"].min() - margin, stations["longitude"].max() + margin),
        zlim=(0, 30), time_before=100, velocity_model=model, n_picks=LEAST_PICKS, n_p_picks=3, n_s_picks=3,
        n_p_and_s_picks=3, n_threads=1)
    associator.transform_stations(stations)
    own = picks[["phase"]].assign(station=picks["id"], time=picks["epoch"])
    events, assignments = associator.associate(own, stations)
    if len(events) == 0:
        return []
    associator.transform_events(events)
    return list(events[["time", "latitude", "longitude", "depth", "picks"]].itertuples(index=False, name=None))


def run_gamma(folder, work):
    import pandas
    from gamma.utils import association, estimate_eps
    from pyproj import Proj

    stations, picks = tables(folder)
    lat, lon = stations["latitude"].mean(), stations["longitude"].mean()
    plane = Proj(f"+proj=sterea +lon_0={lon} +lat_0={lat} +units=km")
    stations[["x(km)", "y(km)"]] = stations.apply(
        lambda row: pandas.Series(plane(longitude=row.longitude, latitude=row.latitude)), axis=1)
    stations["z(km)"] = -stations["elevation"] / 1e3
    # Rows with any missing cell, an end time say, would be left out.
    stations = stations[["id", "longitude", "latitude", "x(km)", "y(km)", "z(km)"]]
    own = pandas.DataFrame({"id": picks["id"], "timestamp": pandas.to_datetime(picks["epoch"], unit="s"),
                            "type": picks["phase"].str.lower(), "prob": 1.0, "amp": 1.0})
    reach = 30.0
    config = {
        "center": (lon, lat), "dims": ["x(km)", "y(km)", "z(km)"], "use_dbscan": True, "use_amplitude": False,
        "vel": {"p": P_VELOCITY, "s": S_VELOCITY}, "method": "BGMM", "oversample_factor": 5, "ncpu": 1,
        "x(km)": (stations["x(km)"].min() - reach, stations["x(km)"].max() + reach),
        "y(km)": (stations["y(km)"].min() - reach, stations["y(km)"].max() + reach), "z(km)": (0, 30),
        "dbscan_min_samples": 3, "min_picks_per_eq": LEAST_PICKS, "min_p_picks_per_eq": 3, "min_s_picks_per_eq": 0,
        "max_sigma11": 2.0, "max_sigma22": 1.0, "max_sigma12": 1.0,
    }
    config["bfgs_bounds"] = tuple((low - 1, high + 1) for low, high in (config[d] for d in config["dims"][:2])) + \
        ((0, config["z(km)"][1] + 1), (None, None))
    config["dbscan_eps"] = estimate_eps(stations, config["vel"]["p"])
    events, _ = association(own, stations, config, method=config["method"])
    rows = []
    for event in events:
        lon, lat = plane(event["x(km)"], event["y(km)"], inverse=True)
        rows.append((pandas.Timestamp(event["time"], tz="UTC").timestamp(), lat, lon, event["z(km)"],
                     event["num_picks"]))
    return rows


def measured(command, **options):
    """Processor seconds and most memory in MB of a command."""
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL, **options)
    _, status, usage = os.wait4(child.pid, 0)
    if status != 0:
        raise SystemExit(f"{command[1:4]} failed")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024.0


def events_of(path, name):
    with open(path, newline="", encoding="utf-8") as file:
        rows = list(csv.reader(file))
    if name == "velorix-assoc":
        head = rows[0]
        at = [head.index(key) for key in ("epoch", "lat", "lon", "depth_km")]
        return [tuple(float(row[i]) for i in at) for row in rows[1:]]
    return [tuple(float(cell) for cell in row[:4]) for row in rows]


def distance(a, b):
    return math.hypot((a[1] - b[1]) * KM_PER_DEGREE, (a[2] - b[2]) * KM_PER_DEGREE * math.cos(math.radians(a[1])))


def compare(own, other):
    """Events within 3 s and 15 km of one of the others, and the medians of what lies between."""
    pairs = []
    for event in own:
        near = [(distance(event, o), o) for o in other if abs(o[0] - event[0]) <= 3.0]
        if near and min(near)[0] <= 15.0:
            apart, match = min(near)
            pairs.append((apart, abs(event[0] - match[0]), abs(event[3] - match[3])))
    medians = [statistics.median(p[i] for p in pairs) if pairs else math.nan for i in range(3)]
    return len(pairs), medians


def associators(folder, programs, work):
    with open(work / "grid.vxg", "wb") as out, open(work / "log", "wb") as log:
        subprocess.run([programs / "velorix", "stations.txt"], cwd=folder, stdout=out, stderr=log, check=True)
    found, costs = {}, {}
    for name in NAMES:
        path = work / f"{name}.csv"
        if name == "velorix-assoc":
            command = [programs / name, "-q", "--grids", work / "grid.vxg", "--picks", folder / "picks.csv", "--threads",
                       "1", "--format", "csv", "--out", path]
        else:
            command = [sys.executable, __file__, "--run", name, folder, work]
        costs[name] = measured([str(c) for c in command], env={**os.environ, "OMP_NUM_THREADS": "1"})
        found[name] = events_of(path, name)
    print("| | processor s | MB | events | as velorix's | s | km | km of depth apart (medians) |")
    print("|---|---|---|---|---|---|---|---|")
    for name in NAMES:
        same, (apart, seconds, depth) = compare(found[name], found["velorix"])
        print(f"| {name} | {costs[name][0]:.1f} | {costs[name][1]:.0f} | {len(found[name])} | {same} | {seconds:.2f} | "
              f"{apart:.1f} | {depth:.1f} |")


def travel_times():
    import numpy as np
    import velorix
    from obspy.taup import TauPyModel

    distances = np.linspace(1.0, 95.0, 95)
    ours, theirs = velorix.TravelTimes("iasp91"), TauPyModel("iasp91")
    theirs.get_travel_times(33.0, 10.0, ["ttp"])
    begin = time.process_time()
    reference = [min(a.time for a in theirs.get_travel_times(33.0, d, ["ttp"])) for d in distances]
    slow = time.process_time() - begin
    many = np.tile(distances, 10_000)
    ours.first(many[:100_000], 33.0)
    begin = time.process_time()
    p, _ = ours.first(many, 33.0)
    fast = time.process_time() - begin
    print(f"\nFirst P of iasp91, 33 km deep, 1 to 95 degrees: ObsPy {len(distances) / slow:.0f} a second, velorix "
          f"{len(many) / fast / 1e6:.1f} million (P and S); they differ by at most "
          f"{np.max(np.abs(p[:95] - reference)):.3f} s, in the median {np.median(np.abs(p[:95] - reference)):.4f} s")


def main():
    if sys.argv[1] == "--run":
        name, folder, work = sys.argv[2], pathlib.Path(sys.argv[3]), pathlib.Path(sys.argv[4])
        write(work / f"{name}.csv", globals()[f"run_{name}"](folder, work))
        return
    folder, programs = (pathlib.Path(a).resolve() for a in sys.argv[1:3])
    with tempfile.TemporaryDirectory(prefix="velorix-peers-") as work:
        associators(folder, programs, pathlib.Path(work))
    travel_times()


main()
