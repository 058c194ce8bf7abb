#!/usr/bin/env python3
"""wine_tests.py [ARGUMENT...]

Runs the tests under Wine, with further arguments for CTest, and once more those in which Wine itself ended
a program.

Seen with Wine 8 on a busy machine; the exit code and the outcome of the program are lost:
- Its server kills a program that has ended, but needs more than half a second to unload what it used.
- A segmentation fault at that time.
- Its display driver uses an X window that is gone, and Xlib ends the program.
A fault in the program's own code looks different: it is an exception, with whose code Wine exits.
"""

import pathlib
import re
import subprocess
import sys
from xml.etree import ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent
RESULTS = ROOT / "build" / "mingw" / "wine-tests.xml"

# What the shell and Xlib print.
ENDED_BY_WINE = re.compile(r"(?:Killed|Segmentation fault) .*\bwine |^X Error of failed request: ", re.M)


def failed_tests(results):
    """{name: output} of the tests that failed, from a JUnit file of CTest."""
    return {case.get("name"): case.findtext("system-out", "")
            for case in ElementTree.parse(results).iter("testcase") if case.get("status") == "fail"}


def tests_to_repeat(failed):
    """The failed tests if Wine ended a program in each of them, else none."""
    return sorted(failed) if all(map(ENDED_BY_WINE.search, failed.values())) else []


def run_ctest(*arguments):
    return subprocess.run(["ctest", "--preset", "mingw", "-j", "2", *arguments], cwd=ROOT,
                          check=False).returncode


def main():
    RESULTS.unlink(missing_ok=True)
    status = run_ctest("--output-junit", str(RESULTS), *sys.argv[1:])
    if status == 0 or not RESULTS.exists():
        return status
    repeated = tests_to_repeat(failed_tests(RESULTS))
    if not repeated:
        return status
    print(f"scripts/wine_tests.py: Wine itself ended a program in {', '.join(repeated)}: once more",
          flush=True)
    # This includes tests that could not be started, which then fail once more.
    return run_ctest("--rerun-failed")


if __name__ == "__main__":
    sys.exit(main())
