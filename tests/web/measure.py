#!/usr/bin/env python3
"""What a page costs as events grow: size, opening time, memory, frames a second while the map moves.

    measure.py PROGRAM_FOLDER [EVENTS...]
"""
import json
import pathlib
import random
import sys
import tempfile
import time

import pages
from browser import Browser

MOVE = """
const done = arguments[0], canvas = velorix.figures.get("map").canvas, frames = 60;
let n = 0, start = 0;
const step = (now) => {
    if (n === 0) start = now;
    if (n++ === frames) return done((now - start) / frames);
    canvas.dispatchEvent(new KeyboardEvent("keydown", {key: n % 2 ? "ArrowLeft" : "ArrowRight"}));
    requestAnimationFrame(step);
};
requestAnimationFrame(step);
"""


def catalogue(events, count):
    """So many events: the real ones again and again, later and a little elsewhere."""
    random.seed(1)
    for i in range(count):
        event = dict(events[i % len(events)])
        later = 1800.0 * (i // len(events))
        event["event_id"] = f"{event['event_id']}-{i}"
        event["epoch"] += later
        event["time"] = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(event["epoch"])) + "Z"
        for key in ("latitude", "longitude"):
            event[key] += random.gauss(0.0, 0.05) if later else 0.0
        event["picks"] = [{**pick, "epoch": pick["epoch"] + later} for pick in event["picks"]]
        yield event


def main():
    programs = pathlib.Path(sys.argv[1]).resolve()
    counts = [int(n) for n in sys.argv[2:]] or [70, 1000, 10000]
    print("events   page MB   opened s   JavaScript MB   ms a frame while the map moves")
    with tempfile.TemporaryDirectory(prefix="velorix-measure-") as folder:
        folder = pathlib.Path(folder)
        made = pages.make(programs, folder)
        events = [json.loads(line) for line in made.events.read_text().splitlines()]
        for count in counts:
            documents, page = folder / "many.json", folder / "many.html"
            with open(documents, "w", encoding="utf-8") as file:
                file.writelines(json.dumps(event) + "\n" for event in catalogue(events, count))
            pages.tool(programs, "velorix-report", "--out", page, documents, made.grid)
            with Browser(1440, 900) as browser:
                opened = browser.open(page)
                browser.cdp("HeapProfiler.collectGarbage")
                memory = browser.run("return performance.memory.usedJSHeapSize")
                frame = browser.run_async(MOVE)
            print(f"{count:6} {page.stat().st_size / 1e6:9.2f} {opened:10.2f} {memory / 1e6:15.1f} {frame:12.1f}",
                  flush=True)


main()
