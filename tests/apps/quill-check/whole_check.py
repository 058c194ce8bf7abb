#!/usr/bin/env python3
"""whole_check.py JSON DOM MEASURED: the report of a whole run in which nothing failed is complete."""

import html.parser
import json
import pathlib
import re
import sys

NUMBERS = list(range(1, 24))


class Page(html.parser.HTMLParser):
    """What is loaded, and the texts of the first table's rows."""

    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.loaded, self.rows, self.tables = [], [], 0

    def handle_starttag(self, tag, attributes):
        self.loaded += [value for name, value in attributes if name in ("src", "href")]
        self.tables += tag == "table"
        if tag == "tr" and self.tables == 1:
            self.rows.append("")

    def handle_data(self, data):
        if self.tables == 1 and self.rows:
            self.rows[-1] += data


failures = 0


def expect(what, actual, expected):
    global failures
    if actual != expected:
        print(f"{what}: {actual!r} instead of {expected!r}", file=sys.stderr)
        failures += 1


report_path, dom_path, measured_path = map(pathlib.Path, sys.argv[1:])
report = json.loads(report_path.read_text(encoding="utf-8"))
checks = report["checks"]
expect("answer", (report["answer"], report["exitCode"]), ("works", 0))
expect("checks", [check["number"] for check in checks], NUMBERS)
expect("failures", [check["notes"] for check in checks if check["verdict"] == "FAIL"], [])
skipped = [check["number"] for check in checks if check["verdict"] == "SKIP"]
expect("what the stand-in cannot carry", skipped, [20, 23])
for check in checks:
    expect("fields", set(check),
           {"number", "name", "promise", "verdict", "notes", "figures", "log", "ms"})
    expect(f"notes of {check['number']}", bool(check["notes"]), True)
expect("the hash of the DLL", bool(re.fullmatch("[0-9a-f]{64}", report["library"]["sha256"])), True)
expect("an adapter with a monitor", bool(report["machine"]["adapters"][0]["monitors"]), True)

page = Page()
page.feed(dom_path.read_text(encoding="utf-8"))
rows = [" ".join(row.split()) for row in page.rows[1:]]
expect("rows", len(rows), len(checks))
for row, check in zip(rows, checks):
    expect(row, row.startswith(f"{check['number']}{check['verdict']}{check['name']}"), True)
    expect(row, all(note["text"] in row for note in check["notes"]), True)
expect("loaded from elsewhere", [url for url in page.loaded if not url.startswith("data:")], [])
expect("pictures", len(page.loaded) > 0, True)
inner, scrolled = map(int, re.search(r'data-widths="(\d+),(\d+)"', measured_path.read_text(
    encoding="utf-8")).groups())
expect("narrow", inner <= 500, True)
expect(f"width of the page in a window of {inner}", scrolled <= inner, True)
sys.exit(failures > 0)
