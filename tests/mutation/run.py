#!/usr/bin/env python3
"""Changes the library in small ways, and checks that the suites notice each change.

run.py [--count N] [--jobs N] [--family NAME] [--only TEXT] BUILD
run.py --check                        only checks that survivors.txt names mutants of the present sources

BUILD is the folder of a finished build of the preset `linux`. For each family below, the script takes N mutants: copies
of one source with one change, for example `<` instead of `<=`. It compiles each mutant, links it with the other objects
of BUILD to a library of its own, and runs the suites of the family with this library. Nothing in BUILD changes.

A mutant is killed if a suite fails, crashes or exceeds its time. It is unchanged if the compiler makes the same code
of it. Each mutant that survives must be in survivors.txt with the reason why no suite can notice it; otherwise the
script fails. An entry of this file that is not a survivor is an error too, if the mutant was run.

The mutants are chosen by a hash of the source's name, the line and the change. So the choice remains the same until the
line changes, and other changes of the source do not alter it.
"""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import resource
import shlex
import signal
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
SEED = "tuzutil 1"

# The sources of each family, and the suites that must notice a change of these sources, the quick ones first.
FAMILIES = {
    "strings": (["TSTRING.cpp", "UNICODE.cpp", "kernel/wide_search.cpp"],
                ["tstring", "tstring_editing", "tstring_search", "tstring_companions", "unicode", "tstring_standard",
                 "tstring_blocks", "wipe", "tstring_own_operator", "processors"]),
    "values": (["TAGVAR.cpp", "TXTMSG.cpp", "kernel/value_operators.cpp", "kernel/value_texts.cpp",
                "kernel/message_print.cpp", "kernel/message_rewrite.cpp"],
               ["tagvar", "tagvar_operators", "tagvar_arguments", "message_print", "txtmsg", "message_rewrite",
                "msgstore", "locale", "message_print_point", "trace_record",
                "traceline"]),
    "lines": (["DOTBYTE.cpp", "LINESTRM.cpp", "FILTSTRM.cpp", "streams/source_reader.cpp"],
              ["dotbyte", "dotbyte_body", "dotbyte_area", "linestrm", "filtstrm", "lost_bytes", "smuggling", "readline",
               "read_runs", "linestrm_exhaustive", "dotbyte_exhaustive"]),
    "encodings": (["BASE64.cpp", "UTF7.cpp", "MD5.cpp", "CRAMMD5.cpp", "mail/base64_loops.h"],
                  ["utf7", "md5", "crammd5", "base64", "base64_strict"]),
    "binary": (["BINSTRM.cpp"], ["binstrm", "binstrm_text", "hostile_lengths"]),
    "names": (["FILENAME.cpp", "DIRECTRY.cpp", "files/search_table.cpp"],
              ["filename", "directry", "backslash", "limits"]),
}

# Files of which a suite has a copy of its own: the source of the library that the file belongs to, and that suite.
INCLUDED = {"mail/base64_loops.h": ("utility/BASE64.cpp", "mail", "base64"),
            "kernel/wide_search.cpp": ("utility/kernel/wide_search.cpp", "roof", "processors")}

# Each operator: a pattern of the code, and what replaces its first group. clang-format puts blanks around operators of
# two operands, and none around the brackets of templates.
OPERATORS = [
    (r"(?<= )(<)(?= )", ["<="]), (r"(?<= )(<=)(?= )", ["<"]),
    (r"(?<= )(>)(?= )", [">="]), (r"(?<= )(>=)(?= )", [">"]),
    (r"(?<= )(==)(?= )", ["!="]), (r"(?<= )(!=)(?= )", ["=="]),
    (r"(?<= )(&&)(?= )", ["||"]), (r"(?<= )(\|\|)(?= )", ["&&"]),
    (r"(?<=[\w)\]] )(\+)(?= )", ["-"]), (r"(?<=[\w)\]] )(-)(?= )", ["+"]),
    (r"(?<= )(\+=)(?= )", ["-="]), (r"(?<= )(-=)(?= )", ["+="]),
    (r"(\+\+)(?=[\w(*])", ["--"]), (r"(--)(?=[\w(*])", ["++"]),
    (r"(?<=[\w)\]] )(&)(?= )", ["|"]), (r"(?<= )(\|)(?= )", ["&"]),
    (r"(?<= )(<<)(?= \w)", [">>"]), (r"(?<= )(>>)(?= \d)", ["<<"]),
    (r"\b(true)\b", ["false"]), (r"\b(false)\b", ["true"]),
    (r"(?<![\w.'])(0)(?![\w.'])", ["1"]),
    (r"(?<![\w.'])([1-9]\d*)(?![\w.'])", ["{+1}", "{-1}"]),
    (r"(?<![\w.'])(0x[0-9A-Fa-f]+)(?![\w.'])", ["{+1}"]),
    (r"\bif \((?!constexpr)(.*)\)(?: \{)?$", ["!({0})"]),
    (r"\bwhile \((.*)\)(?: \{)?$", ["false && ({0})"]),
    (r"^ +((?:\*?[\w.\->\[\]]+ [-+*/|&]?= .*|[+-]{2}[\w>.-]+|[\w.:>-]+\(.*\)));$", ["static_cast<void>(0)"]),
]

DECLARATION = re.compile(r"^\s*(static_assert|using|return|template|typedef|namespace|#)")


def code_of(text):
    """Returns the text with the contents of comments and literals replaced by blanks of the same length."""
    pattern = r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])+'"

    def blank(found):
        part = found.group()
        if part[0] == "/":
            return re.sub(r"[^\n]", " ", part)
        return part[0] + "_" * (len(part) - 2) + part[0]

    return re.sub(pattern, blank, re.sub(r"(?<=\d)'(?=\d)", "_", text), flags=re.DOTALL)


class Mutant:
    def __init__(self, family, source, number, line, begin, end, new):
        self.family, self.source, self.number = family, source, number
        self.line, self.begin, self.end, self.new = line, begin, end, new
        self.changed = line[:begin] + new + line[end:]
        self.key = f"{source}: {line.strip()} => {self.changed.strip()}"
        self.result = self.detail = ""


def mutants_of(family, source):
    text = (ROOT / "src/utility" / source).read_text(encoding="utf-8")
    code = code_of(text).split("\n")
    seen = {}
    for number, (line, bare) in enumerate(zip(text.split("\n"), code)):
        if DECLARATION.match(bare) and not bare.lstrip().startswith("return"):
            continue
        bare = bare.rstrip()
        for pattern, replacements in OPERATORS:
            for found in re.finditer(pattern, bare):
                begin, end = found.span(1)
                old = line[begin:end]
                for new in replacements:
                    if new in ("{+1}", "{-1}"):
                        new = str(int(old, 0) + int(new[1:3]))
                    mutant = Mutant(family, source, number, line, begin, end, new.replace("{0}", old))
                    # The same change may be possible at several equal lines. Each of them is a mutant of its own.
                    seen[mutant.key] = seen.get(mutant.key, 0) + 1
                    if seen[mutant.key] > 1:
                        mutant.key += f" ({seen[mutant.key]})"
                    yield mutant


def chosen(family, count):
    everything = [mutant for source in FAMILIES[family][0] for mutant in mutants_of(family, source)]
    everything.sort(key=lambda mutant: hashlib.sha256((SEED + mutant.key).encode()).digest())
    return everything if count is None else everything[:count]


def survivors():
    """Reads survivors.txt: a line for each mutant, and below it the reason, indented."""
    reasons, key = {}, None
    for line in (ROOT / "tests/mutation/survivors.txt").read_text(encoding="utf-8").split("\n"):
        if not line.strip() or line.startswith("#"):
            continue
        if line.startswith(" "):
            reasons[key] = (reasons[key] + " " + line.strip()).strip()
        else:
            key = line
            reasons[key] = ""
    for key, reason in reasons.items():
        if not reason:
            sys.exit(f"survivors.txt gives no reason for: {key}")
    return reasons


def limits():
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Machine:
    """Compiles, links and runs mutants."""

    def __init__(self, build, scratch):
        self.build, self.scratch = build, scratch
        commands = json.loads((build / "compile_commands.json").read_text())
        self.commands, self.suites = {}, {}
        for entry in commands:
            name = pathlib.Path(entry["file"])
            if name.is_relative_to(ROOT / "src") and "/tuzutil.dir/" in entry["command"]:
                self.commands[str(name.relative_to(ROOT / "src"))] = (entry["command"], entry["directory"])
            if name.is_relative_to(ROOT / "tests"):
                self.suites[str(name.relative_to(ROOT / "tests"))] = (entry["command"], entry["directory"])
        objects = build / "src/CMakeFiles/tuzutil.dir"
        self.objects = {name: objects / (name + ".o") for name in self.commands}
        missing = [name for name, path in self.objects.items() if not path.exists()]
        if missing or not self.objects:
            sys.exit(f"{build} is not built: {missing[:3]}")
        self.times = {}
        self.originals = {}
        self.lock = threading.Lock()

    def compile(self, unit, include, source, output, commands=None):
        """Compiles a unit. The folder `include` is searched before the sources. Returns whether it compiles."""
        command, directory = (commands or self.commands)[unit]
        words = [word for word in shlex.split(command) if "ccache" not in word]
        words = [word for word in words if not re.match(r"-g|-O\d|-W|-c$|-MD$", word)]
        del words[words.index("-o"):words.index("-o") + 2]
        words = [word for word in words if not word.endswith(unit)]
        words[1:1] = [f"-I{include}", "-O1", "-w", "-fmax-errors=1"]
        return subprocess.run(words + ["-c", str(source), "-o", str(output)], cwd=directory, check=False,
                              stderr=subprocess.DEVNULL).returncode == 0

    def original(self, unit):
        with self.lock:
            if unit not in self.originals:
                output = self.scratch / (unit.replace("/", "_") + ".o")
                assert self.compile(unit, self.scratch, ROOT / "src" / unit, output), unit
                stripped = self.sections(output)
                self.originals[unit] = stripped
            return self.originals[unit]

    @staticmethod
    def sections(path):
        bare = path.with_suffix(".bare")
        subprocess.run(["objcopy", "--strip-debug", "-R", ".comment", str(path), str(bare)], check=True)
        listing = subprocess.run(["objdump", "-s", "-r", str(bare)], check=True, stdout=subprocess.PIPE).stdout
        return listing.split(b"file format", 1)[1]

    def link(self, folder, replaced, new):
        objects = [str(new if name == replaced else path) for name, path in self.objects.items()]
        version = next(self.build.glob("bin/libtuzutil.so.?")).name
        subprocess.run(["g++", "-shared", "-Wl,-z,nodelete", f"-Wl,-soname,{version}", "-o", str(folder / version)]
                       + objects + ["-lpthread", "-ldl"], check=True)

    def build_suite(self, folder, layer, suite):
        """Builds a suite that includes the mutant, in the folder of the mutant."""
        unit = f"{layer}/{suite}_test.cpp"
        assert self.compile(unit, folder / "src", ROOT / "tests" / unit, folder / "suite.o", self.suites), unit
        subprocess.run(["g++", "-o", str(folder / f"{suite}_test"), str(folder / "suite.o"),
                        *map(str, sorted(self.build.glob("lib/libgtest*.a"), reverse=True)), f"-L{self.build}/bin",
                        "-ltuzutil", "-lpthread"], check=True)

    def run(self, suite, folder, limit):
        """Runs a suite. Returns None if it passes, and otherwise what happened."""
        environment = dict(os.environ, LD_LIBRARY_PATH=str(folder), GTEST_FAIL_FAST="1", GTEST_BRIEF="1")
        program = folder / f"{suite}_test"
        if not program.exists():
            program = self.build / "bin" / f"{suite}_test"
        work = folder / "work"
        work.mkdir(exist_ok=True)
        with open(folder / "log", "wb") as log:
            process = subprocess.Popen([str(program)], cwd=work, env=environment,
                                       stdout=log, stderr=log, stdin=subprocess.DEVNULL, start_new_session=True,
                                       preexec_fn=limits)
            try:
                code = process.wait(limit)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
                return f"{suite}: no end after {limit:.0f} s"
        if code == 0:
            return None
        text = (folder / "log").read_text(errors="replace")
        failed = re.search(r"\[  FAILED  \] ([\w/.]+)", text)
        return f"{suite}: {failed.group(1) if failed else f'exit status {code}'}"

    def measure(self, suites):
        """Runs each suite with the unchanged library, and takes the time."""
        with tempfile.TemporaryDirectory(dir=self.scratch) as folder:
            folder = pathlib.Path(folder)
            self.link(folder, None, None)
            for suite in suites:
                started = time.monotonic()
                failure = self.run(suite, folder, 600)
                if failure:
                    sys.exit(f"without any change, {failure}\n{(folder / 'log').read_text(errors='replace')}")
                self.times[suite] = time.monotonic() - started

    def judge(self, mutant):
        unit, *own = INCLUDED.get(mutant.source, ("utility/" + mutant.source,))
        with tempfile.TemporaryDirectory(dir=self.scratch) as folder:
            folder = pathlib.Path(folder)
            lines = (ROOT / "src/utility" / mutant.source).read_text(encoding="utf-8").split("\n")
            lines[mutant.number] = mutant.changed
            path = folder / "src/utility" / mutant.source
            path.parent.mkdir(parents=True)
            path.write_text("\n".join(lines), encoding="utf-8")
            source = path if mutant.source.endswith(".cpp") else ROOT / "src" / unit
            output = folder / "mutant.o"
            if not self.compile(unit, folder / "src", source, output):
                mutant.result = "refused"
                return mutant
            if self.sections(output) == self.original(unit) and not own:
                mutant.result = "unchanged"
                return mutant
            self.link(folder, unit, output)
            if own:
                self.build_suite(folder, *own)
            for suite in FAMILIES[mutant.family][1]:
                mutant.detail = self.run(suite, folder, 20 + 8 * self.times[suite])
                if mutant.detail:
                    mutant.result = "killed"
                    return mutant
            mutant.result = "survived"
            return mutant


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path, nargs="?")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--count", type=int, default=50,
                        help="how many mutants of each family that compile (default 50)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--family", choices=FAMILIES, action="append")
    parser.add_argument("--only", help="only mutants that contain this text in their line of the report")
    options = parser.parse_args()
    explained = survivors()
    if options.check:
        unknown = set(explained) - {mutant.key for family in FAMILIES for mutant in chosen(family, None)}
        for key in sorted(unknown):
            print(f"survivors.txt explains a mutant that does not exist: {key}")
        print(f"{len(explained)} survivors are explained")
        sys.exit(bool(unknown))
    if not options.build:
        parser.error("the folder of the build is missing")
    totals = {"killed": 0, "equivalent": 0, "unchanged": 0, "survived": 0}
    stale = []
    with tempfile.TemporaryDirectory(prefix="mutation-") as scratch:
        machine = Machine(options.build.resolve(), pathlib.Path(scratch))
        for family in options.family or FAMILIES:
            machine.measure(FAMILIES[family][1])
            waiting = [mutant for mutant in chosen(family, None) if not options.only or options.only in mutant.key]
            judged = 0
            with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
                # A mutant that does not compile does not count, so the next one takes its place.
                while judged < options.count and waiting:
                    batch, waiting = waiting[:options.count - judged], waiting[options.count - judged:]
                    for mutant in pool.map(machine.judge, batch):
                        if mutant.result == "refused":
                            continue
                        judged += 1
                        if mutant.result == "survived" and mutant.key in explained:
                            mutant.result = "equivalent"
                        elif mutant.key in explained:
                            stale.append(mutant.key)
                        totals[mutant.result] += 1
                        print(f"{mutant.result:10} {mutant.number + 1:4} {mutant.key}"
                              + (f" [{mutant.detail}]" if mutant.detail else ""), flush=True)
            print(f"{family}: {judged} mutants", flush=True)
    for key in stale:
        print(f"survivors.txt explains a mutant that does not survive: {key}")
    print(f"{sum(totals.values())} mutants: {totals['killed']} killed, {totals['unchanged']} with the same code, "
          f"{totals['equivalent']} explained in survivors.txt, {totals['survived']} survived")
    sys.exit(totals["survived"] != 0 or bool(stale))


if __name__ == "__main__":
    main()
