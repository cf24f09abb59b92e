#!/usr/bin/env python3
"""Finds reports of different sources that name the same file and line.

check.py FOLDER

Several sources may report under the name of one: the calls of each reporter, with all the lines that they take, must
then be apart. Calls that give a line of their own are left out.
"""

import pathlib
import re
import sys

REPORTER = re.compile(r'TReporter const (\w+)\(\s*[\w:]+,\s*"([^"]+)"\)')
CALL = re.compile(r"\b(\w+)\s*\.\s*(?:Severe|Error|Warning|Note|Raise<\w+>|RaiseOutOfMemory|Failure)\(")


def end_of(text, start):
    depth = 0
    for at in range(start, len(text)):
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        if depth == 0:
            return at
    sys.exit("a call without an end")


def calls(path):
    text = path.read_text(encoding="utf-8")
    files = dict(REPORTER.findall(text))
    for call in CALL.finditer(text):
        file = files.get(call.group(1))
        opening = call.end() - 1
        if file and text[opening + 1] != "{":
            first, last = (text.count("\n", 0, at) + 1 for at in (call.start(), end_of(text, opening)))
            yield file, first, last


def main():
    seen = {}
    wrong = count = 0
    for path in sorted(pathlib.Path(sys.argv[1]).rglob("*.[ch]*")):
        for file, first, last in calls(path):
            count += 1
            for line in range(first, last + 1):
                other = seen.setdefault((file, line), path)
                if other != path:
                    print(f"{file}:{line} may come from {other.name} and from {path.name}")
                    wrong += 1
    if not count:
        sys.exit("no report found")
    print(f"{count} reports")
    sys.exit(1 if wrong else 0)


main()
