#!/usr/bin/python3
"""Looks that every link and picture of the built site leads somewhere inside it, that nothing is fetched from outside, and
that each public function has its entry: check_site.py SITE HEADER..."""
import os
import re
import sys
from html.parser import HTMLParser
from urllib.parse import unquote, urldefrag


class Page(HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.targets, self.places, self.pictures = [], {""}, []
        self.feed(open(path, encoding="utf-8").read())

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        for key in ("id", "name"):
            if attributes.get(key):
                self.places.add(attributes[key])
        link = attributes.get("href") if tag in ("a", "link") else attributes.get("src")
        if link is not None:
            self.targets.append((tag, link))
        if tag == "img" and not attributes.get("alt"):
            self.pictures.append(link)


def main():
    site, headers = os.path.abspath(sys.argv[1]), sys.argv[2:]
    pages, faults = {}, []
    for folder, _, files in os.walk(site):
        for file in files:
            if file.endswith(".html"):
                path = os.path.join(folder, file)
                pages[path] = Page(path)
    for path, page in pages.items():
        name = os.path.relpath(path, site)
        faults += [f"{name}: {picture} has no words in its place" for picture in page.pictures]
        for tag, link in page.targets:
            if re.match(r"https?://|//", link):
                if tag != "a":
                    faults.append(f"{name}: {link} is fetched from outside")
                continue
            if re.match(r"data:|mailto:", link):
                continue
            file, place = urldefrag(link)
            target = os.path.normpath(os.path.join(os.path.dirname(path), unquote(file.split("?")[0]))) if file else path
            if not os.path.exists(target) or not target.startswith(site):
                faults.append(f"{name}: {link} leads nowhere")
            elif target in pages and unquote(place) not in pages[target].places:
                faults.append(f"{name}: {link}: no such place")

    text = "".join(re.sub(r"/\*.*?\*/", "", open(path).read(), flags=re.S) for path in headers)
    functions = set(re.findall(r"\b((?:vekr?|own)[A-Z]\w*)\(", text))
    reference = {place for path, page in pages.items() if "/reference/" in path for place in page.places}
    faults += [f"{function} has no entry in the reference" for function in sorted(functions)
               if "c." + function not in reference]
    if len(functions) < 55:
        faults.append(f"only {len(functions)} functions found in the headers")
    print("\n".join(faults) or f"{len(pages)} pages, {sum(len(p.targets) for p in pages.values())} links, "
                               f"{len(functions)} functions")
    return 1 if faults else 0


sys.exit(main())
