#!/usr/bin/env python3
"""Cuts the programs and their expected outputs out of the guide.

cut.py FOLDER OUTPUT

A program is a block of C++ that has a main(). Words after "cpp" set its environment: ```cpp NAME=value. If a block of
text follows, it is the expected output of the program; otherwise the program must print nothing. This script writes the
files CHAPTER_N.cpp, CHAPTER_N.txt and CHAPTER_N.env for each program, and the resource script of the chapter on
translating. It prints the names of the programs.
"""

import pathlib
import re
import sys

BLOCK = re.compile(r"^```(\w+)([^\n]*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def blocks(text):
    return [(kind, words.split(), body) for kind, words, body in BLOCK.findall(text)]


def main():
    folder, output = map(pathlib.Path, sys.argv[1:3])
    output.mkdir(parents=True, exist_ok=True)
    names = []
    for chapter in sorted(folder.glob("*.md")):
        found = blocks(chapter.read_text(encoding="utf-8"))
        programs = [i for i, (kind, _, body) in enumerate(found) if kind == "cpp"]
        for number, i in enumerate(programs, 1):
            _, environment, body = found[i]
            name = f"{chapter.stem}_{number}"
            if "int main(" not in body:
                sys.exit(f"{chapter}: program {number} has no main()")
            follows = found[i + 1] if i + 1 < len(found) else ("", [], "")
            write(output / f"{name}.cpp", f'#line 1 "program.cpp"\n{body}')
            write(output / f"{name}.txt", follows[2] if follows[0] == "text" else "")
            write(output / f"{name}.env", "\n".join(environment))
            names.append(name)
        for kind, _, body in found:
            if kind == "rc":
                write(output / "German.rc", body)
    print(";".join(names), end="")


def write(path, text):
    """Writes a file only if its text changes, because a newer file would make the build compile the program again."""
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


main()
