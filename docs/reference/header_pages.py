#!/usr/bin/python3
"""Makes the pages of the function reference out of the public headers, whose comments are plain C.

    header_pages.py HEADER... OUT

Writes OUT/headers/NAME.h, the header with its comments in the form that Doxygen takes (their text as embedded
reStructuredText, which Breathe hands on), and OUT/reference/*.rst, one page for each section of the header, with its
text and everything that it declares, in the header's order. What the headers have to keep to for that:

    /* ---...--- \\n * Title ... */      begins a section, whose text may follow the title
    /* ... */ before a declaration      documents it, and those that follow without a comment of their own
    code /* ... */                      documents a member or enumerator
    indented `name   text` lines        a list of arguments; other indented lines stay as they are
"""
import os
import re
import sys

COMMENT = re.compile(r"/\*(.*?)\*/", re.S)
# File names, and all that has a capital inside: names of functions, types, arguments and members.
NAME = re.compile(r"(?<![\w.])(?:\w+\.h\b|[Vv]ekr?[A-Z]\w*|[a-z]+[A-Z]\w*)(?![\w(]*\.\.\.)")


def plain_lines(comment):
    """The comment's lines without stars; indentation beyond the first blank stays."""
    lines = [re.sub(r"^\s*\*? ?", "", line, count=1) if i else line.strip()
             for i, line in enumerate(comment.split("\n"))]
    lines = [line.rstrip() for line in lines if not re.fullmatch(r"\s*-{10,}\s*", line)]
    while lines and not lines[-1]:
        lines.pop()
    while lines and not lines[0]:
        lines.pop(0)
    return lines


class Header:
    """Finds names, so that text can point to them."""

    def __init__(self, text):
        code = COMMENT.sub("", text)
        self.functions = set(re.findall(r"(\w+)\(", code)) - {"__attribute__", "visibility", "defined"}
        self.structs = set(re.findall(r"typedef struct (\w+)", code))


def inline(words, names):
    """Text as reStructuredText, with names marked."""
    out, last = [], 0
    words = words.replace("`", "")
    for match in NAME.finditer(words):
        name = match.group()
        out.append(re.sub(r"([\\*`|_])", r"\\\1", words[last:match.start()]))
        last = match.end()
        before = out[-1][-1:] if out[-1] else ""
        if name in names.functions:
            called = words.startswith("(", last) and not words.startswith("()", last)
            mark = f":c:func:`{name} <{name}>`" if called else f":c:func:`{name}`"
            last += 2 * words.startswith("()", last)
        elif name in names.structs:
            mark = f":c:struct:`{name}`"
        else:
            mark = f"``{name}``"
        # Inline marks need blanks or the like around them: a backslash and a blank are one that doesn't show.
        out.append(("\\ " if before and not before.isspace() else "") + mark)
        if words[last:last + 1] and not words[last].isspace():
            out.append("\\ ")
    out.append(re.sub(r"([\\*`|_])", r"\\\1", words[last:]))
    return "".join(out)


def indent_of(line):
    return len(line) - len(line.lstrip())


def list_of(block):
    """[(term, text)] if the block is a list of arguments, else None."""
    entries, base = [], indent_of(block[0])
    for line in block:
        match = re.match(r"( +)(\S(?:.*?\S)?) {2,}(\S.*)", line)
        if match and indent_of(line) == base:
            entries.append([match.group(2), match.group(3)])
        elif indent_of(line) == base and (match := re.match(r" +((?:p[A-Z]\w+, )+p[A-Z]\w+)  (\S.*)", line)):
            entries.append([match.group(1), match.group(2)])
        elif entries and indent_of(line) > base + 2:
            entries[-1][1] += " " + line.strip()
        else:
            return None
    return entries


def paragraphs_of(lines):
    """(kind, lines) of the parts of a comment: text, bullets, indented."""
    parts = []
    for line in lines:
        if not line:
            parts.append(("blank", []))
            continue
        if indent_of(line) == 0:
            kind = "text"
            if parts and parts[-1][0] == "text" and not re.match(r"(Errors|Threads)\b", line):
                parts[-1][1].append(line)
                continue
        elif re.match(r" +- ", line):
            kind = "bullets"
        else:
            kind = "indented"
            if parts and parts[-1][0] in ("bullets", "indented"):
                parts[-1][1].append(line)
                continue
        if kind == "bullets" and parts and parts[-1][0] == "bullets":
            parts[-1][1].append(line)
            continue
        parts.append((kind, [line]))
    return [part for part in parts if part[0] != "blank"]


def rst(lines, names):
    """A comment's lines as reStructuredText."""
    out = []
    for kind, block in paragraphs_of(lines):
        if kind == "text":
            words = " ".join(line.strip() for line in block)
            lead = re.match(r"(Errors[^:]*|Threads):\s*", words)
            marked = f"**{lead.group(1)}:** " + inline(words[lead.end():], names) if lead else inline(words, names)
            out += [marked, ""]
        elif kind == "bullets":
            item = []
            for line in block + ["  - "]:
                if re.match(r" +- ?", line) and (line.strip() == "-" or re.match(r" +- \S", line)):
                    if item:
                        out.append("- " + inline(" ".join(item), names))
                    item = [re.sub(r"^ +- ?", "", line)]
                else:
                    item.append(line.strip())
            out.append("")
        elif entries := list_of(block):
            for term, words in entries:
                terms = re.split(r"(, | \.\.\.$)", term)
                out.append("".join(t if i % 2 else f"``{t}``" for i, t in enumerate(terms) if t))
                out += ["    " + inline(words, names), ""]
        else:
            least = min(indent_of(line) for line in block)
            out += [".. code-block:: text", ""] + ["    " + line[least:] for line in block] + [""]
    return out


def embedded(lines, names):
    """A documentation comment with embedded text."""
    return "/**\n@verbatim embed:rst\n" + "\n".join(rst(lines, names)) + "\n@endverbatim\n*/"


def enum_table(code, names):
    """A table of the constants of an enum."""
    rows = re.findall(r"(\w+) = (-?\w+),?[ \t]*(?:/\*(.*?)\*/)?", code, re.S)
    out = [".. list-table::", "   :header-rows: 1", "   :widths: auto", "", "   * - name", "     - value"]
    meanings = any(meaning for _, _, meaning in rows)
    if meanings:
        out.append("     - meaning")
    for name, value, meaning in rows:
        out += [f"   * - ``{name}``", f"     - ``{value}``"]
        if meanings:
            out.append("     - " + inline(" ".join(meaning.split()), names))
    return out + [""]


def slug(title):
    return re.sub(r"[^a-z0-9]+", "-", title.split(":")[0].lower()).strip("-")


class Page:
    taken = set()

    def __init__(self, title, lines, names):
        if slug(title) in Page.taken:
            title = title.split(":", 1)[1].strip()
        title = title[0].upper() + title[1:]
        self.title = title.split(":")[0]
        Page.taken.add(slug(title))
        self.name = slug(title)
        self.body = [self.title, "=" * len(self.title), ""]
        if ":" in title:
            lead = title.split(":", 1)[1].strip()
            self.body += [inline(lead[0].upper() + lead[1:] + ".", names), ""]
        self.body += rst(lines, names)

    def functions(self):
        """A line of links to what the page describes, where that is more than a look tells."""
        found = [line.split()[-1] for line in self.body if line.startswith(".. doxygenfunction::")]
        return [".. rst-class:: functions", ""] + [" ".join(f":c:func:`{name}`" for name in found), ""] \
            if len(found) > 1 else []


def convert(path, names, title):
    """The header for Doxygen, and its pages."""
    text = open(path).read()
    text = re.sub(r"#ifdef __cplusplus\n.*?#endif\n", "", text, flags=re.S)
    out, pages, page, pending, first, last = [], [], None, None, None, 0
    comments = list(COMMENT.finditer(text))

    def declare(code):
        """Puts what a stretch of code declares on the page."""
        for number, item in enumerate( re.finditer(r"typedef struct (\w+) \{.*?\} \w+;|typedef \w+ (\w+);|enum \{.*?\};|"
                                r"[^;{}#]*?\b(\w+)\([^;]*?\);", code, re.S)):
            struct, typedef, function = item.groups()
            if function:
                page.body += [f".. doxygenfunction:: {function}", "   :project: vekr", ""]
            elif struct:
                page.body += [f".. doxygenstruct:: {struct}", "   :project: vekr", "   :members:",
                              "   :undoc-members:", ""]
            elif typedef:
                page.body += [f".. doxygentypedef:: {typedef}", "   :project: vekr", ""]
            else:
                page.body += (rst(pending, names) if pending and number == 0 else []) + enum_table(item.group(), names)

    def document(code):
        """The code with documentation before each of its functions."""
        doc, done, result, position = pending, None, [], 0  # a blank line ends what one comment documents
        for item in re.finditer(r"^(?:VEKR_API |typedef |void |int32_t |enum )", code, re.M):
            result.append(code[position:item.start()])
            position = item.start()
            function = re.match(r"(?!typedef|enum)[^;{}]*?(\w+)\(", code[position:])
            if code.startswith("enum", position):
                doc = None
            elif doc is not None and done is None:
                result.append(embedded(doc, names) + "\n")
                done = function.group(1) if function else ""
            elif not function:
                pass
            elif done and not result[-1].endswith(";\n\n"):
                result.append(embedded([f"What {done} tells holds here too."], names) + "\n")
            else:
                done = ""
                result.append(embedded(["See the text at the beginning of this section."], names) + "\n")
        return "".join(result) + code[position:]

    def members(code):
        return COMMENT.sub(lambda m: "/**< " + re.sub(r"([\\@<>&#%])", r"\\\1", " ".join(m.group(1).split())) + " */",
                           code)

    def flush(stretch):
        if page is not None:
            declare(stretch)
        out.append(document(members(stretch)))

    start = 0
    for comment in comments:
        line_start = text.rfind("\n", 0, comment.start()) + 1
        if text[line_start:comment.start()].strip():
            continue  # behind code: a member's
        if page is None and not pages and first is None:
            first = plain_lines(comment.group(1))  # the file's own
            last = comment.end()
            if title:
                page = Page(title, first[1:] if not first[0] else first, names)
                pages.append(page)
            start = last
            continue
        flush(text[start:comment.start()])
        start = comment.end()
        lines = plain_lines(comment.group(1))
        if re.match(r"\s*-{10,}", comment.group(1)):
            page = Page(lines[0], lines[1:], names)
            pages.append(page)
            pending = None
            continue
        if re.match(r"\s*(/\*|$)", text[start:]) and page is not None:
            page.body += rst(lines, names)  # stands alone
            pending = None
        else:
            pending = lines
    flush(text[start:])
    return "".join(out), pages, first


def main():
    headers, target = sys.argv[1:-1], sys.argv[-1]
    names = Header("".join(open(path).read() for path in headers))
    for folder in ("headers", "reference"):
        os.makedirs(f"{target}/{folder}", exist_ok=True)
    contents = ["Reference", "=========", ""]
    entries = []
    for path in headers:
        base = os.path.basename(path)
        text, pages, first = convert(path, names, None if base == "vekr.h" else "Memory and threads")
        with open(f"{target}/headers/{base}", "w") as file:
            file.write("/** @file */\n" + text)
        if base == "vekr.h":
            contents += rst([re.sub(r"^vekr\.h: t", "T", first[0])] + first[1:], names)
        for page in pages:
            entries.append(page.name)
            with open(f"{target}/reference/{page.name}.rst", "w") as file:
                file.write("\n".join(page.body[:3] + page.functions() + page.body[3:]))
    contents += ["", ".. toctree::", "   :maxdepth: 1", ""] + [f"   {entry}" for entry in entries]
    with open(f"{target}/reference/index.rst", "w") as file:
        file.write("\n".join(contents) + "\n")


main()
