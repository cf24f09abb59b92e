#!/usr/bin/env python3
"""Compiles the texts of a language library: one resource script for Windows and for Linux.

    tuzutil_messages.py [--defaults FILE --checker COMMAND [--emulator COMMAND]] [--allow-long] (--rc | --cpp) OUT IN.rc

IN.rc is a resource script in UTF-8 that contains only string tables:

    STRINGTABLE
    BEGIN
        17 "%2$s hat %1$d Nachrichten"   // the message's number, and its text
    END

IN.rc is refused, and the file and the line are named, in these cases:
- A number is given twice, or is above 65535.
- A text is longer than the library loads. If --allow-long is given, such a text is accepted.
- FILE has no text of the same number, or the conversions of the two texts do not fit. COMMAND, which is installed as
  tuzutil_check_formats, asks the library about this.

FILE has the default texts, which the program itself contains. FILE is a resource script, or a C++ source in which each
text follows its number, as in {17, "%2$s has %1$d messages"}. --rc writes a script for windres. --cpp writes the table
that the library reads on Linux. Exit status: 0 for success, 1 for a refused source, 2 for wrong use.
"""

import argparse
import re
import subprocess
import sys
import tempfile
from pathlib import Path

HIGHEST_NUMBER = 65535
LONGEST_TEXT = 256  # the most characters of 16 bits, and also the most bytes in UTF-8


class Refused(Exception):
    """A source is not accepted. The text says where and why."""


TOKEN = re.compile(r"""
    (?P<space>  [ \t\r\f\v\ufeff]+ | //[^\n]* | /\*.*?\*/ | \#[ \t]*pragma[^\n]* )
  | (?P<line>   \n )
  | (?P<string> L?"(?:[^"\\\n]|\\.|"")*" )
  | (?P<number> 0[xX][0-9a-fA-F]+ | [0-9]+ )
  | (?P<word>   [A-Za-z_]\w* )
  | (?P<sign>   [{},] )
""", re.VERBOSE | re.DOTALL)

ESCAPE = re.compile(r'""|\\(?:x([0-9a-fA-F]{1,2})|([0-7]{1,3})|(.))', re.DOTALL)
WIDE_ESCAPE = re.compile(r'""|\\(?:x([0-9a-fA-F]{1,4})|([0-7]{1,6})|(.))', re.DOTALL)
LETTERS = {"n": "\n", "t": "\t", "r": "\r", "\\": "\\", '"': '"', "'": "'"}
OPTIONS = {"DISCARDABLE", "MOVEABLE", "FIXED", "PURE", "IMPURE", "PRELOAD", "LOADONCALL"}


class Source:
    """The tokens of a resource script."""

    def __init__(self, path):
        self.path = path
        try:
            self.tokens = list(self.split(Path(path).read_bytes().decode("utf-8")))
        except OSError as problem:
            raise Refused(f"{path}: {problem.strerror}") from None
        except UnicodeDecodeError as problem:
            line = problem.object.count(b"\n", 0, problem.start) + 1
            raise Refused(f"{path}:{line}: the text is not UTF-8") from None
        self.at = 0

    def split(self, text):
        """Yields (kind, text, line) for each token. The last token has the kind "end"."""
        line, place = 1, 0
        while place < len(text):
            match = TOKEN.match(text, place)
            if not match:
                raise Refused(f"{self.path}:{line}: cannot read this: {text[place:].splitlines()[0]}")
            if match.lastgroup not in ("space", "line"):
                yield match.lastgroup, match.group(), line
            line += match.group().count("\n")
            place = match.end()
        yield "end", "the end of the file", line

    def refuse(self, line, why):
        raise Refused(f"{self.path}:{line}: {why}")

    def peek(self, *texts):
        return self.tokens[self.at][1].upper() in texts

    def take(self, kind, wanted):
        """Returns the text and the line of the next token, which must be of this kind."""
        token = self.tokens[self.at]
        if token[0] != kind:
            self.refuse(token[2], f"{wanted} expected instead of {token[1]}")
        self.at += 1
        return token[1:]

    def skip(self, *texts):
        if not self.peek(*texts):
            return False
        self.at += 1
        return True

    def unescape(self, literal, line):
        is_wide = literal[0] == "L"

        def replace(match):
            hexadecimal, octal, letter = match.groups()
            if hexadecimal or octal:
                code = int(hexadecimal, 16) if hexadecimal else int(octal, 8)
                if code > (0xFFFF if is_wide else 0x7F):
                    self.refuse(line, f"{match.group()} is no character of its own: write it in UTF-8")
                return chr(code)
            if letter is None:
                return '"'
            if letter not in LETTERS:
                self.refuse(line, f"unknown escape \\{letter}")
            return LETTERS[letter]

        text = (WIDE_ESCAPE if is_wide else ESCAPE).sub(replace, literal[literal.index('"') + 1:-1])
        if "\0" in text:
            self.refuse(line, "a text cannot hold a zero character")
        if any(0xD800 <= ord(c) < 0xE000 for c in text):
            self.refuse(line, "half a character: write it in UTF-8")
        return text

    def read(self):
        """Returns {number: (text, line)}."""
        texts = {}
        while not self.peek("THE END OF THE FILE"):
            if self.skip("LANGUAGE"):  # ignored, because the name of the folder says the language
                self.take("word" if self.tokens[self.at][0] == "word" else "number", "a language")
                self.skip(",")
                self.take("word" if self.tokens[self.at][0] == "word" else "number", "a sublanguage")
                continue
            if not self.skip("STRINGTABLE"):
                self.take("nothing", "STRINGTABLE")
            while self.skip(*OPTIONS):
                pass
            if not self.skip("BEGIN", "{"):
                self.take("nothing", "BEGIN")
            while not self.skip("END", "}"):
                self.read_text(texts)
        return texts

    def read_text(self, texts):
        digits, line = self.take("number", "a message's number")
        number = int(digits, 16 if digits[:2] in ("0x", "0X") else 10)
        self.skip(",")
        literal, text_line = self.take("string", "a text")
        if number > HIGHEST_NUMBER:
            self.refuse(line, f"message {number}: numbers end at {HIGHEST_NUMBER}")
        if number in texts:
            self.refuse(line, f"message {number} has a text already, in line {texts[number][1]}")
        texts[number] = self.unescape(literal, text_line), line


INITIALISER = re.compile(r'\{\s*([0-9]+)\s*,\s*((?:"(?:[^"\\\n]|\\.)*"\s*)+)[,}]')
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
SOURCE_LETTERS = {**LETTERS, "a": "\a", "b": "\b", "f": "\f", "v": "\v", "?": "?"}


def read_defaults(path):
    """Returns {number: (text, line)} for a resource script or a C++ source."""
    if Path(path).suffix.lower() == ".rc":
        return Source(path).read()
    try:
        source = Path(path).read_text(encoding="utf-8")
    except OSError as problem:
        raise Refused(f"{path}: {problem.strerror}") from None
    texts = {}
    for match in INITIALISER.finditer(source):
        number = int(match.group(1))
        line = source.count("\n", 0, match.start()) + 1
        if number in texts:
            raise Refused(f"{path}:{line}: message {number} has a text already, in line {texts[number][1]}")

        def replace(escape):
            if escape.group(1) not in SOURCE_LETTERS:
                raise Refused(f"{path}:{line}: message {number}: unknown escape {escape.group()}")
            return SOURCE_LETTERS[escape.group(1)]

        literals = "".join(LITERAL.findall(match.group(2)))
        texts[number] = re.sub(r"\\(.)", replace, literals), line
    if not texts:
        raise Refused(f"{path}: found no number with a text after it")
    return texts


def units(text):
    """Returns the 16-bit characters of a text."""
    raw = text.encode("utf-16-le")
    return [raw[i] | raw[i + 1] << 8 for i in range(0, len(raw), 2)]


def check_lengths(path, texts):
    for number, (text, line) in texts.items():
        for length, what in ((len(units(text)), "characters"), (len(text.encode()), "bytes in UTF-8")):
            if length > LONGEST_TEXT:
                raise Refused(f"{path}:{line}: message {number} has {length} {what}, of which {LONGEST_TEXT} are loaded")


def check_formats(path, texts, defaults, command):
    """Asks the library whether the conversions of each text fit the values that the default text takes."""
    for number, (_, line) in texts.items():
        if number not in defaults:
            raise Refused(f"{path}:{line}: message {number} has no default text")
    pairs = "".join(f"{number} {defaults[number][0].encode().hex() or '-'} {text.encode().hex() or '-'}\n"
                    for number, (text, _) in texts.items())
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "pairs").write_text(pairs, encoding="ascii")
        result = subprocess.run([*command, "pairs"], cwd=folder, capture_output=True, text=True, check=False)
    problems = result.stdout.splitlines()
    if result.returncode not in (0, 1) or (result.returncode == 1) != bool(problems):
        raise Refused(f"{path}: {' '.join(command)} failed: {result.stderr or result.stdout}")
    refused = []
    for problem in problems:
        number, why = problem.split(" ", 1)
        refused.append(f"{path}:{texts[int(number)][1]}: message {number}: {why}")
    if refused:
        raise Refused("\n".join(refused))


def quoted(text):
    escapes = {ord("\\"): "\\\\", ord('"'): '""', **{code: f"\\{code:03o}" for code in range(32)}}
    return f'"{text.translate(escapes)}"'


def as_rc(texts):
    lines = ["#pragma code_page(65001)", "LANGUAGE 0, 0"]
    if texts:
        lines += ["STRINGTABLE", "BEGIN", *(f"    {number} {quoted(texts[number][0])}" for number in sorted(texts)), "END"]
    return "\n".join(lines) + "\n"


def as_cpp(texts):
    """Returns the table as C++ source. src/platform/posix/text_table.h describes the layout of the table."""
    entries, characters = [], []
    for number in sorted(texts):
        text = units(texts[number][0])
        entries.append(f"    {{{number}, {len(characters)}, {len(text)}}},")
        characters += text
    rows = [", ".join(f"0x{unit:04X}" for unit in characters[i:i + 12]) + "," for i in range(0, len(characters), 12)]
    return "\n".join([
        "namespace {",
        "struct TEntry { unsigned int number, first, length; };",
        "constexpr TEntry entries[] = {", *entries, "    {0, 0, 0}};  // which is not counted",
        "constexpr unsigned short characters[] = {", *("    " + row for row in rows), "    0};",
        "} // namespace",
        'extern "C" {',
        "struct TuzutilStringTable { unsigned int version, count; TEntry const *entries; unsigned short const *characters; };",
        '[[gnu::visibility("default")]] extern TuzutilStringTable const tuzutil_string_table;',
        f"TuzutilStringTable const tuzutil_string_table = {{1, {len(entries)}, entries, characters}};",
        "}", ""])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--defaults")
    parser.add_argument("--checker")
    parser.add_argument("--emulator")
    parser.add_argument("--allow-long", action="store_true")
    form = parser.add_mutually_exclusive_group(required=True)
    form.add_argument("--rc")
    form.add_argument("--cpp")
    parser.add_argument("source")
    options = parser.parse_args()
    if bool(options.defaults) != bool(options.checker):
        parser.error("--defaults and --checker go together")
    try:
        texts = Source(options.source).read()
        if not options.allow_long:
            check_lengths(options.source, texts)
        if options.defaults:
            command = [*([options.emulator] if options.emulator else []), options.checker]
            check_formats(options.source, texts, read_defaults(options.defaults), command)
    except Refused as problem:
        print(problem, file=sys.stderr)
        return 1
    content = as_rc(texts) if options.rc else as_cpp(texts)
    Path(options.rc or options.cpp).write_text(content, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
