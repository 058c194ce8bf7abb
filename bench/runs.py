"""Builds the benches and runs them, again where a figure exceeds its bound."""
import json
import os
import pathlib
import subprocess
import sys

import bounds

ROOT = pathlib.Path(__file__).resolve().parent.parent
OUT = ROOT / "build" / "bench"


def build(folder):
    """Builds the bench for Windows in `folder`, and the native ones without sanitizers; returns the
    folder of the native programs."""
    native = OUT / "native"
    OUT.mkdir(parents=True, exist_ok=True)
    steps = [
        ["cmake", "--preset", "mingw", "-B", folder],
        ["cmake", "--build", folder, "--target", "quill_bench", "quill-wgc", "wine_standin"],
        ["cmake", "--preset", "native", "-B", native, "-D", "CMAKE_BUILD_TYPE=Release",
         "-D", "CMAKE_CXX_FLAGS=-g", "-D", "QUILL_WGC_SANITIZE="],
        ["cmake", "--build", native, "--target", "frame_instructions", "streams_bench"],
    ]
    for step in steps:
        done = subprocess.run(step, cwd=ROOT, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, check=False)
        if done.returncode != 0:
            sys.exit(f"{done.stdout}\nscripts/bench: this command failed: {' '.join(map(str, step))}")
    return native / "bin"


def run_bench(command, wanted, seconds, environment=None):
    """Runs the benches whose names match and returns Google Benchmark's JSON."""
    done = subprocess.run(
        [*command, "--benchmark_format=json", f"--benchmark_filter={wanted}",
         f"--benchmark_min_time={seconds}"],
        cwd=ROOT, env=environment, stdout=subprocess.PIPE, timeout=1800, check=False)
    if done.returncode != 0:
        sys.exit(f"scripts/bench: {command[-1].name} failed")
    # with-wine may have printed a line about a new prefix before.
    return json.loads(done.stdout[done.stdout.index(b"{"):])


def run_all(folder, native, wanted, seconds):
    """Returns the JSON of the bench for Windows with the rows of the native one added."""
    environment = dict(os.environ, QUILL_WGC_STANDIN=str(folder / "wine"))
    result = run_bench(["scripts/wine-run", folder / "bin" / "quill_bench.exe"], wanted, seconds,
                       environment)
    result["benchmarks"] += run_bench([native / "streams_bench"], wanted, seconds)["benchmarks"]
    return result


def measure(run, wanted, seconds):
    """Returns the result of `run` and its rows by name; each row also holds the number of tries."""
    result = run(wanted, seconds)
    if not result["benchmarks"]:
        sys.exit(f"scripts/bench: no figure has a name that matches {wanted}")
    rows = {row["name"]: dict(row, tries=1) for row in result["benchmarks"]}
    for attempt in range(2, bounds.TRIES + 1):
        names = bounds.missed_ratios(rows)
        patterns = names + [f"growth/{mode}/.*" for mode in bounds.missed_growth(rows)]
        if not patterns:
            break
        print(f"Above their bounds, measuring again: {', '.join(patterns)}", file=sys.stderr)
        for row in run(f"^({'|'.join(patterns)})$", seconds * 2)["benchmarks"]:
            before = rows[row["name"]]
            # Keep the shortest time of all tries.
            if "ns_per_pixel" in row and row["ns_per_pixel"] > before["ns_per_pixel"]:
                row = before
            rows[row["name"]] = dict(row, tries=attempt)
    result["benchmarks"] = list(rows.values())
    return result, rows
