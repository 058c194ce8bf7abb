#!/usr/bin/env python3
"""Runs the long forms of the tests and writes their figures to docs/reliability.md.

Takes about forty minutes on two cores. The log of each run stays in build/reliability/, so that --only
can repeat some runs and reuse the logs of the others. Exits with 1 when a test fails or a sanitizer
reports an error, and then leaves docs/reliability.md alone; also when a share is below its bound.
"""

import argparse
import datetime
import json
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
LOGS = ROOT / "build" / "reliability"
PAGE = ROOT / "docs" / "reliability.md"

# The beginning of a sanitizer's report.
REPORT = re.compile(r"ERROR: (?:Address|Leak)Sanitizer|WARNING: ThreadSanitizer|runtime error: ")

# The folders of the areas of tools/mutate.
MUTATED = {"src": "src/", "projection": "projection/", "quill-grab": "apps/quill-grab/",
           "quill-view": "apps/quill-view/", "wine": "wine/"}


def log_of(name):
    return LOGS / f"{name}.log"


def outcome_of(name):
    return LOGS / f"{name}.json"


def run(name, command):
    """Runs a command and leaves its log and its outcome in build/reliability/."""
    print(f"{name}: {command}", flush=True)
    begun, of = time.monotonic(), sources()
    with log_of(name).open("w", encoding="utf-8") as log:
        result = subprocess.run(["bash", "-c", command], cwd=ROOT, stdout=log,
                                stderr=subprocess.STDOUT, check=False)
    outcome_of(name).write_text(json.dumps({
        "command": command,
        "seconds": time.monotonic() - begun,
        "passed": result.returncode == 0,
        "date": datetime.date.today().isoformat(),
        "sources": of,
    }), encoding="utf-8")


class Step:
    """The outcome of a run, and the figures in its log."""

    def __init__(self, name):
        if not outcome_of(name).exists():
            sys.exit(f"scripts/reliability: there is no run of {name} yet; add it to --only")
        outcome = json.loads(outcome_of(name).read_text(encoding="utf-8"))
        self.name = name
        self.command = outcome["command"]
        self.seconds = outcome["seconds"]
        self.passed = outcome["passed"]
        self.date = outcome["date"]
        self.sources = outcome["sources"]
        self.log = log_of(name).read_text(encoding="utf-8", errors="replace")
        self.reports = len(REPORT.findall(self.log))

    def total(self, pattern):
        """Returns the sum of the numbers that `pattern` finds; it must find one."""
        found = re.findall(pattern, self.log)
        if not found:
            sys.exit(f"scripts/reliability: {self.name} printed no figure like {pattern}")
        return sum(map(int, found))

    def cases(self):
        return self.total(r"\[  PASSED  \] (\d+) tests?")

    def value(self, key):
        """Returns the value of the last key=value in the log."""
        found = re.findall(rf"(?:^|\s){key}=(\S+)", self.log)
        if not found:
            sys.exit(f"scripts/reliability: {self.name} printed no {key}=")
        return found[-1]


def sources():
    """Returns the commit, marked when the working tree differs from it."""
    return subprocess.run(["git", "describe", "--always", "--dirty", "--exclude", "*"], cwd=ROOT,
                          stdout=subprocess.PIPE, text=True, check=True).stdout.strip()


def number(value):
    return f"{int(value):,}"


def run_steps(arguments):
    """Runs the steps, reads their figures and returns the steps, the page's rows and the defects."""
    fuzz_seconds, frames, polls = arguments.fuzz_seconds, arguments.frames, arguments.polls
    steps = {}

    def step(name, command, has_bound=False):
        """has_bound: the command also fails when a share is below its bound; its figures count."""
        if not arguments.only or name in arguments.only:
            run(name, command)
        read = steps[name] = Step(name)
        log = log_of(name).relative_to(ROOT)
        outcome = "passed" if read.passed and not read.reports else "FAILED"
        print(f"  {name} {outcome} after {read.seconds:.0f} s: {log}", flush=True)
        if not read.passed and not has_bound:
            # A failed run may have stopped half-way, so its figures mean nothing.
            sys.exit(f"scripts/reliability: {name} failed; its output is in {log}")
        return read

    rows = []

    def row(what, figure, of):
        rows.append((what, figure, of))

    native = step("native", "scripts/build native && ctest --preset native --verbose -j 2")
    row("Cases under AddressSanitizer, LeakSanitizer and UBSan", number(native.cases()), native)
    row("Faults injected and survived", number(native.total(r"faults_injected=(\d+)")), native)

    threads = step("threads", "scripts/build native-tsan threads && "
                              "ctest --preset native-tsan --verbose -R '^threads_'")
    row("Cases under ThreadSanitizer", number(threads.cases()), threads)

    soak = step("soak", f"build/native/bin/session_soak --frames={frames}")
    # The first frame that is lost or wrong ends the run.
    row("Frames soaked, each verified", number(soak.value("frames")), soak)
    row("Failed calls during the soak", number(soak.value("failed_calls")), soak)
    row("Allocations in steady frames",
        number(int(soak.value("steady_new")) + int(soak.value("steady_malloc"))), soak)

    fuzz = step("fuzz", f"cmake --preset native-fuzz -D QUILL_WGC_FUZZ_SECONDS={fuzz_seconds} && "
                        "cmake --build --preset native-fuzz && "
                        "ctest --preset native-fuzz --verbose -j 2")
    # Restore the preset's short form for later runs.
    subprocess.run(["cmake", "--preset", "native-fuzz", "-U", "QUILL_WGC_FUZZ_SECONDS"], cwd=ROOT,
                   stdout=subprocess.DEVNULL, check=True)
    row("Inputs fuzzed", number(fuzz.total(r"stat::number_of_executed_units:\s+(\d+)")), fuzz)

    wine = step("wine", "scripts/build mingw && "
                        "scripts/with-wine ctest --preset mingw --verbose -j 2")
    row("Cases under Wine, on Direct3D 11 and real windows", number(wine.cases()), wine)

    engine = step("engine", "scripts/with-wine ctest --preset mingw --verbose "
                            "-R '^engine_generated_test$'")
    row("Of these: generated frames compared with the CPU's answer",
        number(engine.total(r"\[-+\] (\d+) tests from Case/GeneratedFrames \(")), engine)

    # Without CTest, which has the time limit of the short form.
    windows = step("windows", f"QUILL_WGC_SOAK_POLLS={polls} scripts/with-wine scripts/wine-run "
                              "build/mingw/bin/e2e_soak_test.exe")
    row("Polls of two real windows", number(windows.value("polls")), windows)
    row("Frames of real windows, each verified", number(windows.value("verified")), windows)
    row("Handles before and after",
        f"{windows.value('handles_before')}, {windows.value('handles_after')}", windows)

    coverage = step("coverage", "scripts/coverage", has_bound=True)
    totals = re.findall(r"^all\s+\d+\s+([\d.]+) %\s+\d+\s+([\d.]+) %", coverage.log, re.MULTILINE)
    if not totals:
        sys.exit("scripts/reliability: scripts/coverage printed no totals")
    lines, branches = totals[-1]
    row("Lines of src/ and projection/ that the native tests run", f"{lines} %", coverage)
    row("Branches taken", f"{branches} %", coverage)

    figures = LOGS / "defects_by_area.json"
    again = " --again" if arguments.again else ""
    mutations = {}
    for area, folder in MUTATED.items():
        name, what = f"mutate-{area}", f"Defects put into {folder}, of which noticed"
        # These runs take by far the longest, so the page may leave some of them out.
        if arguments.only and name not in arguments.only and not (LOGS / f"{name}.json").exists():
            row(what, "not run", None)
            continue
        mutate = step(name, f"tools/mutate {area}{again} --json {figures.relative_to(ROOT)}",
                      has_bound=True)
        of_area = mutations[area] = json.loads(figures.read_text(encoding="utf-8"))[area]
        share = 100 * of_area["noticed"] / of_area["defects"]
        figure = f"{number(of_area['defects'])}, {number(of_area['noticed'])} ({share:.1f} %)"
        if of_area["tried"] < of_area["defects"]:
            figure += f"; {of_area['tried']} tried in this run, the others as in the one before"
        row(what, figure, mutate)

    return steps, rows, mutations


def write_page(steps, rows, mutations):
    reports = sum(step.reports for step in steps.values())
    rows.append(("Crashes, leaks and sanitizer reports", str(reports), None))
    width = max(len(what) for what, _, _ in rows)
    print()
    for what, figure, _ in rows:
        print(f"{what:<{width}}  {figure}")
    if reports:
        print("scripts/reliability: a sanitizer reported an error", file=sys.stderr)
        return 1

    text = [
        "# Reliability",
        "",
        "Figures of the long test runs, as `scripts/reliability` measured and wrote them. What is",
        "tested where: [testing.md](testing.md).",
        "",
        "| What | Figure | Run |",
        "|---|---|---|",
    ]
    text += [f"| {what} | {figure} | {step.name if step else '' if figure == 'not run' else 'all'} |"
             for what, figure, step in rows]
    text += ["", "## The runs", "", "| Run | Command | Seconds | Date | Sources |",
             "|---|---|---|---|---|"]
    text += [f"| {step.name} | `{step.command}` | {step.seconds:.0f} | {step.date} | {step.sources} |"
             for step in steps.values()]
    text += ["", "## Not covered", "",
             "The reasons: [testing.md](testing.md#what-the-native-tests-do-not-reach).", ""]
    text += not_covered(steps["coverage"].log)
    text += ["", "## Defects not noticed", ""]
    survivors = [survivor for of_area in mutations.values() for survivor in of_area["survivors"]]
    if not survivors:
        text.append("None.")
    for survivor in survivors:
        text += ["```", survivor["defect"], "```", "", survivor["reason"], ""]
    PAGE.write_text("\n".join(text).rstrip() + "\n", encoding="utf-8")
    print(f"\nWritten to {PAGE.relative_to(ROOT)}")
    missed = [step.name for step in steps.values() if not step.passed]
    if missed:
        print(f"scripts/reliability: below its bound: {', '.join(missed)}", file=sys.stderr)
    return 1 if missed else 0


def not_covered(log):
    """Returns the last part of the output of scripts/coverage."""
    begin = log.index("Lines that did not run:")
    listing = log[begin:].strip().splitlines()
    return ["```", *(line.rstrip() for line in listing), "```"]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--fuzz-seconds", type=int, default=300, help="for each fuzz program")
    parser.add_argument("--frames", type=int, default=200_000, help="of the native soak")
    parser.add_argument("--polls", type=int, default=20_000, help="of the soak under Wine")
    parser.add_argument("--again", action="store_true",
                        help="try only the defects that no test noticed last time")
    parser.add_argument("--only", nargs="+", metavar="RUN",
                        help="run only these, and read the last logs of the others")
    arguments = parser.parse_args()
    LOGS.mkdir(parents=True, exist_ok=True)
    subprocess.run(["scripts/setup"], cwd=ROOT, check=True)
    return write_page(*run_steps(arguments))


if __name__ == "__main__":
    sys.exit(main())
