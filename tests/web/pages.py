"""Pages of the examples' half hour of Italian picks, for tests, pictures and measurements."""
import pathlib
import subprocess
from typing import NamedTuple

EXAMPLE = pathlib.Path(__file__).resolve().parents[2] / "examples" / "assoc"


class Pages(NamedTuple):
    grid: pathlib.Path
    events: pathlib.Path
    """event documents, one a line"""
    quakeml: pathlib.Path
    report: pathlib.Path


def tool(programs, name, *args):
    """Standard output of a program that runs beside the examples."""
    return subprocess.run([str(programs / name), *map(str, args)], check=True, capture_output=True, cwd=EXAMPLE).stdout


def make(programs, folder):
    made = Pages(folder / "italy.vxg", folder / "events.json", folder / "events.xml", folder / "report.html")
    made.grid.write_bytes(tool(programs, "velorix", "stations.txt"))
    run = ["-q", "--grids", made.grid, "--picks", "picks.csv", "--format"]
    made.events.write_bytes(tool(programs, "velorix-assoc", *run, "json"))
    made.quakeml.write_bytes(tool(programs, "velorix-assoc", *run, "quakeml"))
    tool(programs, "velorix-assoc", *run, "html", "--out", made.report)
    return made
