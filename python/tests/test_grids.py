import gc
import os
import unittest
import warnings
import weakref

import numpy as np

import velorix
from cases import BIN, PARAMETERS, STATIONS, WORK, italy, italy_file, link_model, run

SMALL = {"mode": "edp", "latr": 42.75, "lonr": 13.2, "nx": 3, "ny": 4, "xmin": -0.2, "xmax": 0.2,
         "ymin": -0.3, "ymax": 0.3, "depths": [0.0, 10.0], "model": "iasp91"}


def toml_of(grids):
    lines = []
    for name, table in grids.items():
        lines.append(f"[grids.{name}]")
        for key, value in table.items():
            text = {True: "true", False: "false"}.get(value) if isinstance(value, bool) else None
            lines.append(f"{key} = {text or (repr(value) if not isinstance(value, str) else chr(34) + value + chr(34))}")
    return "\n".join(lines) + "\n"


class Made(unittest.TestCase):
    def test_a_grid_has_the_bytes_of_the_programs(self):
        (WORK / "velorix.toml").write_text(toml_of({"italy": {**PARAMETERS, "model": link_model()}}))
        made = run("velorix", STATIONS)
        self.assertEqual(italy().heap.tobytes(), made)
        self.assertEqual(velorix.make_grid(STATIONS, WORK / "velorix.toml").heap.tobytes(), made)

    def test_every_mode_has_the_bytes_of_the_programs(self):
        (WORK / "nodes.txt").write_text("42.5 13.0 5\n43.0 13.5 10\n")
        common = {"time": "all", "method": "tttaup", "model": "ak135", "compute_P": True, "compute_S": True}
        tables = {
            "file": {"mode": "file", "coords_file": str(WORK / "nodes.txt"), "compute_distances": True, **common},
            "table": {**SMALL, "use_distance_table": True, **common},
            "utele": {"mode": "utele", "stations": ["ARRO"], "compute_distances": False, **common,
                      "compute_S": False},
        }
        for name, table in tables.items():
            with self.subTest(mode=name), warnings.catch_warnings():
                warnings.simplefilter("ignore")
                (WORK / "one.toml").write_text(toml_of({name: table}))
                made = velorix.make_grid(STATIONS, table, name=name)
                self.assertEqual(made.heap.tobytes(), run("velorix", "-pf", "one", STATIONS))

    def test_stations_may_be_a_table(self):
        rows = [line.split("|") for line in STATIONS.read_text().splitlines()[1:]]
        table = {"net": [r[0] for r in rows], "sta": [r[1] for r in rows],
                 "lat": np.array([float(r[2]) for r in rows]), "lon": [float(r[3]) for r in rows],
                 "elevation": [float(r[4]) for r in rows]}
        from_file = velorix.make_grid(STATIONS, SMALL)
        self.assertEqual(velorix.make_grid(table, SMALL), from_file)
        as_rows = [dict(zip(table, cells)) for cells in zip(*table.values())]
        self.assertEqual(velorix.make_grid(as_rows, **SMALL), from_file)
        km = {**table, "elevation_km": [e / 1000.0 for e in table["elevation"]]}
        del km["elevation"]
        np.testing.assert_allclose(velorix.make_grid(km, SMALL).stations["elevation"],
                                   from_file.stations["elevation"], atol=1e-9)

    def test_what_is_wrong_is_said(self):
        station = {"station": ["A"], "latitude": [1.0], "longitude": [2.0]}
        cases = (
            (station, {**SMALL, "nx": 0}, velorix.VelorixError, "nx"),
            (station, {**SMALL, "mode": "cube"}, velorix.VelorixError, "cube"),
            (station, {**SMALL, "model": "nosuch"}, velorix.VelorixError, "nosuch"),
            (station, {**SMALL, "nx": object()}, TypeError, "nx"),
            ({"station": ["A"]}, SMALL, velorix.VelorixError, "latitude"),
            ({**station, "latitude": [91.0]}, SMALL, velorix.VelorixError, "91"),
            ({**station, "latitude": [np.nan]}, SMALL, velorix.VelorixError, ""),
            ({**station, "latitude": [1.0, 2.0]}, SMALL, ValueError, "length"),
            ({**station, "elevation": ["high"]}, SMALL, velorix.VelorixError, "row 0"),
            ({"station": [], "latitude": [], "longitude": []}, SMALL, velorix.VelorixError, ""),
            ({**station, "station": ["A|B"]}, SMALL, velorix.VelorixError, "row 0"),
            ("/no/such/file", SMALL, velorix.VelorixError, "file"),
            (station, "/no/such.toml", FileNotFoundError, "such"),
            (17, SMALL, TypeError, "int"),
        )
        for stations, parameters, error, words in cases:
            with self.subTest(words=words), self.assertRaisesRegex(error, words):
                velorix.make_grid(stations, parameters)

    def test_odd_keys_warn(self):
        with self.assertWarnsRegex(velorix.VelorixWarning, "dephts"):
            velorix.make_grid(STATIONS, {**SMALL, "dephts": [1.0]})

    def test_progress_runs_to_its_end_and_its_exception_ends_the_building(self):
        told = []
        velorix.make_grid(STATIONS, SMALL, progress=told.append)
        self.assertEqual(told, sorted(told))
        self.assertAlmostEqual(told[-1], 100.0)

        def stop(percent):
            raise ZeroDivisionError

        self.assertRaises(ZeroDivisionError, velorix.make_grid, STATIONS, SMALL, progress=stop)
        self.assertEqual(velorix.make_grid(STATIONS, SMALL), velorix.make_grid(STATIONS, SMALL))


class Arrays(unittest.TestCase):
    def test_tables_are_views_shaped_as_the_mesh(self):
        grid = italy()
        self.assertEqual(grid.p_times.shape, (3, 24, 21, 60))
        self.assertEqual((grid.sources.shape, grid.depths.tolist()), ((24, 21), [0.0, 6.0, 12.0]))
        self.assertFalse(grid.p_times.flags.owndata or grid.p_times.flags.writeable)
        self.assertTrue(np.shares_memory(grid.p_times, grid.heap))
        for station, ix, iy, id in ((0, 0, 0, 0), (59, 20, 23, 2), (7, 3, 4, 1)):
            p, s = grid.times(station, ix, iy, id)
            self.assertEqual((p, s), (grid.p_times[id, iy, ix, station], grid.s_times[id, iy, ix, station]))
        code = grid.stations["code"][5].decode()
        self.assertEqual(grid.times(code, 1), grid.times(5, 1))
        self.assertEqual(grid.nodes.shape, (grid.number_of_nodes, 3))
        np.testing.assert_array_equal(grid.nodes.reshape(3, 24, 21, 3)[1, 2, 3],
                                      [*grid.sources[2, 3].item()[:2], 6.0])

    def test_the_times_are_those_of_the_calculator(self):
        grid = velorix.make_grid(STATIONS, {**SMALL, "model": "ak135"})
        node, station = grid.nodes.reshape(2, 4, 3, 3)[1, 3, 2], grid.stations[4]
        a, b = np.radians(node[:2]), np.radians([station["lat"], station["lon"]])
        distance = np.degrees(np.arccos(np.sin(a[0]) * np.sin(b[0]) + np.cos(a[0]) * np.cos(b[0]) * np.cos(a[1] - b[1])))
        p, s = velorix.TravelTimes("ak135").first(distance, node[2], station["elevation"])
        self.assertAlmostEqual(grid.p_times[1, 3, 2, 4], p, places=4)
        self.assertAlmostEqual(grid.s_times[1, 3, 2, 4], s, places=4)

    def test_absent_stations_and_nodes_are_said(self):
        for arguments in ((60, 0), (-1, 0), (0, 21), (0, 0, 24), (0, 0, 0, 3), (0, -1)):
            self.assertRaises(IndexError, italy().times, *arguments)
        self.assertRaises(KeyError, italy().times, "NOSUCH", 0)

    def test_views_outlive_their_grid(self):
        for make in (lambda: velorix.make_grid(STATIONS, SMALL), lambda: velorix.read(italy_file())[0]):
            grid = make()
            core = weakref.ref(grid)
            views = [grid.p_times, grid.stations, grid.sources, grid.depths, grid.heap]
            copies = [v.copy() for v in views]
            del grid
            gc.collect()
            self.assertIsNone(core())
            velorix.make_grid(STATIONS, SMALL)  # uses freed memory, if any was
            for view, copy in zip(views, copies):
                np.testing.assert_array_equal(view, copy)


class Files(unittest.TestCase):
    def test_what_was_written_is_read(self):
        small = velorix.make_grid(STATIONS, SMALL, name="small")
        velorix.write(WORK / "two.vxg", [italy(), small])
        self.assertEqual(velorix.read(WORK / "two.vxg"), [italy(), small])
        self.assertEqual([g.name for g in velorix.read(str(WORK / "two.vxg"))], ["italy", "small"])
        again = WORK / "again.vxg"
        velorix.read(WORK / "two.vxg")[1].to_file(again)
        self.assertEqual(again.read_bytes(), small.heap.tobytes())
        self.assertIn(b"small", run("velorix-info", again))

    def test_a_grid_may_replace_the_file_that_it_was_read_from(self):
        path = WORK / "own.vxg"
        velorix.write(path, [italy()])
        grid = velorix.read(path)[0]
        grid.to_file(path)
        self.assertEqual(velorix.read(path)[0], italy())

    def test_damaged_and_absent_files_are_refused(self):
        whole = italy_file().read_bytes()
        for name, content in (("cut", whole[:-1]), ("empty", b""), ("text", b"no grid"), ("long", whole + b"x")):
            (WORK / name).write_bytes(content)
            with self.subTest(name=name), self.assertRaisesRegex(velorix.VelorixError, name):
                velorix.read(WORK / name)
        with self.assertRaisesRegex(velorix.VelorixError, "No such file"):
            velorix.read("/no/such/file.vxg")

    def test_nothing_half_written_stays(self):
        before = set(os.listdir(WORK))
        self.assertRaises(AttributeError, velorix.write, WORK / "half.vxg", [italy(), None])
        self.assertEqual(set(os.listdir(WORK)), before)
        self.assertRaises(OSError, italy().to_file, "/no/such/folder/x.vxg")

    def test_impossible_times_are_found(self):
        italy().check()
        content = bytearray(italy_file().read_bytes())
        content[-4:] = np.float32(1e9).tobytes()
        (WORK / "wrong.vxg").write_bytes(content)
        self.assertRaises(velorix.VelorixError, velorix.read(WORK / "wrong.vxg")[0].check)


if __name__ == "__main__":
    unittest.main()
