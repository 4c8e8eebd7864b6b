# Settings of the documentation site; scripts/docs.sh builds it in a folder of its own, with generated pages added.
import os
import posixpath
import re

from docutils import nodes
from docutils.parsers.rst import directives
from sphinx.util.docutils import SphinxDirective

project = "vekr"
author = "the vekr developers"
copyright = author
version = release = os.environ.get("VEKR_VERSION", "")

extensions = ["myst_parser", "breathe"]
source_suffix = {".rst": "restructuredtext", ".md": "markdown"}
myst_heading_anchors = 3
myst_enable_extensions = ["colon_fence"]
exclude_patterns = ["README.md", "programs", "figures", "checks"]
highlight_language = "text"
default_role = None

breathe_projects = {"vekr": os.environ.get("VEKR_DOXYGEN_XML", "")}
breathe_default_project = "vekr"
breathe_domain_by_extension = {"h": "c"}

# Names of C itself and of its headers, which no page describes.
nitpicky = True
nitpick_ignore = [("c:identifier", name)
                  for name in ("int16_t", "int32_t", "uint8_t", "uint16_t", "uint32_t", "size_t")]

html_theme = "furo"
html_title = "vekr"
html_static_path = ["_static"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_sphinx = False
html_show_copyright = False
html_theme_options = {
    "light_css_variables": {"color-brand-primary": "#a8480f", "color-brand-content": "#a8480f"},
    "dark_css_variables": {"color-brand-primary": "#f0a070", "color-brand-content": "#f0a070"},
}
# Pygments' default styles have too little contrast on one of the two grounds.
pygments_style = "friendly"
pygments_dark_style = "native"

# The pages are read in the repository too, where links lead to its other files. Some of those are pages here, copied
# by scripts/docs.sh; of the rest the path is named.
PAGES = {"CONTRIBUTING.md": "contributing", "BENCHMARKS.md": "benchmarks", "CHANGELOG.md": "changelog",
         "python/README.md": "python"}
FOLDERS = {page: posixpath.dirname(path) for path, page in PAGES.items()}


def links_of_the_site(text, folder):
    def replace(match):
        words, target = match.groups()
        file, _, place = target.partition("#")
        path = posixpath.normpath(posixpath.join(folder, file))
        place = "#" + place if place else ""
        if path in PAGES:
            return f"[{words}]({PAGES[path]}.md{place})"
        if path.startswith("docs/"):
            return f"[{words}]({path[len('docs/'):]}{place})"
        return f"`{path}`" if words.strip("`") in (path, file) else f"{words} (`{path}`)"

    return re.sub(r"(?<!!)\[([^\]]+)\]\((?!\w+:|#)([^)\s]+)\)", replace, text)


def on_source_read(app, docname, source):
    if app.env.doc2path(docname).endswith(".md") and "/" not in docname:
        source[0] = links_of_the_site(source[0], FOLDERS.get(docname, "docs"))


class Gallery(SphinxDirective):
    """Small pictures beside each other; each line of the content is `picture | caption`."""

    has_content = True
    option_spec = {"alt": directives.unchanged_required}

    def run(self):
        gallery = nodes.container(classes=["gallery"])
        for line in self.content:
            picture, caption = (part.strip() for part in line.split("|"))
            words = self.options["alt"] + ": " + caption
            gallery += nodes.figure("", nodes.image(uri=picture, alt=words), nodes.caption("", caption))
        return [gallery]


def on_doctree_read(app, doctree):
    """Parts of programs end where the next one begins: without blank lines."""
    for block in doctree.findall(nodes.literal_block):
        if block.rawsource == block.astext():
            block.rawsource = block.astext().rstrip("\n")
            block[0] = nodes.Text(block.rawsource)


def setup(app):
    app.connect("doctree-read", on_doctree_read)
    app.add_directive("gallery", Gallery)
    app.connect("source-read", on_source_read)
