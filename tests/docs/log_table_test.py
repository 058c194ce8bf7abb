#!/usr/bin/env python3
"""log_table_test.py ROOT: docs/logging.md has every line that src/ logs, with its level, and no other.

A format of "%s" alone stands for the text that is passed with it.
"""

import pathlib
import re
import sys

LEVELS = {"LogInfo": 1, "LogWarning": 2, "LogError": 3}
STRING = r'"(?:[^"\\]|\\.)*"'
CALL = re.compile(rf"WgcLogf\(\s*(\w+),\s*((?:{STRING}\s*)+)(?:,\s*({STRING})\s*\))?")
ROW = re.compile(r"^\| `([^`]+)` \| (\d) \|", re.MULTILINE)


def unquoted(literals):
    return "".join(literal[1:-1] for literal in re.findall(STRING, literals))


def logged_lines(folder):
    for source in sorted([*folder.rglob("*.cpp"), *folder.rglob("*.h")]):
        text = source.read_text(encoding="utf-8")
        calls = text.count("WgcLogf(") - text.count("void WgcLogf(")
        matches = list(CALL.finditer(text))
        if len(matches) != calls:
            sys.exit(f"{source}: {calls} calls of WgcLogf, of which {len(matches)} could be read")
        for level, literals, argument in (match.groups() for match in matches):
            line = unquoted(literals)
            yield (unquoted(argument) if line == "%s" and argument else line), LEVELS[level]


def main():
    root = pathlib.Path(sys.argv[1])
    page = root / "docs" / "logging.md"
    rows = [(text, int(level)) for text, level in ROW.findall(page.read_text(encoding="utf-8"))]
    lines = set(logged_lines(root / "src"))
    if not lines:
        sys.exit("src/ logs nothing")
    wrong = [f"src/ logs {line}, which the table lacks" for line in sorted(lines - set(rows))]
    wrong += [f"the table has {row}, which src/ does not log" for row in sorted(set(rows) - lines)]
    wrong += [f"the table has {row} twice" for row in sorted(set(rows)) if rows.count(row) > 1]
    if wrong:
        sys.exit("\n".join(f"{page}: {line}" for line in wrong))


main()
