"""With pandas, matplotlib, xarray and ObsPy where they are there; what is said where they are not."""
import subprocess
import sys
import unittest

import numpy as np

import velorix
from cases import PICKS, STATIONS, WORK, catalogue, italy, needs, pick_columns


class Missing(unittest.TestCase):
    def test_what_is_missing_is_named(self):
        code = """
import sys
for name in ("pandas", "matplotlib", "matplotlib.pyplot", "xarray", "obspy"):
    sys.modules[name] = None
import velorix
catalogue = velorix.Catalogue([], "")
grid = velorix.read(sys.argv[1])[0]
for call, word in ((lambda: catalogue.events, "pandas"), (grid.plot, "matplotlib"), (grid.to_xarray, "xarray"),
                   (catalogue.to_obspy, "ObsPy")):
    try:
        call()
    except ImportError as error:
        assert word in str(error), error
    else:
        raise AssertionError(word)
"""
        italy().to_file(WORK / "one.vxg")
        subprocess.run([sys.executable, "-c", code, WORK / "one.vxg"], check=True, timeout=60)

    def test_importing_takes_numpy_alone(self):
        code = ("import sys, velorix; "
                "assert not {'pandas', 'matplotlib', 'xarray', 'obspy'} & set(sys.modules), sys.modules")
        subprocess.run([sys.executable, "-c", code], check=True, timeout=60)


@needs("pandas")
class Pandas(unittest.TestCase):
    def frame(self):
        import pandas

        columns = pick_columns()
        frame = pandas.DataFrame({"station": columns["station"], "phase": columns["phase"],
                                  "network": columns["network"], "channel": columns["channel"],
                                  "time": pandas.to_datetime(columns["time_iso"], utc=True),
                                  "probability": np.array(columns["weight"], float)})
        return frame.set_index(pandas.Index([f"pick{i}" for i in range(len(frame))]))

    def test_rows_keep_their_index_whatever_the_zone_of_their_times(self):
        frame = self.frame()
        expected = velorix.associate(pick_columns(), italy()).to_text("json")
        naive = frame.assign(time=frame["time"].dt.tz_localize(None))
        rome = frame.assign(time=frame["time"].dt.tz_convert("Europe/Rome"))
        for name, table in {"UTC": frame, "no zone": naive, "another": rome,
                            "objects": frame.assign(time=[t.to_pydatetime() for t in rome["time"]])}.items():
            with self.subTest(times=name):
                self.assertEqual(velorix.associate(table, italy()).to_text("json"), expected)
        found = velorix.associate(frame, italy())
        assignments = found.assignments
        given = frame.loc[assignments.index]
        self.assertEqual(len(given), found.counts["in_events"])
        self.assertTrue((assignments["station"] == given["station"]).all())
        self.assertLess((assignments["time"] - given["time"]).abs().max().total_seconds(), 1e-5)
        events = found.events
        self.assertEqual(str(events["time"].dt.tz), "UTC")
        self.assertTrue((events["p_picks"] + events["s_picks"] == assignments.groupby("event").size()).all())

    def test_empty_frames_stay_frames(self):
        found = velorix.associate(self.frame().iloc[:0], italy())
        self.assertEqual((len(found.events), len(found.assignments)), (0, 0))
        self.assertIn("time", found.events.columns)

    def test_stations_come_from_a_frame(self):
        import pandas

        stations = pandas.read_csv(STATIONS, sep="|", skipinitialspace=True)
        stations.columns = [c.strip(" #").lower() for c in stations.columns]
        grid = velorix.make_grid(stations, mode="edp", latr=42.75, lonr=13.2, nx=3, ny=3, xmin=-0.1, xmax=0.1,
                                 ymin=-0.1, ymax=0.1, depths=[5.0], model="iasp91")
        self.assertEqual(len(grid.stations), len(set(stations["station"])))
        self.assertLess(abs(float(grid.stations["elevation"].max()) - stations["elevation"].max() / 1000.0), 1e-9)


@needs("matplotlib")
class Plots(unittest.TestCase):
    def test_pictures_show_what_they_say(self):
        import matplotlib

        matplotlib.use("Agg")
        event = catalogue()[0]
        figure = event.plot()
        places, section, times = figure.axes
        x, y = times.lines[0].get_data()
        self.assertEqual(len(x), event.p_picks)
        self.assertAlmostEqual(min(y), min(p.pick.time for p in event.picks if p.phase == "P") - event.time)
        self.assertTrue(section.yaxis_inverted())
        self.assertEqual(len(catalogue().plot().collections[0].get_offsets()), len(catalogue()))
        italy().plot()
        rows = {"station": [p.pick.station for p in event.picks], "time": [p.pick.time for p in event.picks],
                "phase": [p.phase for p in event.picks]}
        found = velorix.scan(italy(), rows)
        self.assertEqual(found.plot().collections[0].get_array().size, found.scores[0].size)
        figure.savefig(WORK / "event.png")
        self.assertGreater((WORK / "event.png").stat().st_size, 10_000)


@needs("xarray")
class Xarray(unittest.TestCase):
    def test_tables_carry_their_coordinates(self):
        data = italy().to_xarray()
        self.assertEqual(data["p_time"].dims, ("depth", "row", "column", "station"))
        code = data["station"].values[5]
        picked = float(data["p_time"].sel(station=code).isel(depth=1, row=2, column=3))
        self.assertEqual(picked, italy().times(str(code), 3, 2, 1)[0])
        self.assertTrue(np.shares_memory(data["p_time"].values, italy().p_times))


@needs("obspy")
class ObsPy(unittest.TestCase):
    def test_a_catalogue_goes_there_and_back(self):
        given = catalogue().to_obspy()
        self.assertEqual(len(given), len(catalogue()))
        for theirs, ours in zip(given, catalogue()):
            origin = theirs.preferred_origin()
            self.assertLess(abs(origin.time.timestamp - ours.time), 1e-3)
            self.assertAlmostEqual(origin.latitude, ours.latitude, places=4)
            self.assertAlmostEqual(origin.depth, 1000.0 * ours.depth, places=0)
            self.assertEqual(len(origin.arrivals), len(ours.picks))
        again = velorix.associate(given, italy())
        picks = velorix.associate([p for event in given for p in event.picks], italy())
        self.assertEqual(len(again), len(given))
        self.assertEqual(again.to_text("csv"), picks.to_text("csv"))
        self.assertEqual(len(velorix.associate(given[0], italy())), 1)

    def test_what_is_written_is_read(self):
        import obspy

        catalogue().to_quakeml(WORK / "catalogue.xml")
        read = obspy.read_events(str(WORK / "catalogue.xml"))
        self.assertEqual([e.preferred_origin().time for e in read],
                         [e.preferred_origin().time for e in catalogue().to_obspy()])

    def test_an_inventory_gives_stations(self):
        import obspy

        inventory = obspy.read_inventory(str(STATIONS))
        keys = {"mode": "edp", "latr": 42.75, "lonr": 13.2, "nx": 3, "ny": 3, "xmin": -0.1, "xmax": 0.1,
                "ymin": -0.1, "ymax": 0.1, "depths": [5.0], "model": "iasp91"}
        theirs, ours = velorix.make_grid(inventory, keys), velorix.make_grid(STATIONS, keys)
        self.assertEqual(sorted(theirs.stations["code"].tolist()), sorted(ours.stations["code"].tolist()))
        code = ours.stations["code"][0].decode()
        self.assertEqual(theirs.times(code, 1, 1), ours.times(code, 1, 1))


if __name__ == "__main__":
    unittest.main()
