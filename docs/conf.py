"""Makes one site of the repository's Markdown pages and the header's comments; see scripts/docs.

The pages are plain Markdown, to be read as files as well. What only the site has is added here: the
navigation, the interface behind docs/reference.md, and links from the names of functions to it.
"""

import os
import pathlib
import re
import xml.etree.ElementTree as ElementTree

from docutils import nodes
from sphinx import addnodes

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOXYGEN_XML = pathlib.Path(os.environ["QUILL_WGC_DOXYGEN_FOLDER"]) / "xml"

project = "libquill-wgc"
author = "the libquill-wgc authors"
copyright = "2026 the libquill-wgc authors"
version = release = re.search(
    r"^project\([^)]*\bVERSION\s+([0-9.]+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"),
    re.MULTILINE).group(1)

extensions = ["myst_parser", "breathe"]
root_doc = "docs/index"
include_patterns = ["*.md", "**/*.md"]
exclude_patterns = ["build", ".github"]
nitpicky = True
# Types of Windows and of the C library, which the pages do not describe.
nitpick_ignore = [("c:identifier", name) for name in (
    "HWND", "HMONITOR", "bool", "size_t",
    *(f"{sign}int{bits}_t" for sign in ("", "u") for bits in (8, 16, 32, 64)))]

myst_heading_anchors = 4
breathe_projects = {"header": str(DOXYGEN_XML)}
breathe_default_project = "header"
breathe_domain_by_extension = {"h": "c"}

html_theme = "furo"
html_title = f"{project} {version}"
html_static_path = ["site.css"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_sphinx = False
html_theme_options = {
    "light_css_variables": {"color-brand-primary": "#0b5cad", "color-brand-content": "#0b5cad"},
    "dark_css_variables": {"color-brand-primary": "#6cb2ff", "color-brand-content": "#6cb2ff"},
}

NAVIGATION = {
    "Getting started": ["docs/getting-started-windows", "docs/getting-started-linux"],
    "Using the library": [
        "docs/reference", "docs/threads", "docs/buffers", "docs/texture-output",
        "docs/change-detection", "docs/logging", "docs/troubleshooting", "docs/windows", "docs/faq"],
    "Tools": ["docs/quill-check", "docs/quill-grab"],
    "Inside": ["docs/architecture", "docs/shaders", "docs/projection", "wine/README"],
    # And whatever page is not named here.
    "The project": ["README", "CHANGELOG", "docs/testing", "docs/reliability"],
}


def toctrees(found):
    others = sorted(found - {root_doc}.union(*NAVIGATION.values()))
    for caption, pages in NAVIGATION.items():
        if caption == "The project":
            pages = pages + others
        # Other pages go by their titles; the README's is the project's name.
        entries = "\n".join(
            "README </README>" if page == "README" else "/" + page for page in pages)
        yield f"```{{toctree}}\n:hidden:\n:caption: {caption}\n\n{entries}\n```\n"


def interface():
    """The header's comments; a heading for each function puts it into the page's contents."""
    header = ElementTree.parse(DOXYGEN_XML / "libquill__wgc_8h.xml")
    yield """
## The header in full

```{doxygenfile} libquill_wgc.h
:sections: briefdescription detaileddescription enum typedef
```
"""
    for function in header.iterfind(".//memberdef[@kind='function']/name"):
        yield f"### {function.text}\n\n```{{doxygenfunction}} {function.text}\n```\n"


def add_what_only_the_site_has(app, name, source):
    if name == "docs/index":
        source[0] += "\n" + "\n".join(toctrees(app.env.found_docs))
    elif name == "docs/reference":
        source[0] += "\n".join(interface())


def link_names_of_functions(app, doctree):
    for literal in list(doctree.findall(nodes.literal)):
        name = literal.astext().removesuffix("()")
        if not re.fullmatch(r"(is_)?wgc_\w+", name):
            continue
        if isinstance(literal.parent, (nodes.reference, nodes.title, addnodes.pending_xref)):
            continue
        link = addnodes.pending_xref(
            "", literal.deepcopy(), refdomain="c", reftype="func", reftarget=name,
            refdoc=app.env.docname, refwarn=True)
        literal.replace_self(link)


def name_folders(app, doctree):
    """A page may link to a folder of the repository, of which the site has nothing to show."""
    page = ROOT / pathlib.Path(app.env.docname).parent
    for link in list(doctree.findall(addnodes.pending_xref)):
        if (page / link["reftarget"]).is_dir():
            link.replace_self(link.children)


def setup(app):
    app.connect("source-read", add_what_only_the_site_has)
    app.connect("doctree-read", link_names_of_functions)
    app.connect("doctree-read", name_folders)
