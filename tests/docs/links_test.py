#!/usr/bin/python3
"""links_test.py ROOT: every link of every Markdown page leads to a file or folder of the repository,
and its anchor to a heading, by the names that code hosts give to headings. Links to other sites are
not followed.
"""

import html.parser
import os
import pathlib
import sys
import urllib.parse

from markdown_it import MarkdownIt
from mdit_py_plugins.anchors import anchors_plugin

from pages import markdown_files

MARKDOWN = MarkdownIt("commonmark").enable("table").use(anchors_plugin, max_level=6)


class HtmlLinks(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.links = []

    def handle_starttag(self, tag, attrs):
        self.links += [value for name, value in attrs if name in ("href", "src") and value]


class Page:
    def __init__(self, path):
        self.anchors = set()
        self.links = []
        self._read(MARKDOWN.parse(path.read_text(encoding="utf-8")))

    def _read(self, tokens):
        for token in tokens:
            if token.type == "heading_open":
                self.anchors.add(token.attrs["id"])
            elif token.type in ("link_open", "image"):
                self.links.append(token.attrs.get("href") or token.attrs.get("src"))
            elif token.type in ("html_block", "html_inline"):
                reader = HtmlLinks()
                reader.feed(token.content)
                self.links += reader.links
            self._read(token.children or [])


def fault(root, pages, path, link):
    url = urllib.parse.urlsplit(link)
    if url.scheme or url.netloc:
        return None
    target = path
    if url.path:
        if url.path.startswith("/"):
            return "is absolute"
        target = pathlib.Path(os.path.normpath(path.parent / urllib.parse.unquote(url.path)))
        if not target.is_relative_to(root):
            return "leaves the repository"
        if not target.exists():
            return "leads to nothing"
    if url.fragment and target.suffix == ".md" and url.fragment not in pages[target].anchors:
        return "names a heading that is not there"
    return None


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    pages = {path: Page(path) for path in markdown_files(root)}
    if not any(page.links for page in pages.values()):
        sys.exit("no page has a link")
    wrong = []
    for path, page in pages.items():
        for link in page.links:
            what = fault(root, pages, path, link)
            if what:
                wrong.append(f"{path.relative_to(root)}: {link} {what}")
    if wrong:
        sys.exit("\n".join(wrong))


main()
