#!/usr/bin/env python3
"""Keeps the corpus of a fuzz target in one text file, with one input on each line, in Base64.

corpus.py pack FOLDER FILE      corpus.py unpack FILE FOLDER
"""

import base64
import hashlib
import pathlib
import sys


def main():
    action, source, target = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    if action == "pack":
        inputs = sorted({path.read_bytes() for path in source.iterdir()}, key=lambda data: (len(data), data))
        target.write_text("".join(base64.b64encode(data).decode() + "\n" for data in inputs if data), encoding="ascii")
    else:
        target.mkdir(parents=True, exist_ok=True)
        for line in source.read_text(encoding="ascii").split():
            data = base64.b64decode(line)
            (target / hashlib.sha1(data).hexdigest()).write_bytes(data)


main()
