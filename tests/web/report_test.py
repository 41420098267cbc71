#!/usr/bin/env python3
"""The pages in a real browser: what they show against the event documents, and what they must not do.

    report_test.py PROGRAM_FOLDER
"""
import json
import pathlib
import re
import statistics
import sys
import tempfile
import unittest

import pages
from browser import Browser

MARKUP = "</script><img src=x onerror='window.hacked=1'><b>&amp;\u2028"


def tool(name, *args):
    return pages.tool(BIN, name, *args)


def count(svg, tag):
    return len(re.findall(rf'class="{tag}"', svg))


def setUpModule():
    global WORK, EVENTS, keep
    keep = tempfile.TemporaryDirectory(prefix="velorix-pages-")
    WORK = pathlib.Path(keep.name)
    made = pages.make(BIN, WORK)
    EVENTS = [json.loads(line) for line in made.events.read_text().splitlines()]


def tearDownModule():
    keep.cleanup()


class Page(unittest.TestCase):
    size = (1440, 900)

    def setUp(self):
        self.browser = self.enterContext(Browser(*self.size))

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])
        self.assertEqual(self.browser.requests(), [])


class Report(Page):
    def setUp(self):
        super().setUp()
        self.browser.open(WORK / "report.html")

    def test_catalogue_shows_every_event(self):
        self.assertGreater(len(EVENTS), 50)
        for figure in ("map", "section-along", "section-across", "time"):
            self.assertEqual(count(self.browser.svg(figure), "event"), len(EVENTS), figure)
        rows = self.browser.rows(".list")
        self.assertGreater(len(rows), 10)
        for row, event in zip(rows, EVENTS):
            self.assertEqual(row[0][:19], event["time"][:19].replace("T", " "))
            self.assertEqual(row[1], f"{event['latitude']:.4f}")
            self.assertEqual([row[5], row[6], row[7]], [str(event[k]) for k in ("picks_p", "picks_s", "stations")])
            self.assertEqual(row[11], "italy")

    def test_stations_without_picks_are_told_apart(self):
        stations = {f"{p['network']}.{p['station']}" for e in EVENTS for p in e["picks"]}
        svg = self.browser.svg("map")
        self.assertEqual(count(svg, "station"), len(stations))
        self.assertEqual(count(svg, "station idle"), 60 - len(stations))

    def test_north_is_up(self):
        north = max(range(len(EVENTS)), key=lambda i: EVENTS[i]["latitude"])
        dots = re.findall(r'<circle cx="[\d.-]+" cy="([\d.-]+)"[^>]*class="event"', self.browser.svg("map"))
        self.assertEqual(min(range(len(dots)), key=lambda i: float(dots[i])), north)

    def test_selection_is_shared(self):
        self.browser.click(".list tbody tr[data-event='3']")
        for figure in ("map", "section-along", "section-across", "time"):
            self.assertEqual(count(self.browser.svg(figure), "selected"), 1, figure)
        self.browser.tab("Event")
        self.assertEqual(self.browser.run("return document.querySelector('.event h2').textContent"), EVENTS[3]["id"])

    def test_event_has_its_numbers(self):
        event = max(EVENTS, key=lambda e: len(e["left_out"]))
        self.browser.run("velorix.store.select(arguments[0])", EVENTS.index(event))
        self.browser.tab("Event")
        rows = self.browser.rows("[data-table=picks]")
        self.assertEqual(len(rows), len(event["picks"]))
        for row, pick in zip(rows, event["picks"]):
            self.assertEqual(row[0], f"{pick['network']}.{pick['station']}")
            self.assertEqual(row[2], pick["phase"])
            self.assertAlmostEqual(float(row[5].replace("−", "-")), pick["residual"], delta=0.00051)
            self.assertEqual(row[9], "yes" if pick["defining"] else "no")
        self.assertEqual([row[6] for row in self.browser.rows("[data-table=left-out]")], [l["reason"] for l in event["left_out"]])
        svg = self.browser.svg("travel-times")
        self.assertEqual(count(svg, "pick p"), event["picks_p"] + 1)  # one in the key
        self.assertEqual((count(svg, "curve p"), count(svg, "curve s")), (1, 1))

    def test_curves_agree_with_the_grid(self):
        # The grid's own time of a pick is the observed one less its residual; stations stand up to
        # 1.5 km high, which curves do not know.
        off = self.browser.run("""
            const {data} = velorix.store, out = [];
            for (let i = 0; i < data.events.n; ++i) for (let k = data.events.firstPick[i]; k < data.events.firstPick[i + 1]; ++k) {
                const phase = data.picks.s[k] ? "s" : "p";
                const curve = velorix.curveTime(data.grids[0], phase, data.picks.distance[k], data.events.depth[i]);
                out.push(curve - (data.picks.travel[k] - data.picks.residual[k]));
            }
            return out;""")
        self.assertGreater(len(off), 2000)
        self.assertLess(statistics.median(map(abs, off)), 0.15)

    def test_filters_hold_everywhere(self):
        self.browser.type("input[name=picks]", "40")
        want = sum(e["picks_p"] + e["picks_s"] >= 40 for e in EVENTS)
        self.assertTrue(0 < want < len(EVENTS))
        for figure in ("map", "section-along", "time"):
            self.assertEqual(count(self.browser.svg(figure), "event"), want, figure)
        self.assertIn(f"{want} of {len(EVENTS)} events", self.browser.run("return document.querySelector('.summary').textContent"))

    def test_time_is_chosen_by_dragging(self):
        box = self.browser.run("const b = velorix.figures.get('time').canvas; b.scrollIntoView();"
                               "const r = b.getBoundingClientRect(); return [r.left, r.top, r.width, r.height]")
        y = box[1] + box[3] / 2
        self.browser.mouse(("move", box[0] + box[2] * 0.3, y), ("down",), ("move", box[0] + box[2] * 0.6, y), ("up",))
        start, end = self.browser.run("return [velorix.store.filter.from, velorix.store.filter.to]")
        want = sum(start <= e["epoch"] <= end for e in EVENTS)
        self.assertTrue(0 < want < len(EVENTS))
        self.assertEqual(count(self.browser.svg("map"), "event"), want)

    def test_columns_sort_the_list(self):
        self.browser.click("th[data-key=depth] button")
        depths = [float(row[3]) for row in self.browser.rows(".list")]
        self.assertEqual(depths, sorted(depths))
        self.browser.click("th[data-key=depth] button")
        self.assertEqual(self.browser.rows(".list")[0][3], f"{max(e['depth_km'] for e in EVENTS):.1f}")

    def test_keyboard(self):
        self.browser.press("j", "j")
        self.assertEqual(self.browser.run("return velorix.store.selected"), 1)
        self.browser.press("\ue007")
        self.assertFalse(self.browser.run("return document.querySelector('.event').hidden"))
        self.browser.press("k", "\ue00c")
        self.assertEqual(self.browser.run("return velorix.store.selected"), 0)
        self.assertFalse(self.browser.run("return document.querySelector('.catalogue').hidden"))

    def test_run_counts_residuals_by_station(self):
        self.browser.tab("Run")
        residuals = {}
        for event in EVENTS:
            for p in event["picks"]:
                residuals.setdefault((f"{p['network']}.{p['station']}", p["phase"]), []).append(p["residual"])
        rows = self.browser.rows("[data-table=stations]")
        self.assertEqual(len(rows), len(residuals))
        for row in rows:
            own = residuals[row[0], row[1]]
            self.assertEqual(int(row[2]), len(own))
            self.assertAlmostEqual(float(row[3].replace("−", "-")), statistics.fmean(own), delta=0.0011)
        self.assertGreater(len(self.browser.rows("[data-table=refused]")), 5)

    def test_saved_event_reads_back(self):
        self.browser.run("velorix.store.select(0)")
        self.browser.tab("Event")
        text = self.browser.run("return velorix.quakeMlOf(velorix.store.data, 0)")
        (WORK / "saved.xml").write_text(text)
        picks = tool("velorix-report", WORK / "saved.xml").decode()
        data = json.loads(picks.split('id="velorix-data">')[1].split("</script>")[0])
        self.assertEqual(len(data["picks"]["station"]), len(EVENTS[0]["picks"]))
        self.assertEqual(data["events"]["lat"], [round(EVENTS[0]["latitude"] * 1e5)])


class Narrow(Page):
    size = (400, 800)

    def test_nothing_is_wider_than_the_window(self):
        self.browser.open(WORK / "report.html")
        self.browser.press("j")
        for tab in ("Catalogue", "Event", "Run", "Grids"):
            self.browser.tab(tab)
            self.assertEqual(self.browser.run("return document.documentElement.scrollWidth"), 400, tab)
        self.browser.tab("Catalogue")
        self.assertEqual(count(self.browser.svg("map"), "event"), len(EVENTS))


class Hostile(Page):
    def test_markup_in_every_text_is_inert(self):
        event = json.loads(json.dumps(EVENTS[0]))
        for key in ("event_id", "grid", "model", "rules"):
            event[key] = MARKUP
        for pick in event["picks"] + event["left_out"]:
            for key in ("network", "station", "location", "channel", "label", "id"):
                pick[key] = MARKUP
        (WORK / "hostile.json").write_text(json.dumps(event) + "\n")
        tool("velorix-report", "--title", MARKUP, "--out", WORK / "hostile.html", WORK / "hostile.json")
        self.browser.open(WORK / "hostile.html")
        self.browser.press("j")
        for tab in ("Event", "Run", "Catalogue"):
            self.browser.tab(tab)
        self.assertIn("<img", self.browser.run("return document.querySelector('h1').textContent"))
        self.assertEqual(self.browser.run("return document.querySelectorAll('img, main b').length"), 0)
        self.assertIsNone(self.browser.run("return window.hacked ?? null"))
        self.assertNotIn("<img", self.browser.svg("map"))


class OtherSources(Page):
    def test_quakeml_shows_the_same_events(self):
        tool("velorix-report", "--out", WORK / "xml.html", WORK / "events.xml")
        self.browser.open(WORK / "xml.html")
        self.assertEqual(count(self.browser.svg("map"), "event"), len(EVENTS))
        got = self.browser.run("const e = velorix.store.data.events; return [[...e.p], [...e.s], [...e.defining]]")
        self.assertEqual(got, [[e[k] for e in EVENTS] for k in ("picks_p", "picks_s", "defining")])

    def test_grid_viewer_has_the_times_of_the_grid(self):
        (WORK / "grid.html").write_bytes(tool("velorix-info", "--html", WORK / "italy.vxg"))
        self.browser.open(WORK / "grid.html")
        shown = int(re.match(r"Node (\d+):", self.browser.run("return document.querySelector('.grids .note').textContent"))[1])
        listed = [line.split(",") for line in tool("velorix-info", "--times", shown, WORK / "italy.vxg").decode().splitlines()[1:]]
        want = {row[6]: (float(row[8]), float(row[9])) for row in listed}
        rows = self.browser.rows("[data-table=times]")
        self.assertEqual(len(rows), len(want))
        for row in rows:
            self.assertAlmostEqual(float(row[2]), want[row[0]][0], delta=0.00051)
            self.assertAlmostEqual(float(row[3]), want[row[0]][1], delta=0.00051)
        self.assertEqual(count(self.browser.svg("nodes-0"), "node"), 41 * 47)


if __name__ == "__main__":
    BIN = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main(verbosity=2)
