#!/usr/bin/env python3
"""Fails if a page of the site links to a page that does not exist, or shows markup: check_links.py FOLDER"""

import html.parser
import pathlib
import re
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.names, self.markup = [], set(), []
        self.code = []  # the elements that are open, from the outermost one that shows source code
        self.feed(text)

    def handle_data(self, data):
        # Markup that Doxygen did not understand. Source code may contain the same characters.
        if not self.code:
            self.markup += re.findall(r"</?t[tdr]>|\\ilinebr|\\[%&#<>]", data)

    def handle_endtag(self, tag):
        if self.code and self.code[-1] == tag:
            self.code.pop()

    def handle_starttag(self, tag, attrs):
        if tag in ("pre", "code", "script") or ("class", "fragment") in attrs or (self.code and tag == self.code[0]):
            self.code.append(tag)
        for name, value in attrs:
            if name in ("id", "name") and value:
                self.names.add(value)
            elif name in ("href", "src") and value:
                self.links.append(value)


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    pages = {path: Page(path.read_text(encoding="utf-8", errors="replace")) for path in folder.rglob("*.html")}
    if not pages:
        sys.exit(f"{folder}: no pages")
    dead = []
    for path, page in pages.items():
        for link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            target = (path.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else path
            if not target.exists() or (parts.fragment and target in pages and parts.fragment not in pages[target].names):
                dead.append(f"{path.relative_to(folder)}: {link}")
    markup = [f"{path.relative_to(folder)}: shows {text}" for path, page in pages.items() for text in page.markup]
    print("\n".join(sorted(set(dead + markup))))
    print(f"{len(pages)} pages, {len(set(dead))} dead links, {len(set(markup))} faults of markup")
    sys.exit(bool(dead or markup))


main()
