"""The project's Markdown pages."""

import os
import pathlib

# Not the project's own, or made by it.
FOREIGN = {".git", "build"}


def markdown_files(root):
    for folder, folders, files in os.walk(root):
        folders[:] = sorted(set(folders) - FOREIGN)
        yield from (pathlib.Path(folder, file) for file in sorted(files) if file.endswith(".md"))
