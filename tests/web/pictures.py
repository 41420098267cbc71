#!/usr/bin/env python3
"""Pictures of the pages for the documentation: what half an hour of Italian picks shows.

    pictures.py PROGRAM_FOLDER PICTURE_FOLDER [WIDTH HEIGHT]
"""
import json
import pathlib
import sys
import tempfile

import pages
from browser import Browser


def main():
    programs, to = map(pathlib.Path, sys.argv[1:3])
    size = tuple(map(int, sys.argv[3:5])) or (1200, 860)
    with tempfile.TemporaryDirectory(prefix="velorix-pictures-") as folder, Browser(*size) as browser:
        made = pages.make(programs.resolve(), pathlib.Path(folder))
        events = [json.loads(line) for line in made.events.read_text().splitlines()]
        best = max(range(len(events)), key=lambda i: events[i]["picks_p"] + events[i]["picks_s"])
        browser.open(made.report)
        browser.run("velorix.store.select(arguments[0])", best)
        for tab in ("Catalogue", "Event", "Run", "Grids"):
            browser.tab(tab)
            browser.settle()
            browser.screenshot(to / f"report_{tab.lower()}.png", whole=len(sys.argv) > 3)


main()
