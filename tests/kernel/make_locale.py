#!/usr/bin/env python3
"""make.py FOLDER: makes the locale "test" there, for the C library: Latin 1, with a decimal comma."""

import pathlib
import subprocess
import sys


def symbol(code):
    return f"<U{code:04X}>"


def symbols(*ranges):
    return ";".join(symbol(code) for first, last in ranges for code in range(first, last + 1))


UPPER = [(0x41, 0x5A), (0xC0, 0xD6), (0xD8, 0xDE)]
LOWER = [(0x61, 0x7A), (0xE0, 0xF6), (0xF8, 0xFE)]


def pairs(start, other):
    codes = [code for first, last in start for code in range(first, last + 1)]
    others = [code for first, last in other for code in range(first, last + 1)]
    return ";".join(f"({symbol(a)},{symbol(b)})" for a, b in zip(codes, others))


folder = pathlib.Path(sys.argv[1])
folder.mkdir(parents=True, exist_ok=True)
charmap = folder / "latin1.charmap"
charmap.write_text("<code_set_name> ISO-8859-1\n<mb_cur_min> 1\n<mb_cur_max> 1\n<comment_char> %\n<escape_char> /\nCHARMAP\n"
                   + "".join(f"{symbol(code)} /x{code:02x} x\n" for code in range(256)) + "END CHARMAP\n")
source = folder / "test.source"
source.write_text(f"""comment_char %
escape_char /
LC_CTYPE
upper {symbols(*UPPER)}
lower {symbols(*LOWER)}
digit {symbols((0x30, 0x39))}
xdigit {symbols((0x30, 0x39), (0x41, 0x46), (0x61, 0x66))}
space {symbols((0x09, 0x0D), (0x20, 0x20))}
cntrl {symbols((0x00, 0x1F), (0x7F, 0x7F))}
punct {symbols((0x21, 0x2F), (0x3A, 0x40), (0x5B, 0x60), (0x7B, 0x7E))}
toupper {pairs(LOWER, UPPER)}
tolower {pairs(UPPER, LOWER)}
END LC_CTYPE
LC_NUMERIC
decimal_point "{symbol(ord(','))}"
thousands_sep ""
grouping -1
END LC_NUMERIC
""")
made = subprocess.run(["localedef", "-c", "-i", source, "-f", charmap, folder / "test"], capture_output=True, text=True,
                      check=False)
if not (folder / "test" / "LC_CTYPE").exists() or not (folder / "test" / "LC_NUMERIC").exists():
    sys.exit(made.stdout + made.stderr)
