#!/usr/bin/env python3
"""Which failed tests scripts/wine_tests.py repeats."""
import pathlib
import sys
import tempfile
import unittest
from xml.sax.saxutils import escape

ROOT = pathlib.Path(__file__).resolve().parents[2]


sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
import wine_tests

SEGMENTATION_FAULT = ("ok: capture runs\n"
                      "ends_test.sh: line 32: 25896 Segmentation fault      wine \"$grab\" --all\n"
                      "expected: 0, is: 139\n")
KILLED = "scripts/wine-run: line 4: 23447 Killed                  wine \"$@\"\n"
X_ERROR = ("PASS   1  functions and probe\n"
           "X Error of failed request:  BadWindow (invalid Window parameter)\n"
           "FAIL  21  refusals              its process ended in the middle, code 0x00000000\n")
ORDINARY = "FAIL   3  pixels                a window drawn by Direct3D: 3 colours are wrong\n"


def repeated(*tests):
    """What is repeated after a run with these (name, status, output)."""
    cases = "".join(f'<testcase name="{name}" status="{status}">'
                    f"<system-out>{escape(output)}</system-out></testcase>"
                    for name, status, output in tests)
    with tempfile.TemporaryDirectory() as folder:
        results = pathlib.Path(folder, "results.xml")
        results.write_text(f"<testsuite>{cases}</testsuite>", encoding="utf-8")
        return wine_tests.tests_to_repeat(wine_tests.failed_tests(results))


class WineTestsTest(unittest.TestCase):
    def test_tests_in_which_wine_ended_a_program_are_repeated(self):
        self.assertEqual(repeated(("whole", "fail", X_ERROR), ("ends", "fail", SEGMENTATION_FAULT),
                                  ("killed", "fail", KILLED), ("frames", "run", "")),
                         ["ends", "killed", "whole"])

    def test_a_failure_of_another_kind_is_not_repeated(self):
        self.assertEqual(repeated(("pixels", "fail", ORDINARY)), [])
        self.assertEqual(repeated(("own", "fail", "run.sh: line 3: 7 Killed     ./program\n")), [])

    def test_one_failure_of_another_kind_is_enough_to_repeat_nothing(self):
        self.assertEqual(repeated(("whole", "fail", X_ERROR), ("pixels", "fail", ORDINARY)), [])

    def test_what_wine_says_in_a_test_that_passed_does_not_count(self):
        self.assertEqual(repeated(("pixels", "fail", ORDINARY), ("whole", "run", X_ERROR)), [])


if __name__ == "__main__":
    unittest.main()
