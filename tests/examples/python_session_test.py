# Copyright (c) 2026 the libquill-wgc authors
# SPDX-License-Identifier: MIT
"""python_session_test.py LIBRARY EXAMPLES-FOLDER SCRATCH-FOLDER

quill_wgc.py against the library's own sources. Runs on Linux, on the native tests' platform, which
the same shared object holds.
"""
import contextlib
import ctypes
import os
import pathlib
import runpy
import struct
import subprocess
import sys
import types
import unittest
from unittest import mock

import numpy

LIBRARY, EXAMPLES, SCRATCH = sys.argv[1:]
SCRIPT = os.path.join(EXAMPLES, "quill_wgc.py")
sys.path.insert(0, EXAMPLES)

import quill_wgc  # noqa: E402

WGC = quill_wgc.load(LIBRARY)
PLATFORM = ctypes.CDLL(LIBRARY)
for question in ("deliver", "captures_monitor", "cursor_captured", "border_drawn"):
    getattr(PLATFORM, "fake_" + question).restype = ctypes.c_bool
PLATFORM.fake_live_objects.restype = ctypes.c_int64

# Targets that the platform takes for real ones.
WINDOW = 0x10
MONITOR = 0x20
WIDTH, HEIGHT = 97, 65  # two by two watched tiles of 32 x 32 pixels, and some more on each side


def picture(seed):
    return numpy.random.default_rng(seed).integers(0, 256, (HEIGHT, WIDTH, 4), numpy.uint8)


def show(pixels):
    height, width, _ = pixels.shape
    if not PLATFORM.fake_deliver(pixels.ctypes.data_as(ctypes.c_void_p), width, height):
        raise RuntimeError("nobody takes the frame")


class SessionTest(unittest.TestCase):
    def setUp(self):
        PLATFORM.fake_reset(WIDTH, HEIGHT)
        quill_wgc.log = quill_wgc.threading.local()
        self.objects = PLATFORM.fake_live_objects()

    def tearDown(self):
        self.assertEqual(PLATFORM.fake_live_objects(), self.objects)

    def test_frames_are_views_of_every_byte(self):
        with quill_wgc.Session(WGC, window=WINDOW) as session:
            self.assertFalse(PLATFORM.fake_captures_monitor())
            self.assertIsNone(session.frame())
            show(picture(1))
            first = session.frame()
            self.assertIsInstance(first, numpy.ndarray)
            self.assertEqual((first.shape, first.dtype), ((HEIGHT, WIDTH, 4), numpy.uint8))
            self.assertTrue((first == picture(1)).all())
            self.assertFalse(first.flags.writeable)
            show(picture(2))
            second = session.frame()
            self.assertTrue((second == picture(2)).all())
            # No copy: the session's memory, which the second frame has overwritten.
            self.assertTrue((first == second).all())

    def test_without_numpy_frames_are_memoryviews(self):
        with mock.patch.object(quill_wgc, "numpy", None):
            with quill_wgc.Session(WGC, window=WINDOW) as session:
                show(picture(1))
                frame = session.frame()
                self.assertIsInstance(frame, memoryview)
                self.assertEqual(frame.shape, (HEIGHT, WIDTH, 4))
                self.assertEqual(frame.tobytes(), picture(1).tobytes())
                self.assertTrue(frame.readonly)

    def test_captures_a_monitor(self):
        with quill_wgc.Session(WGC, monitor=MONITOR) as session:
            self.assertTrue(PLATFORM.fake_captures_monitor())
            show(picture(3))
            self.assertTrue((session.frame() == picture(3)).all())

    def test_the_ratio_is_that_of_the_last_frame(self):
        with quill_wgc.Session(WGC, window=WINDOW) as session:
            show(picture(1))
            session.frame()
            self.assertEqual(session.ratio(), 1)
            self.assertEqual(session.ratio(), 0)
            session.detect_changes(True)
            show(picture(1))
            session.frame()
            self.assertEqual(session.ratio(), 1)  # detection's own first frame
            changed = picture(1)
            changed[40, 50, 0] ^= 1  # in the second tile of the second row
            show(changed)
            session.frame()
            self.assertAlmostEqual(session.ratio(), 32 * 32 / (WIDTH * HEIGHT), places=6)
            session.detect_changes(False)
            show(changed)
            session.frame()
            self.assertEqual(session.ratio(), 1)

    def test_runs_until_the_window_closes(self):
        with quill_wgc.Session(WGC, window=WINDOW) as session:
            self.assertTrue(session.running())
            self.assertIsNotNone(WGC.wgc_get_device(session.handle))
            PLATFORM.fake_close_item()
            self.assertFalse(session.running())

    def test_switches_reach_the_platform(self):
        with quill_wgc.Session(WGC, window=WINDOW) as session:
            def drawn():
                return PLATFORM.fake_cursor_captured(), PLATFORM.fake_border_drawn()
            self.assertEqual(drawn(), (False, False))
            session.draw_cursor(True)
            self.assertEqual(drawn(), (True, False))
            session.show_border(True)
            self.assertEqual(drawn(), (True, True))
            session.draw_cursor(False)
            self.assertEqual(drawn(), (False, True))
            session.show_border(False)
            self.assertEqual(drawn(), (False, False))

    def test_a_refused_switch_raises_the_librarys_reason(self):
        self.assertTrue(WGC.is_wgc_session_supported())
        PLATFORM.fake_be_old()
        self.assertFalse(WGC.is_wgc_session_supported())
        with quill_wgc.Session(WGC, window=WINDOW) as session:
            with self.assertRaises(RuntimeError) as refused:
                session.draw_cursor(True)
            self.assertEqual(str(refused.exception),
                             "the cursor cannot be drawn: Failed to enable cursor")
            with self.assertRaises(RuntimeError) as refused:
                session.show_border(False)
            self.assertEqual(str(refused.exception),
                             "the border cannot be hidden: Failed to  hide border")

    def test_a_failed_start_raises_the_librarys_reason_and_leaves_nothing(self):
        PLATFORM.fake_fail_device()
        with self.assertRaises(RuntimeError) as failed:
            with quill_wgc.Session(WGC, window=WINDOW):
                self.fail("this session cannot run")
        self.assertEqual(str(failed.exception), "capture could not start: "
                                                "Failed to create d3d11 device,hr:80004005")

    def test_an_exception_in_the_block_ends_the_session(self):
        with self.assertRaises(KeyError):
            with quill_wgc.Session(WGC, window=WINDOW):
                raise KeyError

    def test_the_log_is_off_when_python_ends(self):
        self.addCleanup(WGC.wgc_register_logger, quill_wgc.keep_problem)
        with mock.patch.object(quill_wgc.atexit, "register") as register:
            quill_wgc.load(LIBRARY)
        function, *arguments = register.call_args.args
        function(*arguments)
        with self.assertRaisesRegex(RuntimeError, r"\Acapture could not start\Z"):
            quill_wgc.Session(WGC).__enter__()


class ProgramTest(unittest.TestCase):
    def run_program(self, *arguments, window=WINDOW, sleep=None):
        """The script with this platform in the place of Windows: the text it ends with, or None."""
        PLATFORM.fake_reset(WIDTH, HEIGHT)  # Each run of the script has a thread of its own.
        libraries = {"user32": types.SimpleNamespace(FindWindowW=lambda _class, title: (
            window if title == "Quill pattern" else 0))}
        with contextlib.ExitStack() as patches:
            patches.enter_context(mock.patch.object(sys, "argv", [SCRIPT, *arguments]))
            patches.enter_context(mock.patch("ctypes.CDLL", lambda name: libraries.get(name, WGC)))
            patches.enter_context(mock.patch("time.sleep", sleep))
            try:
                runpy.run_path(SCRIPT, run_name="__main__")
            except SystemExit as end:
                return end.code
            finally:
                # The script's own callback has gone with it.
                WGC.wgc_register_logger(quill_wgc.keep_problem)
        return None

    def test_saves_the_first_frame(self):
        file = pathlib.Path(SCRATCH, "frame.bmp")
        shown = picture(4)
        end = self.run_program("Quill pattern", str(file), sleep=lambda _seconds: show(shown))
        self.assertIsNone(end)
        # Size, where pixels begin; width, rows from top to bottom; planes, bits; no compression.
        header = b"BM" + struct.pack("<I4xIIiiHH24x", 54 + WIDTH * HEIGHT * 4, 54, 40, WIDTH,
                                     -HEIGHT, 1, 32)
        self.assertEqual(file.read_bytes(), header + shown.tobytes())

    def test_says_what_is_missing(self):
        self.assertEqual(self.run_program("Quill pattern"),
                         "quill_wgc.py: usage: quill_wgc.py TITLE FILE.bmp")
        self.assertEqual(self.run_program("no such title", "frame.bmp"),
                         "quill_wgc.py: no window has that title")
        times = iter(range(100))
        with mock.patch("time.monotonic", lambda: next(times)):
            self.assertEqual(
                self.run_program("Quill pattern", "frame.bmp", sleep=lambda _seconds: None),
                "quill_wgc.py: no frame in 5 seconds: is the window minimised?")
        nowhere = os.path.join(SCRATCH, "no such folder", "frame.bmp")
        end = self.run_program("Quill pattern", nowhere, sleep=lambda _seconds: show(picture(5)))
        self.assertIn("No such file or directory", end)
        self.assertIn(nowhere, end)

    def test_an_error_is_one_line_and_an_exit_code(self):
        for arguments in ([], ["Quill pattern", "frame.bmp"]):  # the latter finds no user32 here
            ended = subprocess.run([sys.executable, SCRIPT, *arguments], capture_output=True,
                                   text=True, timeout=30)
            self.assertEqual((ended.returncode, ended.stdout), (1, ""))
            self.assertRegex(ended.stderr, r"\Aquill_wgc\.py: [^\n]+\n\Z")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
