#!/usr/bin/env python3
"""check.py COMPILER CHECKER [EMULATOR]: what the compiler of message texts accepts and refuses, with file and line."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

compiler, checker = sys.argv[1:3]
emulator = sys.argv[3:4]

HEAD = "STRINGTABLE\nBEGIN\n"


class Compiler(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.root = Path(self.folder.name)

    def tearDown(self):
        self.folder.cleanup()

    def put(self, name, content):
        path = self.root / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return str(path)

    def compile(self, source, *options, form="--rc"):
        """The exit status, and what was said, where IN stands for the source's name."""
        name = self.put("in.rc", source)
        result = subprocess.run([sys.executable, compiler, *options, form, str(self.root / "out"), name],
                                capture_output=True, text=True, timeout=60, check=False)
        return result.returncode, (result.stdout + result.stderr).replace(name, "IN").strip()

    def with_defaults(self, defaults, source, name="defaults.rc"):
        options = ["--defaults", self.put(name, defaults), "--checker", checker]
        return self.compile(source, *options, *(["--emulator", emulator[0]] if emulator else []))

    def assert_refused(self, source, *problems):
        self.assertEqual(self.compile(source), (1, "\n".join(problems)))
        self.assertFalse((self.root / "out").exists())


class Texts(Compiler):
    def test_good_ones_are_written_in_both_forms(self):
        source = HEAD + '    17 "a ""quoted"" Ä\\n"\n    0x12, L"\\x20AC"\nEND\n'
        self.assertEqual(self.compile(source), (0, ""))
        self.assertEqual((self.root / "out").read_text(encoding="utf-8"),
                         "#pragma code_page(65001)\nLANGUAGE 0, 0\nSTRINGTABLE\nBEGIN\n"
                         '    17 "a ""quoted"" Ä\\012"\n    18 "€"\nEND\n')
        self.assertEqual(self.compile(source, form="--cpp"), (0, ""))
        table = (self.root / "out").read_text(encoding="utf-8")
        self.assertIn("{17, 0, 13},\n    {18, 13, 1},\n", table)
        self.assertIn("0x0061, 0x0020, 0x0022,", table)
        self.assertIn("0x20AC,", table)

    def test_a_number_stands_once(self):
        self.assert_refused(HEAD + '  1 "a"\n  2 "b"\n  1 "c"\nEND', "IN:5: message 1 has a text already, in line 3")
        self.assert_refused(HEAD + '  1 "a"\nEND\n' + HEAD + '  0x1 "c"\nEND',
                            "IN:7: message 1 has a text already, in line 3")

    def test_numbers_end_at_65535(self):
        self.assertEqual(self.compile(HEAD + '65535 "a"\nEND'), (0, ""))
        self.assertEqual(self.compile(HEAD + '65536 "a"\nEND'), (1, "IN:3: message 65536: numbers end at 65535"))

    def test_a_text_is_loaded_whole(self):
        for text in ("x" * 256, "ä" * 128, "😀" * 64):
            self.assertEqual(self.compile(HEAD + f'1 "{text}"\nEND'), (0, ""))
        rows = [("x" * 257, "257 characters"), ("ä" * 129, "258 bytes in UTF-8"), ("x" * 253 + "😀", "257 bytes in UTF-8")]
        for text, what in rows:
            source = HEAD + f'\n1 "{text}"\nEND'
            self.assertEqual(self.compile(source), (1, f"IN:4: message 1 has {what}, of which 256 are loaded"))
            self.assertEqual(self.compile(source, "--allow-long"), (0, ""))

    def test_what_cannot_be_read_is_refused(self):
        self.assert_refused(b"\n\n\xff", "IN:3: the text is not UTF-8")
        self.assert_refused(HEAD + "1 hello\nEND", "IN:3: a text expected instead of hello")
        self.assert_refused(HEAD + '1 "a', 'IN:3: cannot read this: "a')
        self.assert_refused(HEAD + '1 "a"', "IN:3: a message's number expected instead of the end of the file")
        self.assert_refused("\nDIALOG\n", "IN:2: STRINGTABLE expected instead of DIALOG")
        self.assert_refused('STRINGTABLE\n1 "a"', "IN:2: BEGIN expected instead of 1")
        self.assert_refused(HEAD + '-1 "a"\nEND', 'IN:3: cannot read this: -1 "a"')
        self.assert_refused(HEAD + '1 "\\q"\nEND', "IN:3: unknown escape \\q")
        self.assert_refused(HEAD + '1 "\\xFF"\nEND', "IN:3: \\xFF is no character of its own: write it in UTF-8")
        self.assert_refused(HEAD + '1 "a\\0b"\nEND', "IN:3: a text cannot hold a zero character")
        self.assert_refused(HEAD + '1 L"\\xD83D"\nEND', "IN:3: half a character: write it in UTF-8")

    def test_a_missing_source_is_named(self):
        name = str(self.root / "nothing.rc")
        result = subprocess.run([sys.executable, compiler, "--rc", str(self.root / "out"), name],
                                capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual((result.returncode, result.stderr), (1, f"{name}: No such file or directory\n"))


class Formats(Compiler):
    def translate(self, default, translation):
        return self.with_defaults(HEAD + f'17 "{default}"\nEND', HEAD + f'\n17 "{translation}"\nEND')

    def test_translations_that_fit_are_accepted(self):
        rows = [
            ("%d %s", "%2$s %1$d"), ("%d %s", "%d"), ("%d", "%u %1$08X %1$c"), ("%s", "%-10s %1$.3s"), ("%*d", "%*d"),
            ("%*d", "%2$*1$d"), ("%.*f", "%2$e"), ("%p", "%p"), ("%ld", "%i"), ("100%%", "100%%"), ("", ""), ("a", ""),
            ("%2$s", "%2$s"), ("%99$d", "%99$d"),
        ]
        for default, translation in rows:
            self.assertEqual(self.translate(default, translation), (0, ""), (default, translation))

    def test_translations_that_do_not_fit_are_refused(self):
        rows = [
            ("%d", "%s", "%s prints argument 1, in the default text %d"),
            ("%s", "%d", "%d prints argument 1, in the default text %s"),
            ("%d %s", "%s %d", "%s prints argument 1, in the default text %d"),
            ("%d", "%f", "%f prints argument 1, in the default text %d"),
            ("%g", "%x", "%x prints argument 1, in the default text %g"),
            ("%p", "%d", "%d prints argument 1, in the default text %p"),
            ("%d", "%d %d", "%d prints argument 2, which the default text does not have"),
            ("%d", "%0$d", "%d prints argument 0, which the default text does not have"),
            ("%d", "%2147483647$d", "%d prints argument 2147483647, which the default text does not have"),
            ("%2$s", "%1$s", "%s prints argument 1, which the default text does not have"),
            ("%s", "%*d", "a width or precision is taken from argument 1, in the default text %s"),
            ("%*d", "%2$s", "%s prints argument 2, in the default text %d"),
            ("%*d", "%1$s", "%s prints argument 1, a width or precision in the default text"),
            ("%d", "%n", "%n is never carried out"),
            ("%d", "100% sicher", "%s prints argument 1, in the default text %d"),
            ("%d %1$s", "%d", "the default text itself is wrong: %s prints argument 1"),
            ("%n", "", "the default text itself is wrong: %n is never carried out"),
            ("%100$d", "", "the default text has argument 100, the last is 99"),
        ]
        for default, translation, problem in rows:
            self.assertEqual(self.translate(default, translation), (1, f"IN:4: message 17: {problem}"))

    def test_all_that_do_not_fit_are_named(self):
        defaults = HEAD + '1 "%d"\n2 "%d"\n3 "%s"\nEND'
        self.assertEqual(self.with_defaults(defaults, HEAD + '3 "%d"\n2 "%d"\n1 "%s"\nEND'),
                         (1, "IN:3: message 3: %d prints argument 1, in the default text %s\n"
                             "IN:5: message 1: %s prints argument 1, in the default text %d"))

    def test_a_text_without_a_default_is_refused(self):
        self.assertEqual(self.with_defaults(HEAD + '1 "a"\nEND', HEAD + '1 "b"\n2 "c"\nEND'),
                         (1, "IN:4: message 2 has no default text"))

    def test_defaults_may_stand_in_a_program(self):
        source = 'Text a{1, "%d"};\nText b{2,\n    "\\"%s\\""\n    " %u"};\n'
        self.assertEqual(self.with_defaults(source, HEAD + '1 "%d!"\n2 "%s %u"\nEND', "Texts.h"), (0, ""))
        self.assertEqual(self.with_defaults(source, HEAD + '2 "%s %f"\nEND', "Texts.h"),
                         (1, "IN:3: message 2: %f prints argument 2, in the default text %u"))
        rows = [
            ('Text a{1, "%d"};\nText b{1, "%d"};', "DEFAULTS:2: message 1 has a text already, in line 1"),
            ('Text a{1, "\\x41"};', "DEFAULTS:1: message 1: unknown escape \\x"),
            ("int main() {}", "DEFAULTS: found no number with a text after it"),
        ]
        for defaults, problem in rows:
            status, said = self.with_defaults(defaults, HEAD + '1 "a"\nEND', "Texts.h")
            self.assertEqual((status, said.replace(str(self.root / "Texts.h"), "DEFAULTS")), (1, problem))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
