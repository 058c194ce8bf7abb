#!/usr/bin/python3
"""snippets_test.py ROOT: every block marked c in the Markdown pages, and every code block in the
header's comments, compiles without a warning.

A block with an #include is a whole file. Any other is a fragment: the body of a function, which may
use what tests/docs/fragment.h declares.
"""

import concurrent.futures
import pathlib
import re
import subprocess
import sys

from markdown_it import MarkdownIt

from pages import markdown_files

COMPILER = [
    "x86_64-w64-mingw32-gcc", "-std=c11", "-Wall", "-Wextra", "-Werror", "-DUNICODE", "-D_UNICODE",
    "-fsyntax-only", "-x", "c"]


def snippets(root):
    for path in markdown_files(root):
        for token in MarkdownIt("commonmark").parse(path.read_text(encoding="utf-8")):
            if token.type == "fence" and token.info.strip() == "c":
                yield path.relative_to(root), token.map[0] + 2, token.content
    header = root / "include" / "libquill_wgc.h"
    text = header.read_text(encoding="utf-8")
    for block in re.finditer(r"@code\{\.c\}\n(.*?)\n \* @endcode", text, re.DOTALL):
        line = text.count("\n", 0, block.start(1)) + 1
        code = re.sub(r"^ \*", "", block[1], flags=re.MULTILINE)
        yield header.relative_to(root), line, code + "\n"


def compiled(root, page, line, code):
    command = [*COMPILER, f"-I{root / 'include'}", "-"]
    if "#include" in code:
        source = f'#line {line} "{page}"\n{code}'
    else:
        # What a fragment sets up it need not use.
        command.append("-Wno-unused")
        # Braces of its own, so that it may declare its session itself.
        source = ('#include "fragment.h"\nvoid fragment(void* session) {{\n'
                  f'#line {line} "{page}"\n{code}}}}}\n')
    return subprocess.run([*command, f"-I{root / 'tests' / 'docs'}"], input=source, text=True,
                          capture_output=True)


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    found = list(snippets(root))
    for suffix in (".md", ".h"):
        if not any(page.suffix == suffix for page, _, _ in found):
            sys.exit(f"no {suffix} file has a block of C")
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        results = list(pool.map(lambda snippet: compiled(root, *snippet), found))
    if any(result.returncode for result in results):
        sys.exit("".join(result.stderr for result in results))


main()
