#!/usr/bin/env python3
"""What scripts/reliability reads from the logs of its runs."""
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
import reliability


class Runs(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        reliability.LOGS = pathlib.Path(folder.name)

    def step(self, command):
        reliability.run("a", command)
        return reliability.Step("a")

    def test_a_run_that_never_was_is_an_error(self):
        with self.assertRaises(SystemExit):
            reliability.Step("a")

    def test_outcome(self):
        self.assertTrue(self.step("true").passed)
        failed = self.step("false")
        self.assertFalse(failed.passed)
        self.assertEqual(failed.command, "false")

    def test_figures(self):
        step = self.step("echo '[  PASSED  ] 3 tests.'; echo 'frames=7 lost=0'; "
                         "echo '[  PASSED  ] 1 test.' >&2; echo frames=8")
        self.assertEqual(step.cases(), 4)
        self.assertEqual(step.value("frames"), "8")
        self.assertEqual(step.value("lost"), "0")
        for read in (lambda: step.value("ames"), lambda: step.total(r"failed=(\d+)")):
            with self.assertRaises(SystemExit):
                read()

    def test_reports_of_sanitizers_are_counted_in_a_run_that_passes(self):
        step = self.step("echo 'a.cpp:1:2: runtime error: overflow'; "
                         "echo '==1==ERROR: AddressSanitizer: heap'; echo error")
        self.assertTrue(step.passed)
        self.assertEqual(step.reports, 2)


if __name__ == "__main__":
    unittest.main()
