#!/usr/bin/env python3
"""Fails if a page of the site has a link to a page or place of the site that does not exist: check_links.py FOLDER"""

import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.names = [], set()
        self.feed(text)

    def handle_starttag(self, tag, attrs):
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
    print("\n".join(sorted(set(dead))))
    print(f"{len(pages)} pages, {len(set(dead))} dead links")
    sys.exit(bool(dead))


main()
