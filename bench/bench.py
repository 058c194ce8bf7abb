#!/usr/bin/python3
"""Measures what a session costs its host, next to the same work written out by hand, and quill-grab's
work on the frames of streams next to swscale's.

Builds the benches, runs those of frames under Wine and those of streams on Linux, counts instructions
under Callgrind, leaves the results in build/bench and prints a summary. Fails when a figure exceeds its bound;
a time must exceed its bound three times in a row, because other programs share the machine. --write also
puts the figures and the chart into docs/performance.md.
"""
# Debian's own Python, because Debian's matplotlib is installed for no other.
import argparse
import json
import pathlib
import subprocess
import sys

import bounds
import instructions
import page
import runs


def print_results(rows, costs):
    for side, other in (("session", "floor"), ("quill-grab", "swscale")):
        lines = list(bounds.ratio_table(rows, other))
        if lines:
            print(f"{'':32}{side:>12}{other:>12}{'ratio':>8}{'bound':>7}")
        for name, time, other_time, ratio, bound, verdict in lines:
            print(f"{name:32}{time:9.1f} us{other_time:9.1f} us{ratio:8.3f}{bound:7.2f}  {verdict}")
    for mode in bounds.GROWTH_MODES:
        for side in ("", "/floor"):
            values = bounds.growth(rows, mode, side).values()
            if values:
                print(f"growth/{mode}{side}: " + ", ".join(f"{v:.2f}" for v in values)
                      + " ns a pixel from the smallest size to the largest")
    for name, row in rows.items():
        if name.startswith(("load", "start", "resize")):
            print(f"{name}: {row['real_time'] / 1000:.1f} ms")
    for mode, cost in costs.items():
        print(f"instructions/{mode}: {cost['constant']:.0f} + {cost['per_row']:.1f} a row")


def write(name, value):
    (runs.OUT / name).write_text(json.dumps(value, indent=2) + "\n", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--build", type=pathlib.Path, default=runs.ROOT / "build" / "mingw",
                        help="the folder to build in (default: build/mingw)")
    parser.add_argument("--filter", default=".*",
                        help="measure only the figures whose names match this regular expression")
    parser.add_argument("--seconds", type=float, default=4, help="for each figure (default: 4)")
    parser.add_argument("--write", action="store_true", help="put the figures into docs/")
    arguments = parser.parse_args()
    if arguments.write and arguments.filter != ".*":
        parser.error("--write needs all figures: leave out --filter")
    folder = arguments.build.resolve()

    subprocess.run(["scripts/setup", "bench"], cwd=runs.ROOT, check=True)
    native = runs.build(folder)
    result, rows = runs.measure(lambda wanted, seconds: runs.run_all(folder, native, wanted, seconds),
                                arguments.filter, arguments.seconds)
    write("frames.json", result)
    costs = instructions.measure_all(native / "frame_instructions")
    write("instructions.json", costs)

    print_results(rows, costs)
    if arguments.write:
        import chart  # needs matplotlib, which only --write uses
        chart.draw(rows, page.CHART)
        page.put_into(page.PAGE, "frame", page.figures_text(folder, result, rows, costs))
        page.put_into(page.PAGE, "stream", page.streams_text(rows))
        print(f"Written: {page.PAGE.relative_to(runs.ROOT)}, {page.CHART.relative_to(runs.ROOT)}")
    misses = [*bounds.check_times(rows), *bounds.check_counts(rows),
              *bounds.check_instructions(costs), *bounds.check_calls(costs)]
    for miss in misses:
        print(f"scripts/bench: {miss}", file=sys.stderr)
    return 1 if misses else 0


if __name__ == "__main__":
    sys.exit(main())
