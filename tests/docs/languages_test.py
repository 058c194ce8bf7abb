#!/usr/bin/env python3
"""languages_test.py ROOT: docs/languages.md shows the same languages at each step, and each line of code
occurs in the example that its row links to. Space does not count.
"""

import pathlib
import re
import sys

STEPS = ["Load", "Log", "Create", "Start", "Poll", "Use the frame", "Release", "End"]
HEADING = re.compile(r"^### (.+)$", re.MULTILINE)
ROW = re.compile(r"^\| \[(.+?)\]\((\S+)\) \| (.+) \|$", re.MULTILINE)


def main():
    page = pathlib.Path(sys.argv[1]) / "docs" / "languages.md"
    _, *parts = HEADING.split(page.read_text(encoding="utf-8"))
    steps = {name: ROW.findall(text) for name, text in zip(parts[::2], parts[1::2])}
    steps = {name: rows for name, rows in steps.items() if name in STEPS}
    if list(steps) != STEPS:
        sys.exit(f"{page}: these steps, in another order, or others: {', '.join(steps)}")
    wrong = []
    for name, rows in steps.items():
        languages = [language for language, _, _ in rows]
        if languages != [language for language, _, _ in steps[STEPS[0]]]:
            wrong.append(f"{name} has other languages than {STEPS[0]}: {', '.join(languages)}")
        for language, link, cell in rows:
            source = "".join((page.parent / link).read_text(encoding="utf-8").split())
            codes = re.findall(r"`([^`]+)`", cell)
            wrong += [f"{name}: {language} has no line of code"] * (not codes)
            wrong += [f"{name}: {link} has no {code}" for code in codes
                      if "".join(code.replace("\\|", "|").split()) not in source]
    if wrong:
        sys.exit("\n".join(f"{page}: {line}" for line in wrong))


main()
