#!/usr/bin/env python3
"""Checks that the tests notice defects.

Puts each defect in an area's list, tools/mutations/AREA.toml, into a copy of the sources, one at a time,
builds the copy and runs the tests of the area. A defect is noticed when a test fails. Prints the defects
that were not noticed; fails when one of them has no reason in the list, or when less than 95 % of an
area were noticed.
"""

import argparse
import dataclasses
import json
import os
import pathlib
import shutil
import subprocess
import sys
import time
import tomllib

ROOT = pathlib.Path(__file__).resolve().parent.parent
LISTS = ROOT / "tools" / "mutations"
# Contains a copy of the sources for each preset, with its build folder and Wine prefix.
TREES = ROOT / "build" / "mutate"
MIN_NOTICED_PERCENT = 95

# A defect may leave a variable unused. The warning must not count as noticing the defect.
CONFIGURATION = {
    # Without debug information and with a fast linker, because linking takes most of the time.
    "native": ["-D", "QUILL_WGC_WERROR=OFF", "-D", "CMAKE_CXX_FLAGS_DEBUG=-O1",
               "-D", "CMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold"],
    "mingw": ["-D", "QUILL_WGC_WERROR=OFF"],
}


@dataclasses.dataclass
class Area:
    preset: str
    targets: list
    # The options of ctest that select the area's tests. The tests of the second list run only when those
    # of the first notice nothing.
    tests: list
    under_wine: bool
    test_seconds: int  # A defect may cause an endless loop. No correct test takes nearly as long.


AREAS = {
    # Without the soak and the fuzz programs, whose failures do not name the behaviour that broke.
    "src": Area("native", targets=["session_tests", "unit_diff_rects_test",
                                   "unit_frame_buffer_capacity_test", "unit_wgc_log_test"],
                tests=[["-R", "^(session|unit)_", "-E", "^session_(soak|failures_)"],
                       ["-R", "^session_failures_"]],
                under_wine=False, test_seconds=60),
    "projection": Area("native", targets=["winrt_test"], tests=[["-R", "^winrt_test$"]],
                       under_wine=False, test_seconds=60),
    "quill-grab": Area("mingw", targets=["quill_grab_test", "quill_grab_targets_test",
                                         "quill_grab_program_test", "quill_grab_report_test",
                                         "quill_grab_report_sample", "quill-grab", "quill-wgc",
                                         "wine_standin"],
                       tests=[["-R", "^quill_grab_(test|targets_test|program_test)$"]],
                       under_wine=True, test_seconds=120),
    "quill-view": Area("mingw", targets=["quill_view_test", "quill_view_program_test", "quill-view",
                                         "quill-wgc", "wine_standin"],
                       tests=[["-R", "^quill_view_(test|program_test)$"]],
                       under_wine=True, test_seconds=120),
    "wine": Area("mingw", targets=["wine_platform_test", "wine_standin"],
                 tests=[["-R", "^wine_platform_test$"]],
                 under_wine=True, test_seconds=120),
}


def fail(message):
    sys.exit(f"tools/mutate: {message}")


def list_of(area):
    return LISTS / f"{area}.toml"


def read_list(area):
    path = list_of(area)
    if not path.exists():
        return []
    mutations = tomllib.loads(path.read_text(encoding="utf-8")).get("mutation", [])
    for mutation in mutations:
        count = (ROOT / mutation["file"]).read_text(encoding="utf-8").count(mutation["old"])
        if count != 1:
            fail(f"{mutation['file']} contains this {count} times instead of once; correct "
                 f"{path.relative_to(ROOT)}:\n{mutation['old']}")
    return mutations


def copy_sources(tree):
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True,
                           stdout=subprocess.PIPE, text=True).stdout.splitlines()
    sources = {name for name in names if (ROOT / name).is_file()}
    for name in sources:
        source, target = ROOT / name, tree / name
        # Unchanged files keep their time stamps, so that they are not built again.
        if not target.exists() or target.read_bytes() != source.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, target)
            shutil.copymode(source, target)
    for folder, folders, files in os.walk(tree):
        if pathlib.Path(folder) == tree and "build" in folders:
            folders.remove("build")
        for name in files:
            target = pathlib.Path(folder) / name
            if str(target.relative_to(tree)) not in sources:
                target.unlink()


class Copy:
    """The copy of the sources in which an area's defects are tried."""

    def __init__(self, area):
        self.area = AREAS[area]
        self.tree = TREES / self.area.preset
        self.list = list_of(area).relative_to(ROOT)

    def run(self, *command):
        # Do not use the prefix or the stand-in of an outer with-wine.
        environment = {name: value for name, value in os.environ.items()
                       if not name.startswith("QUILL_WGC_")}
        # One failing case is enough.
        environment["GTEST_FAIL_FAST"] = "1"
        return subprocess.run(command, cwd=self.tree, env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              errors="replace")

    def configure(self):
        preset = self.area.preset
        return self.run("cmake", "--preset", preset, *CONFIGURATION[preset])

    def build(self):
        return self.run("cmake", "--build", "--preset", self.area.preset, "--target",
                        *self.area.targets)

    def test(self, selection):
        wine = ["scripts/with-wine"] if self.area.under_wine else []
        return self.run(*wine, "ctest", "--preset", self.area.preset, "-j", str(os.cpu_count()),
                        "--stop-on-failure", "--timeout", str(self.area.test_seconds),
                        "--no-tests=error", *selection)

    def tests_of(self, mutation):
        return [["-R", mutation["tests"]]] if "tests" in mutation else self.area.tests

    def prepare(self, mutations):
        self.tree.mkdir(parents=True, exist_ok=True)
        copy_sources(self.tree)
        selections = []
        for mutation in mutations:
            selections += [selection for selection in self.tests_of(mutation)
                           if selection not in selections]
        steps = [self.configure, self.build]
        steps += [lambda selection=selection: self.test(selection) for selection in selections]
        for step in steps:
            result = step()
            if result.returncode != 0:
                print(result.stdout, file=sys.stderr)
                fail("the unchanged sources do not pass their tests")

    def is_noticed(self, mutation):
        path = self.tree / mutation["file"]
        sound = path.read_text(encoding="utf-8")
        path.write_text(sound.replace(mutation["old"], mutation["new"]), encoding="utf-8")
        try:
            built = self.build()
            if built.returncode != 0:
                print(built.stdout, file=sys.stderr)
                fail(f"this does not compile; correct {self.list}:\n{describe(mutation)}")
            return any(self.test(selection).returncode != 0
                       for selection in self.tests_of(mutation))
        finally:
            path.write_text(sound, encoding="utf-8")


def describe(mutation):
    def line(text):
        return " ".join(text.split())
    return f"{mutation['file']}\n    - {line(mutation['old'])}\n    + {line(mutation['new'])}"


def try_defects(area, mutations, only, before):
    """Returns the figures of one area. before: those of the run to continue."""
    chosen = list(enumerate(mutations, 1))
    noticed_before = 0
    if only:
        first, _, last = only.partition("-")
        chosen = chosen[int(first) - 1:int(last or first)]
    if before:
        left = {survivor["defect"] for survivor in before["survivors"]}
        chosen = [(number, mutation) for number, mutation in chosen if describe(mutation) in left]
        noticed_before = before["noticed"]

    copy = Copy(area)
    if chosen:
        copy.prepare([mutation for _, mutation in chosen])
    survivors = []
    for number, mutation in chosen:
        begun = time.monotonic()
        noticed = copy.is_noticed(mutation)
        print(f"{number:4} {'noticed' if noticed else 'NOT NOTICED'} "
              f"({time.monotonic() - begun:.0f} s) {describe(mutation) if not noticed else ''}",
              flush=True)
        if not noticed:
            survivors.append(mutation)

    defects = noticed_before + len(chosen)
    noticed = defects - len(survivors)
    print(f"{area}: {noticed} of {defects} defects noticed: {100 * noticed / defects:.1f} %")
    for mutation in survivors:
        print(f"  {describe(mutation)}\n    {mutation.get('unseen', 'No reason given.')}")
    return {
        "tried": len(chosen),
        "defects": defects,
        "noticed": noticed,
        "unexplained": sum("unseen" not in mutation for mutation in survivors),
        "survivors": [{"defect": describe(mutation), "reason": mutation.get("unseen", "")}
                      for mutation in survivors],
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("areas", nargs="*", metavar="AREA",
                        help=f"one of {', '.join(AREAS)}; default: all")
    parser.add_argument("--check", action="store_true",
                        help="only check that every defect in the lists matches its file")
    parser.add_argument("--only", metavar="FROM-TO",
                        help="try only these defects of one area, counted from 1")
    parser.add_argument("--json", metavar="FILE", type=pathlib.Path,
                        help="write each area's figures to FILE, which keeps those of other areas")
    parser.add_argument("--again", action="store_true",
                        help="try only the defects that the run that wrote FILE did not notice; the "
                             "others count as noticed. Try all defects of areas that FILE lacks")
    arguments = parser.parse_args()
    areas = arguments.areas or list(AREAS)
    for area in areas:
        if area not in AREAS:
            parser.error(f"unknown area {area}: use {', '.join(AREAS)}")
    if arguments.only and len(areas) != 1:
        parser.error("--only needs one AREA, because the numbers belong to one list")
    if arguments.again and not arguments.json:
        parser.error("--again needs the --json FILE of an earlier run")

    # Read all lists before the first build, so that a mistake in a list shows at once.
    lists = {area: read_list(area) for area in areas}
    figures = {}
    if arguments.json and arguments.json.exists():
        figures = json.loads(arguments.json.read_text(encoding="utf-8"))
    passed = True
    for area, mutations in lists.items():
        if not mutations:
            print(f"{area}: {list_of(area).relative_to(ROOT)} lists no defect")
            passed = False
        elif arguments.check:
            print(f"{area}: {len(mutations)} defects, all match")
        else:
            before = figures.get(area) if arguments.again else None
            result = try_defects(area, mutations, arguments.only, before)
            score = 100 * result["noticed"] / result["defects"]
            passed = passed and not result["unexplained"] and score >= MIN_NOTICED_PERCENT
            figures[area] = result
            if arguments.json:
                # Write after each area, because the next one takes long.
                arguments.json.write_text(json.dumps(figures, indent=1) + "\n", encoding="utf-8")
    return 0 if passed else 1


if __name__ == "__main__":
    sys.exit(main())
