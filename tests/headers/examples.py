#!/usr/bin/env python3
"""Cuts the examples out of a public header and wraps them so that they compile and run.

examples.py HEADER OUTPUT

An example is what follows the line "Example:" of a comment, each line indented by four blanks. What a reader has to
imagine around it (includes, variables, functions) and the values that its comments promise are in needs.py.
"""

import os
import re
import sys

from needs import NEEDS, WITHOUT_EXAMPLE, Need


def cut(text):
    """The examples of a header: for each the number of its first line, and its lines."""
    examples = []
    lines = text.split("\n")
    for number, line in enumerate(lines):
        if line != "// Example:":
            continue
        example = []
        for following in lines[number + 1:]:
            if following != "//" and not following.startswith("//     "):
                break
            example.append(following[7:])
        while example and not example[-1]:
            example.pop()
        if not example:
            sys.exit(f"line {number + 1}: an example without a line")
        examples.append((number + 2, example))
    return examples


def wrap(header, name, number, first_line, example, need):
    out = [f"namespace example_{name}_{number} {{"]
    out += [need.before] if need.before else []
    placed = [f'#line {first_line} "{header}"', *example, f'#line 1 "{name}, after the example"']
    if need.declarations:
        out += placed
    else:
        out += [need.signature + " {", need.inside, *placed, need.after, "}"]
    out += [need.close] if need.close else []
    if need.test:
        out += [f"TEST(headers, ExampleOf{name}{number if number > 1 else ''}) {{"]
        out += ["TShown shown;"] if need.output else []
        out += [need.test]
        out += [f"EXPECT_EQ(shown.Text(), {need.output});"] if need.output else []
        out += ["}"]
    return out + ["}", ""]


def main():
    header, output = sys.argv[1:3]
    name = os.path.splitext(os.path.basename(header))[0]
    with open(header, encoding="utf-8") as source:
        examples = cut(source.read())
    if bool(examples) == (name in WITHOUT_EXAMPLE):
        sys.exit(f"{header}: {len(examples)} examples")
    keys = [name if number == 1 else f"{name}.{number}" for number in range(1, len(examples) + 1)]
    if unknown := [key for key in NEEDS if re.match(f"{name}(\\.|$)", key) and key not in keys]:
        sys.exit(f"{header}: no example for {unknown}")
    needs = [NEEDS.get(key, Need()) for key in keys]
    out = [f'#include "tuzutil/{name}.h"', ""]
    out += [f"#include {included}" for need in needs for included in need.includes]
    out += ["#include <iostream>", "#include <sstream>", "#include <string>", "", '#include "shown.h"', ""]
    for number, ((first_line, example), need) in enumerate(zip(examples, needs), 1):
        out += wrap(header, name, number, first_line, example, need)
    with open(output, "w", encoding="utf-8") as written:
        written.write("\n".join(out))


main()
