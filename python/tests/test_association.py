import gc
import json
import os
import signal
import threading
import unittest

import numpy as np

import velorix
from cases import PICKS, WORK, catalogue, italy, italy_file, pick_columns, run

ALL_FORMATS = {"text": [""], "csv": ["", "_picks"], "json": [""], "quakeml": [""],
               "css": [".event", ".origin", ".origerr", ".assoc", ".arrival"]}


def program(format, *arguments, picks=PICKS):
    """What velorix-assoc writes."""
    return run("velorix-assoc", "-q", "--grids", italy_file(), "--picks", picks, "--format", format, *arguments)


class SameAsTheProgram(unittest.TestCase):
    def test_a_file_of_picks_gives_its_bytes_in_every_format(self):
        self.assertGreater(len(catalogue()), 40)
        for format, suffixes in ALL_FORMATS.items():
            with self.subTest(format=format):
                theirs, ours = WORK / f"their_{format}", WORK / f"our_{format}"
                program(format, "--out", theirs)
                catalogue().write(ours, format)
                written = sorted(f.name for f in WORK.glob(f"our_{format}*"))
                self.assertEqual(len(written), len(suffixes))
                for name in written:
                    self.assertEqual((WORK / name).read_bytes(), (WORK / name.replace("our", "their", 1)).read_bytes())

    def test_tables_give_the_same_events_whatever_their_columns_and_order(self):
        columns, expected = pick_columns(), program("json")
        iso = np.array([t.rstrip("Z") for t in columns["time_iso"]], dtype="datetime64[ns]")
        names = {"station": columns["station"], "net": columns["network"], "chan": columns["channel"],
                 "Phase": columns["phase"]}
        seed = [f"{n}.{s}..{c}" for n, s, c in zip(columns["network"], columns["station"], columns["channel"])]
        quality = np.array(columns["weight"], dtype=float)
        tables = {
            "as in the file": columns,
            "times of numpy": {**names, "time": iso, "probability": quality},
            "epoch seconds": {**names, "time": np.array(columns["epoch"], dtype=float), "score": quality},
            "traces": {"trace_id": seed, "peak_time": iso, "phase": columns["phase"], "peak_value": quality},
            "ids of traces": {"id": seed, "timestamp": columns["time_iso"], "type": columns["phase"], "prob": quality},
        }
        backwards = {name: list(column)[::-1] for name, column in tables["as in the file"].items()}
        for name, table in {**tables, "backwards": backwards}.items():
            with self.subTest(table=name):
                found = velorix.associate(table, italy())
                self.assertEqual(found.to_text("json"), expected)

    def test_rules_are_those_of_a_parameter_file(self):
        rules = {"phase_labels": "ignore", "grids": {"italy": {"cluster_twin": 1.5}}, "events": {"italy": {"min_p": 5}}}
        path = WORK / "rules.toml"
        path.write_text('phase_labels = "ignore"\n[grids.italy]\ncluster_twin = 1.5\n[events.italy]\nmin_p = 5\n')
        shown = run("velorix-assoc", "--grids", italy_file(), "--picks", PICKS, "--show-parameters", "-pf", path)
        as_dict = velorix.show_rules(italy(), rules)
        self.assertEqual(as_dict, velorix.show_rules(italy(), path))
        self.assertEqual(as_dict, velorix.show_rules(italy(), path.read_text()))
        self.assertIn("cluster_twin = 1.5", as_dict)
        self.assertEqual(as_dict.encode(), shown)

    def test_spans_and_threads(self):
        part = velorix.associate(PICKS, italy(), start="2016-10-14T00:10:00", end=np.datetime64("2016-10-14T00:15"))
        times = part.pick_columns()["time"]
        self.assertTrue(len(times) and 1476403800.0 <= min(times) and max(times) <= 1476404100.0)
        table = velorix.associate(pick_columns(), italy_file(), start=1476403800.0, end=1476404100.0, threads=2)
        self.assertEqual(part.to_text("json"), table.to_text("json"))

    def test_a_file_out_of_order_is_sorted(self):
        lines = PICKS.read_text().splitlines()
        (WORK / "mixed.csv").write_text("\n".join([lines[0], *reversed(lines[1:])]) + "\n")
        found = velorix.associate(WORK / "mixed.csv", italy())
        self.assertEqual(found.to_text("json"), program("json"))


class Tables(unittest.TestCase):
    def test_every_assignment_leads_back_to_its_row(self):
        found = velorix.associate(pick_columns(), italy())
        own = found.pick_columns()
        self.assertEqual(len(own["row"]), found.counts["in_events"])
        self.assertEqual(len(set(own["row"])), len(own["row"]))
        for i, row in enumerate(own["row"]):
            self.assertEqual(pick_columns()["station"][row], own["station"][i])
            self.assertEqual(float(pick_columns()["epoch"][row]), own["time"][i])
        events = found.event_columns()
        for number, event in enumerate(found):
            self.assertEqual(len(event.picks), np.sum(own["event"] == number))
            self.assertEqual((event.id, event.time, event.p_picks), tuple(events[n][number] for n in ("id", "time", "p_picks")))

    def test_events_carry_picks_errors_and_reasons(self):
        event = catalogue()[0]
        self.assertEqual(sum(p.phase == "P" for p in event.picks), event.p_picks)
        self.assertTrue(all(abs(p.residual) < 5.0 and 0 <= p.azimuth <= 360 for p in event.picks))
        covariance = np.array(event.error.covariance)
        np.testing.assert_allclose(covariance, covariance.T)
        self.assertAlmostEqual(covariance[2, 2] ** 0.5, event.error.depth, places=6)
        left = [p for e in catalogue() for p in e.left_out]
        self.assertTrue(left and all(p.reason for p in left))
        self.assertIn("Event 2016-10-14", repr(event))
        self.assertRaises(AttributeError, getattr, event, "nosuch")
        self.assertRaises(IndexError, catalogue().__getitem__, len(catalogue()))
        self.assertEqual(len(catalogue()[2:5]), 3)

    def test_what_is_wrong_is_said(self):
        station = {"station": ["A"]}
        for picks, error, words in (
                ({"time": [0.0]}, velorix.VelorixError, "station"),
                (station, velorix.VelorixError, "time"),
                ({**station, "time": ["soon"]}, velorix.VelorixError, "row 0.*soon"),
                ({**station, "time": [np.nan]}, velorix.VelorixError, "row 0"),
                ({**station, "time": [np.datetime64("NaT")]}, velorix.VelorixError, "row 0"),
                ({**station, "time": [None]}, velorix.VelorixError, "row 0"),
                ({"station": [None, "A"], "time": [1.0, 2.0]}, velorix.VelorixError, "row 0.*station"),
                ({**station, "time": [1.0, 2.0]}, ValueError, "length"),
                ({**station, "time": np.zeros((1, 1))}, ValueError, "dimension"),
                ({**station, "time": [1.0], "probability": ["high"]}, velorix.VelorixError, "high"),
                ({}, velorix.VelorixError, "time"), (7, TypeError, "int"), ([1, 2], TypeError, "list"),
                ("/no/such.csv", velorix.VelorixError, "such")):
            with self.subTest(picks=picks), self.assertRaisesRegex(error, words):
                velorix.associate(picks, italy())
        good = {**station, "time": [1.0]}
        for grids, rules, error in ((WORK / "nosuch.vxg", None, velorix.VelorixError), ([], None, velorix.VelorixError),
                                    (italy(), {"phase_labels": "maybe"}, velorix.VelorixError),
                                    (italy(), "lateness = [", velorix.VelorixError),
                                    (italy(), "no/such/file", FileNotFoundError),
                                    ([italy(), italy()], None, velorix.VelorixError), (5, None, TypeError)):
            with self.subTest(grids=grids, rules=rules), self.assertRaises(error):
                velorix.associate(good, grids, rules)
        self.assertEqual(len(velorix.associate({**station, "time": ["soon"]}, italy(), skip_bad=True)), 0)
        with self.assertWarnsRegex(velorix.VelorixWarning, "latenes"):
            velorix.associate(good, italy(), {"latenes": 5})
        self.assertRaises(velorix.VelorixError, catalogue().to_text, "xml")
        self.assertRaises(velorix.VelorixError, catalogue().to_csv, "/no/such/folder/x.csv")

    def test_nothing_gives_nothing(self):
        empty = velorix.associate({"station": [], "time": []}, italy())
        self.assertEqual((len(empty), empty.counts["taken_in"]), (0, 0))
        self.assertEqual(len(empty.event_columns()["time"]), 0)
        self.assertIn(b"quakeml", empty.to_text("quakeml"))
        stranger = velorix.associate({"station": ["NOSUCH"], "time": [1.0]}, italy())
        self.assertEqual(stranger.counts["unknown_stations"], 1)


class Streams(unittest.TestCase):
    def chunks(self, size=200):
        columns = pick_columns()
        for i in range(0, len(columns["epoch"]), size):
            yield {name: column[i:i + size] for name, column in columns.items()}

    def test_a_stream_ends_with_the_events_of_the_whole(self):
        associator = velorix.Associator(italy())
        kinds = set()
        for chunk in self.chunks():
            associator.add(chunk)
            kinds.update(report.kind for report in associator)
        associator.finish()
        last = list(associator)
        kinds.update(report.kind for report in last)
        self.assertLessEqual({"new", "revised", "final"}, kinds)
        self.assertEqual(associator.catalogue.to_text("json"), catalogue().to_text("json"))
        document = last[-1].document
        self.assertEqual(document, json.loads(last[-1].json))
        self.assertEqual(document["kind"], last[-1].kind)
        self.assertEqual(list(associator), [])
        self.assertRaises(velorix.VelorixError, associator.add, next(self.chunks()))

    def test_documents_are_those_of_the_program(self):
        associator = velorix.Associator(italy())
        for row in self.chunks(1):
            associator.add(row)
        associator.finish()
        ours = [report.json for report in associator]
        theirs = run("velorix-assoc", "-q", "--follow", "--grids", italy_file(), "--picks", "-",
                     input=PICKS.read_bytes()).decode().splitlines()
        self.assertEqual(ours, theirs)

    def test_single_picks_and_the_clock(self):
        associator = velorix.Associator(italy(), announce=False)
        for chunk in self.chunks(1):
            associator.add({name: column[0] for name, column in chunk.items()})
            if associator.counts["taken_in"] == 500:
                break
        self.assertEqual(list(associator), [])
        associator.advance(np.datetime64("2016-10-15"))
        self.assertGreater(len(list(associator)), 0)
        self.assertEqual(associator.counts["waiting"], 0)
        associator.add({"station": "ARRO", "time": "2016-10-14T00:00:00"})
        self.assertEqual(associator.counts["late"], 1)

    def test_threads_take_turns(self):
        associator, chunks = velorix.Associator(italy(), announce=False), list(self.chunks(50))
        lock, failures = threading.Lock(), []

        def work():
            try:
                while True:
                    with lock:
                        if not chunks:
                            return
                        associator.add(chunks.pop(0))
                    associator.counts
                    list(associator)
            except Exception as error:  # seen below
                failures.append(error)

        threads = [threading.Thread(target=work) for _ in range(3)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(120)
        associator.finish()
        list(associator)
        self.assertEqual(failures, [])
        self.assertEqual(associator.counts["in_events"], catalogue().counts["in_events"])

    def test_an_interrupt_ends_an_association(self):
        columns = pick_columns()
        many = {"station": columns["station"] * 20, "phase": columns["phase"] * 20,
                "time": np.concatenate([np.array(columns["epoch"], float) + 1800.0 * i for i in range(20)])}
        timer = threading.Timer(1.0, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        self.assertRaises(KeyboardInterrupt, velorix.associate, many, italy())

    def test_an_event_outlives_its_associator(self):
        associator = velorix.Associator(italy())
        associator.add(pick_columns())
        associator.finish()
        report = [r for r in associator][0]
        expected = (report.event.time, report.event.picks[0].pick.station)
        pick = report.event.picks[0].pick
        del associator, report.event._catalogue
        gc.collect()
        self.assertEqual((report.event.time, pick.station), expected)


class Scans(unittest.TestCase):
    def test_the_best_node_is_the_largest_score(self):
        event = catalogue()[0]
        rows = {name: [] for name in ("station", "phase", "time")}
        for p in event.picks:
            rows["station"].append(p.pick.station), rows["phase"].append(p.phase), rows["time"].append(p.pick.time)
        found = velorix.scan(italy(), rows)
        self.assertEqual(found.scores.shape, (3, 24, 21))
        self.assertAlmostEqual(found.scores.max(), found.score, places=6)
        ix, iy, id = found.node
        self.assertAlmostEqual(found.scores[id, iy, ix], found.score, places=6)
        self.assertEqual((found.latitude, found.longitude), italy().sources[iy, ix].item()[:2])
        # Residuals are observed minus predicted times of the node.
        codes = [c.decode() for c in italy().stations["code"].tolist()]
        self.assertGreater(len(found.picks["row"]), 20)
        for row, phase, residual in zip(found.picks["row"], found.picks["phase"], found.picks["residual"]):
            p, s = italy().times(codes.index(rows["station"][row]), ix, iy, id)
            self.assertAlmostEqual(rows["time"][row] - found.time - (p if phase == "P" else s), residual, places=5)
        self.assertIsNone(velorix.scan(italy(), rows, scores=False).scores)
        self.assertRaises(velorix.VelorixError, velorix.scan, italy(), {"station": ["NOSUCH"], "time": [1.0]})

    def test_a_single_pick_can_be_scanned(self):
        found = velorix.scan(italy(), {"station": ["ARRO"], "time": [1e9], "phase": ["P"]})
        self.assertEqual(found.scores.shape, (3, 24, 21))
        self.assertIn("Scan", repr(found))


if __name__ == "__main__":
    unittest.main()
