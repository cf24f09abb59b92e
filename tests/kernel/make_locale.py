#!/usr/bin/env python3
"""make_locale.py FOLDER: makes two locales there, for the C library. Both have a decimal comma and 256 characters.

"test" has the characters of Latin 1. "dotless" has the letters of ASCII, the capital I with a dot, and the small i
without one. There, the small form of I has no dot, and the capital form of i has one.
"""

import pathlib
import subprocess
import sys


def symbol(code):
    return f"<U{code:04X}>"


def symbols(codes):
    return ";".join(symbol(code) for code in codes)


def pairs(codes, others):
    return ";".join(f"({symbol(a)},{symbol(b)})" for a, b in zip(codes, others))


def span(*ranges):
    return [code for first, last in ranges for code in range(first, last + 1)]


def make(folder, name, codes, upper, lower):
    """Makes a locale whose byte N is the character codes[N]. The letters upper[N] and lower[N] are one pair."""
    charmap = folder / f"{name}.charmap"
    charmap.write_text(f"<code_set_name> {name}\n<mb_cur_min> 1\n<mb_cur_max> 1\n<comment_char> %\n<escape_char> /\n"
                       "CHARMAP\n" + "".join(f"{symbol(code)} /x{byte:02x} x\n" for byte, code in enumerate(codes))
                       + "END CHARMAP\n")
    source = folder / f"{name}.source"
    source.write_text(f"""comment_char %
escape_char /
LC_CTYPE
upper {symbols(upper)}
lower {symbols(lower)}
digit {symbols(span((0x30, 0x39)))}
xdigit {symbols(span((0x30, 0x39), (0x41, 0x46), (0x61, 0x66)))}
space {symbols(span((0x09, 0x0D), (0x20, 0x20)))}
cntrl {symbols(span((0x00, 0x1F), (0x7F, 0x7F)))}
punct {symbols(span((0x21, 0x2F), (0x3A, 0x40), (0x5B, 0x60), (0x7B, 0x7E)))}
toupper {pairs(lower, upper)}
tolower {pairs(upper, lower)}
END LC_CTYPE
LC_NUMERIC
decimal_point "{symbol(ord(','))}"
thousands_sep ""
grouping -1
END LC_NUMERIC
""")
    made = subprocess.run(["localedef", "-c", "-i", source, "-f", charmap, folder / name], capture_output=True,
                          text=True, check=False)
    if not (folder / name / "LC_CTYPE").exists() or not (folder / name / "LC_NUMERIC").exists():
        sys.exit(made.stdout + made.stderr)


folder = pathlib.Path(sys.argv[1])
folder.mkdir(parents=True, exist_ok=True)
latin = list(range(256))
make(folder, "test", latin, span((0x41, 0x5A), (0xC0, 0xD6), (0xD8, 0xDE)),
     span((0x61, 0x7A), (0xE0, 0xF6), (0xF8, 0xFE)))
DOTTED, DOTLESS = 0x130, 0x131
dotless = latin[:0xDD] + [DOTTED] + latin[0xDE:0xFD] + [DOTLESS] + latin[0xFE:]
capitals = span((0x41, 0x5A))
small = span((0x61, 0x7A))
small[capitals.index(ord("I"))] = DOTLESS
make(folder, "dotless", dotless, capitals + [DOTTED], small + [ord("i")])
