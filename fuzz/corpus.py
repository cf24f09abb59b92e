#!/usr/bin/env python3
"""Keeps the corpus of a fuzz target in one text file, with one input on each line, in Base64.

corpus.py pack FOLDER FILE      corpus.py unpack FILE FOLDER
corpus.py zip NAME FILE         the seeds and the corpus of the target NAME, in one archive
"""

import base64
import hashlib
import pathlib
import sys
import zipfile

here = pathlib.Path(__file__).resolve().parent


def inputs_of(file):
    return [base64.b64decode(line) for line in file.read_text(encoding="ascii").split()]


def main():
    action, source, target = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    if action == "pack":
        inputs = sorted({path.read_bytes() for path in source.iterdir()}, key=lambda data: (len(data), data))
        target.write_text("".join(base64.b64encode(data).decode() + "\n" for data in inputs if data), encoding="ascii")
    elif action == "unpack":
        target.mkdir(parents=True, exist_ok=True)
        for data in inputs_of(source):
            (target / hashlib.sha1(data).hexdigest()).write_bytes(data)
    else:
        name = sys.argv[2]
        inputs = [path.read_bytes() for path in (here / "seeds" / name).iterdir()]
        corpus = here / "corpus" / f"{name}.txt"
        if corpus.exists():
            inputs += inputs_of(corpus)
        with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED) as archive:
            for data in inputs:
                archive.writestr(hashlib.sha1(data).hexdigest(), data)


main()
