"""What the tests share: real stations and picks, a small grid of them, the programs."""
import csv
import functools
import importlib.util
import os
import pathlib
import subprocess
import tempfile
import unittest

import velorix

SOURCE = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = SOURCE / "examples" / "assoc"
PICKS = EXAMPLE / "picks.csv"
STATIONS = EXAMPLE / "stations.txt"
BIN = pathlib.Path(os.environ.get("VELORIX_BIN", SOURCE / "build" / "release" / "bin"))
FOLDER = tempfile.TemporaryDirectory(prefix="velorix-python")
WORK = pathlib.Path(FOLDER.name)

PARAMETERS = {
    "mode": "edp", "time": "2016-10-14", "latr": 42.75, "lonr": 13.2, "nx": 21, "ny": 24,
    "xmin": -0.6, "xmax": 0.6, "ymin": -0.69, "ymax": 0.69, "depths": [0, 6, 12],
    "method": "tttaup", "model": str(EXAMPLE / "velmodel.tvel"), "compute_P": True, "compute_S": True,
}


def link_model():
    """The model below a short name: a grid's model has at most 63 characters."""
    link = WORK / "m.tvel"
    if not link.exists():
        link.symlink_to(EXAMPLE / "velmodel.tvel")
    return str(link)


@functools.lru_cache(None)
def italy():
    """A coarse grid of the aftershock zone."""
    return velorix.make_grid(STATIONS, {**PARAMETERS, "model": link_model()}, name="italy")


@functools.lru_cache(None)
def italy_file():
    path = WORK / "italy.vxg"
    italy().to_file(path)
    return path


@functools.lru_cache(None)
def pick_columns():
    """The example's picks as lists of text."""
    with open(PICKS, newline="", encoding="utf-8") as file:
        rows = list(csv.DictReader(file))
    return {name: [row[name] for row in rows] for name in rows[0]}


@functools.lru_cache(None)
def catalogue():
    return velorix.associate(PICKS, italy())


def run(program, *arguments, input=None):
    """A program's standard output; its failure is the test's."""
    done = subprocess.run([BIN / program, *map(str, arguments)], cwd=WORK, capture_output=True, input=input,
                          timeout=120)
    if done.returncode != 0:
        raise AssertionError(done.stderr.decode())
    return done.stdout


def needs(*modules):
    """Skips with a word where an optional package is missing."""
    missing = [m for m in modules if importlib.util.find_spec(m) is None]
    return unittest.skipIf(missing, f"without {', '.join(missing)}")
