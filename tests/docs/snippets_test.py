#!/usr/bin/python3
"""snippets_test.py ROOT: every block marked c in the Markdown pages compiles, without a warning.

A block with an #include is a whole file. Any other is a fragment: the body of a function, which may
use what tests/docs/fragment.h declares.
"""

import concurrent.futures
import os
import pathlib
import subprocess
import sys

from markdown_it import MarkdownIt

FOREIGN = {".git", "build", "third_party"}
COMPILER = [
    "x86_64-w64-mingw32-gcc", "-std=c11", "-Wall", "-Wextra", "-Werror", "-DUNICODE", "-D_UNICODE",
    "-fsyntax-only", "-x", "c"]


def snippets(root):
    for folder, folders, files in os.walk(root):
        folders[:] = sorted(set(folders) - FOREIGN)
        for path in (pathlib.Path(folder, file) for file in sorted(files) if file.endswith(".md")):
            for token in MarkdownIt("commonmark").parse(path.read_text(encoding="utf-8")):
                if token.type == "fence" and token.info.strip() == "c":
                    yield path.relative_to(root), token.map[0] + 2, token.content


def compiled(root, page, line, code):
    command = [*COMPILER, f"-I{root / 'include'}", "-"]
    if "#include" in code:
        source = f'#line {line} "{page}"\n{code}'
    else:
        # What a fragment sets up it need not use.
        command.append("-Wno-unused")
        source = ('#include "fragment.h"\nvoid fragment(void* session) {\n'
                  f'#line {line} "{page}"\n{code}}}\n')
    return subprocess.run([*command, f"-I{root / 'tests' / 'docs'}"], input=source, text=True,
                          capture_output=True)


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    found = list(snippets(root))
    if not found:
        sys.exit("no page has a block marked c")
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        results = list(pool.map(lambda snippet: compiled(root, *snippet), found))
    if any(result.returncode for result in results):
        sys.exit("".join(result.stderr for result in results))


main()
