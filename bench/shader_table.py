#!/usr/bin/env python3
"""Prints the figures of the shader bench as a Markdown table, or puts it into a page between the lines
<!-- NAME figures --> and <!-- end of NAME figures -->."""

import argparse
import json
import pathlib

import page

RATIOS = ["plain", "2", "4", "8", "16", "stream", "memcmp"]


def table(device, results):
    # The times of the programs by size and number of frames, in the order of the results.
    cases = {}
    for result in results:
        case = (f"{result['width']} × {result['height']}", result["frames"])
        cases.setdefault(case, {})[result["program"]] = result["milliseconds"]

    lines = [
        f"{device}:",
        "",
        "| size | frames | nothing, ms | batch 1, ms | " + " | ".join(RATIOS) + " |",
        "|---|---|" + "---:|" * (2 + len(RATIOS)),
    ]
    for (size, frames), times in cases.items():
        base = times["1"]
        ratios = [f"{times[name] / base:.2f}" if name in times else "" for name in RATIOS]
        lines.append(f"| {size} | {frames} | {times['nothing']:.2f} | {base:.2f} | "
                     + " | ".join(ratios) + " |")
    return lines


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--write", metavar="PAGE", type=pathlib.Path)
    parser.add_argument("name")
    parser.add_argument("file", type=pathlib.Path)
    arguments = parser.parse_args()

    lines = table(**json.loads(arguments.file.read_text(encoding="utf-8")))
    if arguments.write:
        page.put_into(arguments.write, arguments.name, lines)
    else:
        print("\n".join(lines))


if __name__ == "__main__":
    main()
