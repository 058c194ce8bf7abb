#!/usr/bin/env python3
"""names_test.py ROOT: the functions and constants of the interface that the Markdown pages and the
header's comments name are declared in the header, the header declares what the DLL exports, and the
test cases that the pages name exist.

A name counts when the page marks it as code, or when a comment of the header uses it.
"""

import pathlib
import re
import sys

from pages import markdown_files

NAME = r"(?:is_)?wgc_[a-z0-9_]+|WGC_[A-Z_]+"
MARKED = re.compile(rf"`({NAME}|(?!Windows\.)[A-Z]\w+\.[A-Z]\w+)(?:\([^`]*\))?`")
CASE = re.compile(r"\bTEST(?:_\w+)?\(\s*(\w+),\s*(\w+)\)")
COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    header = root / "include" / "libquill_wgc.h"
    text = header.read_text(encoding="utf-8")
    code = COMMENT.sub("", text)
    functions = set(re.findall(rf"\b({NAME})\(", code))
    declared = functions | set(re.findall(rf"\b({NAME}) =", code))
    exports = root / "src" / "api" / "libquill_wgc.def"
    exported = set(re.findall(rf"^ +({NAME})$", exports.read_text(encoding="utf-8"), re.MULTILINE))
    if not exported or functions != exported:
        sys.exit(f"only in {header.name}: {sorted(functions - exported)}; "
                 f"only in {exports.name}: {sorted(exported - functions)}")

    used = [(header, name) for comment in COMMENT.findall(text)
            for name in re.findall(rf"\b({NAME})\b", comment)]
    for page in markdown_files(root):
        marked = MARKED.findall(page.read_text(encoding="utf-8"))
        used += [(page, name) for name in marked]
    cases = {f"{suite}.{case}" for source in (root / "tests").rglob("*.cpp")
             for suite, case in CASE.findall(source.read_text(encoding="utf-8"))}
    wrong = sorted({f"{path.relative_to(root)}: there is no {name}"
                    for path, name in used if name not in declared | cases})
    if wrong:
        sys.exit("\n".join(wrong))


main()
