#!/usr/bin/env python3
"""Shows which lines and branches of src/ and projection/ the native tests reach.

Builds the preset native-coverage, runs its tests and prints, for each file, the share of lines and
branches that ran, the lines that did not run, and the lines with a branch that was never taken. Fails
when a test fails, and below 98 % of the lines or 90 % of the branches.

Reads gcov's JSON. An inline function has a copy in every object, of which the linker keeps one. gcovr
5.2 of Debian 12 reads gcov's text instead, which does not say which branches of unexecuted code belong
to exceptions: --exclude-throw-branches would keep those of all the unused copies.
"""

import collections
import json
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "native-coverage"
FOLDERS = ("src", "projection")
MIN_LINE_PERCENT = 98
MIN_BRANCH_PERCENT = 90


class FileCounts:
    """How often each line of a source file ran, and each branch of each function on a line."""

    def __init__(self, path):
        self.source = path.read_text(encoding="utf-8").splitlines()
        self.lines = collections.Counter()
        self.branches = {}

    def add(self, functions, line):
        number = line["line_number"]
        # A line with only braces is clean-up code, some of it for exceptions only.
        if not any(character.isalnum() for character in self.source[number - 1]):
            return
        self.lines[number] += line["count"]
        taken = []
        for branch in line["branches"]:
            if branch["throw"]:
                # For gcov every call that may throw is a branch: to the code that follows, which is
                # listed first, or to the clean-up. The source has no branch there, so count neither.
                taken.pop()
            else:
                taken.append(branch["count"])
        # The instances of a template begin at the same place and count as one function if they have
        # the same branches. A lambda begins at another place than the function around it.
        key = (number, functions.get(line.get("function_name")), len(taken))
        known = self.branches.setdefault(key, [0] * len(taken))
        self.branches[key] = [a + b for a, b in zip(known, taken)]

    def missed_lines(self):
        return sorted(number for number, count in self.lines.items() if count == 0)

    def missed_branches(self):
        return sorted(key[0] for key, taken in self.branches.items() for t in taken if t == 0)

    def branch_count(self):
        return sum(len(taken) for taken in self.branches.values())


def run(*command):
    result = subprocess.run(command, cwd=ROOT)
    if result.returncode != 0:
        sys.exit(result.returncode)


def build_and_test():
    run("scripts/setup")
    print("Building for Linux with coverage counters", flush=True)
    run("scripts/build", "native-coverage")
    # Counters accumulate over runs, and objects of deleted sources would count as not reached.
    for counters in BUILD.rglob("*.gcda"):
        counters.unlink()
    run("ninja", "-C", BUILD, "--quiet", "-t", "cleandead")
    run("ctest", "--preset", "native-coverage", "-j", "2")


def read_counts():
    notes = [path for path in BUILD.rglob("*.gcno") if path.with_suffix(".o").exists()]
    # An object that is in no test program has notes but no counters; gcov prints a message and counts
    # it as not run.
    gcov = subprocess.run(["gcov", "--branch-probabilities", "--json-format", "--stdout", *notes],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    counts = {}
    for document in map(json.loads, gcov.stdout.splitlines()):
        for file in document["files"]:
            path = pathlib.Path(document["current_working_directory"], file["file"]).resolve()
            if not file["lines"] or not any(path.is_relative_to(ROOT / folder)
                                            for folder in FOLDERS):
                continue
            functions = {function["name"]: (function["start_line"], function["start_column"])
                         for function in file["functions"]}
            name = str(path.relative_to(ROOT))
            if name not in counts:
                counts[name] = FileCounts(path)
            for line in file["lines"]:
                counts[name].add(functions, line)
    return counts


def percent(missed, whole):
    return 100.0 * (whole - missed) / whole if whole else 100.0


def ranges(numbers):
    """Writes 12, 13, 14, 20 as "12-14 20"."""
    spans = []
    for number in sorted(set(numbers)):
        if spans and spans[-1][1] == number - 1:
            spans[-1][1] = number
        else:
            spans.append([number, number])
    return " ".join(str(a) if a == b else f"{a}-{b}" for a, b in spans)


def report(counts):
    print(f"\n{'file':<60}{'lines':>8}{'run':>9}{'branches':>11}{'taken':>9}")
    row = "{:<60}{:>8}{:>7.1f} %{:>11}{:>7.1f} %"
    totals = [0, 0, 0, 0]
    for name, file in sorted(counts.items()):
        figures = (len(file.missed_lines()), len(file.lines),
                   len(file.missed_branches()), file.branch_count())
        totals = [total + figure for total, figure in zip(totals, figures)]
        print(row.format(name, figures[1], percent(*figures[:2]),
                         figures[3], percent(*figures[2:])))
    lines, branches = percent(*totals[:2]), percent(*totals[2:])
    print(row.format("all", totals[1], lines, totals[3], branches))

    for title, missed in (("Lines that did not run:", FileCounts.missed_lines),
                          ("Lines with a branch that was never taken:",
                           FileCounts.missed_branches)):
        print(f"\n{title}")
        for name, file in sorted(counts.items()):
            if missed(file):
                print(f"  {name}: {ranges(missed(file))}")
    return lines, branches


def main():
    build_and_test()
    lines, branches = report(read_counts())
    failed = False
    for what, reached, least in (("lines", lines, MIN_LINE_PERCENT),
                                 ("branches", branches, MIN_BRANCH_PERCENT)):
        if reached < least:
            print(f"scripts/coverage: {reached:.2f} % of the {what}, less than {least} %",
                  file=sys.stderr)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
