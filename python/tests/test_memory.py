"""Memory: nothing is kept by calls, views outlive what they show, threads do not collide. The address sanitizer
looks on when memory.sh runs these."""
import gc
import os
import resource
import sys
import threading
import unittest

import numpy as np

import velorix
from cases import italy, italy_file

SANITIZED = "asan" in os.environ.get("LD_PRELOAD", "")
CALLS = 10_000


def resident():
    """Bytes in memory now."""
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * resource.getpagesize()


class Calls(unittest.TestCase):
    def check(self, call, *arguments, calls=CALLS):
        """No argument is referred to from more places, and memory does not grow with calls."""
        for _ in range(200):
            call(*arguments)
        gc.collect()
        references, memory = [sys.getrefcount(a) for a in arguments], resident()
        for _ in range(calls):
            call(*arguments)
        gc.collect()
        for before, argument in zip(references, arguments):
            self.assertLessEqual(abs(sys.getrefcount(argument) - before), 2)
        if not SANITIZED:  # which keeps what was freed for a while
            self.assertLess(resident() - memory, 4_000_000)

    def test_travel_times(self):
        times, distance = velorix.TravelTimes("iasp91"), np.linspace(0.0, 180.0, 7)
        self.check(times.first, distance, np.full(7, 12.0))
        self.check(times.arrivals, 33.0, 10.0)
        self.check(times.slowness, 0.0, 0.0, 10.0, 20.0, 20.0)

    def test_grids(self):
        grid = italy()
        self.check(lambda g: (g.p_times, g.stations, g.sources, g.depths, g.heap), grid)
        self.check(grid.times, "ARRO", 3)
        self.check(velorix.read, str(italy_file()), calls=2000)

    def test_failures(self):
        times, grid = velorix.TravelTimes("iasp91"), italy()
        for call, arguments, error in ((times.first, (10.0, 4000.0), velorix.VelorixError),
                                       (times.first, (np.zeros(3), np.zeros(2)), ValueError),
                                       (velorix.read, ("/no/such/file",), velorix.VelorixError),
                                       (grid.times, ("ARRO", 10**6), IndexError),
                                       (velorix.scan, (grid, {"station": ["X"], "time": [1.0]}), velorix.VelorixError)):
            def fails(*given, call=call, error=error):
                self.assertRaises(error, call, *given)

            self.check(fails, *arguments, calls=2000)

    def test_associations(self):
        picks = {"station": ["ARRO", "CESI"], "time": [1e9, 1e9 + 1.0], "phase": ["P", "P"]}
        self.check(velorix.associate, picks, italy(), calls=200)


class Views(unittest.TestCase):
    def test_views_outlive_their_grid(self):
        for grid in (velorix.read(italy_file())[0], velorix.make_grid(
                {"station": ["A"], "latitude": [0.0], "longitude": [0.0]}, mode="edp", latr=0.0, lonr=0.0, nx=3, ny=3,
                xmin=-1.0, xmax=1.0, ymin=-1.0, ymax=1.0, depths=[5.0], model="iasp91")):
            views = [grid.p_times, grid.s_times, grid.stations, grid.sources, grid.depths, grid.heap]
            copies = [view.copy() for view in views]
            part = grid.p_times[0, 1:, ::2]
            expected = part.copy()
            del grid
            gc.collect()
            for view, copy in zip(views, copies):
                np.testing.assert_array_equal(view, copy)
            del views
            gc.collect()
            np.testing.assert_array_equal(part, expected)
            self.assertRaises(ValueError, part.__setitem__, (0, 0, 0), 1.0)

    def test_threads_read_and_compute_at_once(self):
        grid, failures = italy(), []

        def work(number):
            try:
                times = velorix.TravelTimes("ak135")
                for _ in range(50):
                    times.first(np.linspace(0.0, 90.0, 500), float(number))
                    self.assertGreater(float(grid.p_times.max()), 0.0)
                    velorix.read(italy_file())
            except Exception as error:  # seen below
                failures.append(error)

        threads = [threading.Thread(target=work, args=(n,)) for n in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(120)
        self.assertEqual(failures, [])


if __name__ == "__main__":
    unittest.main()
