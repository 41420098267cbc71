import os
import shutil
import signal
import threading
import time
import unittest

import numpy as np

import velorix
from cases import EXAMPLE, SOURCE, WORK


class First(unittest.TestCase):
    def setUp(self):
        self.iasp91 = velorix.TravelTimes("iasp91")

    def test_times_are_those_of_the_published_tables(self):
        path = SOURCE / "tests/data/traveltimes/first_arrivals_iasp91.tsv"
        table = np.loadtxt(path, usecols=(1, 2, 4, 6), comments=("#", "model"))
        p, s = self.iasp91.first(table[:, 1], table[:, 0])
        near = table[:, 1] < 90.0
        self.assertGreater(np.sum(near), 100)
        np.testing.assert_allclose(p[near], table[near, 2], atol=0.02)
        self.assertGreater(np.mean(np.abs(s - table[:, 3]) < 0.02), 0.95)

    def test_shapes_broadcast(self):
        distance, depth = np.array([[10.0], [30.0], [60.0]]), np.array([0.0, 10.0, 33.0, 600.0])
        p, s = self.iasp91.first(distance, depth)
        self.assertEqual((p.shape, s.shape), ((3, 4), (3, 4)))
        for i in range(3):
            for k in range(4):
                self.assertEqual((p[i, k], s[i, k]), self.iasp91.first(distance[i, 0], depth[k]))
        self.assertIsInstance(self.iasp91.first(10, 0)[0], float)
        self.assertEqual(self.iasp91.first(np.empty((0, 3)), 10.0)[0].shape, (0, 3))

    def test_strided_and_other_types_are_taken(self):
        plain = self.iasp91.first(np.arange(1.0, 11.0), 10.0)
        for given in (np.arange(0.0, 30.0)[3:33:3] / 3.0, np.arange(1, 11, dtype="int16"), list(range(1, 11))):
            np.testing.assert_array_equal(self.iasp91.first(given, 10.0)[0][:9], plain[0][:9])

    def test_choice_is_that_of_the_first_qualifying_arrival(self):
        for distance in (1.0, 15.0, 25.0, 80.0, 100.0, 110.0, 150.0):
            arrivals = self.iasp91.arrivals(distance, 20.0)
            far = distance > 102.0
            p = [a.time for a in arrivals if a.phase[-1] not in "Ss" and not (far and a.phase.endswith("diff"))]
            s = [a.time for a in arrivals if a.phase[0] not in "Pp" and a.phase[-1] not in "Pp"]
            self.assertEqual(self.iasp91.first(distance, 20.0), (p[0], s[0]), distance)

    def test_an_elevated_station_is_reached_later(self):
        low, high = self.iasp91.first(1.0, 10.0), self.iasp91.first(1.0, 10.0, 2.0)
        self.assertGreater(high[0], low[0])

    def test_missing_numbers_give_missing_times(self):
        p, s = self.iasp91.first([10.0, np.nan, 30.0], [10.0, 10.0, np.nan])
        np.testing.assert_array_equal(np.isnan(p), [False, True, True])
        np.testing.assert_array_equal(np.isnan(s), [False, True, True])

    def test_what_is_wrong_is_said(self):
        for arguments, error, words in (((-1.0, 10.0), ValueError, "180"), ((181.0, 10.0), ValueError, "180"),
                                        ((np.inf, 10.0), ValueError, "180"),
                                        ((10.0, 4000.0), velorix.VelorixError, "below the mantle"),
                                        ((10.0, 10.0, 99.0), velorix.VelorixError, "10 km"),
                                        (([1.0, 2.0], [1.0, 2.0, 3.0]), ValueError, "broadcast"),
                                        (("far", 10.0), ValueError, "far"), ((None, None, {}), TypeError, "")):
            with self.subTest(arguments=arguments), self.assertRaisesRegex(error, words):
                self.iasp91.first(*arguments)

    def test_times_grow_with_distance_and_slowness_is_their_slope(self):
        distance = np.linspace(30.0, 90.0, 61)
        p, _ = self.iasp91.first(distance, 100.0)
        self.assertTrue(np.all(np.diff(p) > 0.0))
        arrival = self.iasp91.arrivals(50.0, 100.0)[0]
        step = 0.01
        slope = (self.iasp91.first(50.0 + step, 100.0)[0] - self.iasp91.first(50.0 - step, 100.0)[0]) / (2 * step)
        self.assertAlmostEqual(arrival.slowness, slope, places=3)

    def test_slowness_points_away_from_the_source(self):
        north = self.iasp91.slowness(0.0, 0.0, 10.0, 40.0, 0.0)[0]
        self.assertGreater(north.north, 0.0)
        self.assertAlmostEqual(north.east, 0.0, places=9)
        # The horizontal slowness in s/km is that in s/degree by the length of a degree.
        self.assertAlmostEqual(north.north, self.iasp91.arrivals(40.0, 10.0)[0].slowness / 111.19492664, places=7)


class Models(unittest.TestCase):
    def test_a_file_gives_the_times_of_its_model_however_long_its_path(self):
        folder = WORK / ("long" * 20)
        folder.mkdir(exist_ok=True)
        shutil.copy(EXAMPLE / "two_layer_crust.tvel", folder / "crust.tvel")
        shutil.copy(EXAMPLE / "two_layer_crust.tvel", WORK / "c.tvel")
        long, short = velorix.TravelTimes(folder / "crust.tvel"), velorix.TravelTimes(WORK / "c.tvel")
        self.assertEqual(long.first(0.5, 5.0), short.first(0.5, 5.0))
        # In the upper layer alone: 5 km/s, over 5 km of depth and distance along the sphere.
        self.assertAlmostEqual(short.first(0.0, 5.0)[0], 1.0, places=3)

    def test_unknown_and_broken_models_are_refused(self):
        (WORK / "bad.tvel").write_text("one\ntwo\n1 2 three\n")
        for model in ("nosuch", WORK / "bad.tvel", WORK):
            with self.subTest(model=model), self.assertRaises(velorix.VelorixError):
                velorix.TravelTimes(model)
        self.assertRaises(TypeError, velorix.TravelTimes, 5)


class Threads(unittest.TestCase):
    def test_threads_share_an_object(self):
        times = velorix.TravelTimes("ak135")
        distance = np.linspace(1.0, 100.0, 3000)
        expected, got = [times.first(distance, d) for d in (0.0, 50.0, 500.0)], {}

        def work(i, depth):
            for _ in range(5):
                got[i] = times.first(distance, depth)
                times.arrivals(20.0, depth)

        threads = [threading.Thread(target=work, args=item) for item in enumerate((0.0, 50.0, 500.0))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(60)
            self.assertFalse(thread.is_alive())
        for i in range(3):
            np.testing.assert_array_equal(got[i], expected[i])

    def test_an_interrupt_ends_a_long_call(self):
        times = velorix.TravelTimes("iasp91")
        distance = np.random.default_rng(1).uniform(0.0, 180.0, 20_000_000)
        timer = threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        begin = time.monotonic()
        with self.assertRaises(KeyboardInterrupt):
            times.first(distance, 10.0)
        self.assertLess(time.monotonic() - begin, 5.0)
        self.assertGreater(times.first(10.0, 10.0)[0], 0.0)


if __name__ == "__main__":
    unittest.main()
