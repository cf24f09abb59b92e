#!/usr/bin/env python3
"""Compares the places at which the sanitizers are switched off, or see other code, with the list: check.py SOURCE-FOLDER

exceptions.txt, beside this script, has one line for each file: its path, how many of its lines have such a place, and the
reason. So nobody silences a sanitizer without saying why.
"""

import pathlib
import re
import sys

PLACE = re.compile(r"no_sanitize|__[almtu]b?san_|NOT_SANITIZED|TUZUTIL_SANITIZE|TUZUTIL_TEST_SANITIZED|__SANITIZE_"
                   r"|[ALMTU]B?SAN_OPTIONS|-fno-sanitize|-fsanitize-ignorelist|sanitizers\(\)|is_sanitized")
FOLDERS = ("src", "include", "examples", "tests", "fuzz", "bench", "tools", "cmake")
KINDS = {".cpp", ".h", ".py", ".txt", ".cmake", ".sh"}

source = pathlib.Path(sys.argv[1])
here = pathlib.Path(__file__).resolve().parent
found = {}
for folder in FOLDERS:
    for path in (source / folder).rglob("*"):
        if path.suffix in KINDS and path.is_file() and here not in path.resolve().parents:
            count = sum(bool(PLACE.search(line)) for line in path.read_text(encoding="utf-8", errors="replace").splitlines())
            if count:
                found[path.relative_to(source).as_posix()] = count
assert len(found) > 20, found

listed = {}
for line in (here / "exceptions.txt").read_text().splitlines():
    if line and not line.startswith("#"):
        path, count, reason = line.split(None, 2)
        assert path not in listed and len(reason) > 20, line
        listed[path] = int(count)

faults = [f"{path} has {found.get(path, 0)} places, and {listed.get(path, 0)} are listed"
          for path in sorted(found.keys() | listed.keys()) if found.get(path) != listed.get(path)]
print(f"{sum(found.values())} places in {len(found)} files")
sys.exit("\n".join(faults) or 0)
