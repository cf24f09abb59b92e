#!/usr/bin/env python3
"""check_trace.py PROGRAM MODULE [EMULATOR]: runs the program with one NUV_TRACE_STARTUP after another and compares
what it writes to standard error, or to its trace file, with what it must."""

import os
import re
import shutil
import subprocess
import sys
import tempfile

program, module = sys.argv[1:3]
emulator = sys.argv[3:4]
VARIABLE = "NUV_TRACE_STARTUP"


def run(value, mode="lines", program=program):
    environment = {key: text for key, text in os.environ.items() if not key.startswith("NUV_TRACE")}
    if value is not None:
        environment[VARIABLE] = value
    # Under the emulator both streams come out of one.
    # The emulator's runner tries again where the emulator breaks down after the last line of the program.
    if mode == "threads":
        environment["TUZ_WINE_SUCCESS"] = "^main ran"
    result = subprocess.run([*emulator, program, mode, module], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            timeout=120, check=False, env=environment)
    lines = result.stdout.decode(errors="replace").replace("\r\n", "\n").splitlines()
    assert result.returncode == 0, (value, result.returncode, lines)
    assert lines.count("main ran") == 1, (value, lines)
    lines.remove("main ran")
    return lines


def entries(*whats):
    return [f"E [traced.cpp:1] {what} 0" for what in whats]


ALL = entries("built", "main", "at exit", "destroyed")

# From the first static object to the last, and not at all.
assert run(None) == []
assert run("") == []
assert run("stderr") == ALL, run("stderr")
assert run("stderr,er,Protocol") == ALL
# The program's categories come later.
assert run("stderr,er,Protocol,0,Traced") == ['Trace configuration: unknown category "Traced"']
assert run("stderr,er,Protcol") == ['Trace configuration: unknown component "Protcol"']
assert [re.sub(r":\d+]", "]", line) for line in run("stderr,wa", mode="faulty")] == [
    'W [TRACEP] Trace configuration: unknown component "Prtocol"',
    "W [TRACEP] Trace category TagVra not found",
]
# A start-up trace that does not accept warnings, or whose file cannot be written, is as good as none.
TOLD = ['Trace configuration: unknown component "Prtocol"', 'Trace configuration: unknown category "TagVra"']
assert [line for line in run("stderr,er", mode="faulty") if "Trace configuration" in line] == TOLD
UNWRITABLE = "Z:\\proc\\none\\x" if emulator else "/proc/none/x"
lines = run(f"file({UNWRITABLE})", mode="faulty")
assert lines[1:] == TOLD and "unable to write the file" in lines[0], lines
# So is one to a shared file that cannot be written.
lines = run(f"shfile({UNWRITABLE})", mode="faulty")
assert lines[1:] == TOLD and "unable to write the file" in lines[0], lines
with tempfile.TemporaryDirectory() as folder:
    # A destination that listens takes the faults, and standard error gets none.
    path = os.path.join(folder, "shared.log")
    assert run(f"shfile({'Z:' + path if emulator else path})", mode="faulty") == []
    with open(path, encoding="ascii") as file:
        told = [line.split("] ", 1)[1].strip() for line in file if " W [" in line]
        assert told == ['Trace configuration: unknown component "Prtocol"', "Trace category TagVra not found"], told
assert run(None, mode="faulty") == [
    'Trace configuration: unknown component "Prtocol"',
    'Trace configuration: unknown category "TagVra"',
]
assert run("stderr,wa") == []
assert run("stderr,er,Game") == []

# What is wrong is said in one line, and never ends the program.
for value, line in {
        "stderr,zz": '{}: Unknown level specified: "zz" at character 1 of "zz"',
        "stderr,wa+er+e": '{}: Unknown level specified: "e" at character 7 of "wa+er+e"',
        "stderr,error,Game": '{}: Unknown level specified: "ro" at character 3 of "error,Game"',
        "stderr,er,Protocol,17": '{}: Invalid default specified: "17" at character 13 of "er,Protocol,17"',
        "stderr,er,,2,Trace": '{}: Invalid default specified: "2" at character 5 of "er,,2,Trace"',
        "stderr,\x07\x1b": '{}: Unknown level specified: "??" at character 1 of "??"',
}.items():
    assert run(value) == [line.format(VARIABLE), *ALL], (value, run(value))
assert run("stderr,wa,,5") == [f'{VARIABLE}: Invalid default specified: "5" at character 5 of "wa,,5"', *ALL]
for keyword in ("kind[]", "["):
    assert run(keyword + "(argument),er") == [f'{VARIABLE}: No dll name found: "{keyword}"'], run(keyword)
for value in ("win", "win,zz", "env(NOBODY)"):
    assert run(value) == [], (value, run(value))
for value, kind in (("nosuchkind", "nosuchkind"), ("fiel(x),er", "fiel"), (",er", ""), ("(", ""), (",", ""), (" file", " file")):
    assert run(value) == [f"{VARIABLE}: Unable to load trace factory {kind}"], (value, run(value))
assert run(f"env({VARIABLE})") == [f"{VARIABLE}: Trace configuration refers to variables more than 16 times"]
run("er" * 10000)
run("(" * 10000)
run("stderr," + "+" * 10000)

with tempfile.TemporaryDirectory() as folder:
    name = os.path.join(folder, "trace.log")
    native = "Z:" + name.replace("/", "\\") if emulator else name

    def traced():
        with open(name, encoding="utf-8") as file:
            lines = file.read().splitlines()
        os.remove(name)
        return lines

    for keyword in ("file", "shfile"):
        assert run(f"{keyword}({native})") == []
        lines = traced()
        texts = [re.fullmatch(r"[0-9/:.-]+ [0-9A-F:]+ (.*)", line)[1] for line in lines]
        assert texts == ALL, lines

        # A library that is loaded later is heard too.
        assert run(f"{keyword}({native})", mode="module") == []
        lines = traced()
        assert any("module built" in line for line in lines), lines
        for text in ALL:
            assert sum(line.endswith(text) for line in lines) == 1, (text, lines)

        # Threads that write while the program ends neither hold it up nor bring it down, and leave no half line. But if
        # the system ends a thread in a call that writes, it may stop after any page of the file.
        for _ in range(10):
            assert run(f"{keyword}({native})", mode="threads") == []
            with open(name, encoding="utf-8") as file:
                *lines, cut = file.read().split("\n")
            assert not cut or os.path.getsize(name) % 4096 == 0, cut
            os.remove(name)
            assert len(lines) >= 100, len(lines)
            for line in lines:
                assert re.fullmatch(r"[0-9/:.-]+ [0-9A-F:]+ E \[traced.cpp:1\] [a-z ]+ \d", line), line

    # A library that supplies the destination is loaded then.
    assert run(f"json[tracejson]({native}),er") == []
    lines = traced()
    assert [line.split('"text":')[1] for line in lines] == [f'"{text} 0"}}' for text in
                                                           ("built", "main", "at exit", "destroyed")], lines

    # A file that cannot be made stops nothing.
    lines = run(f"file({UNWRITABLE})")
    assert len(lines) == 1 and lines[0].startswith("Trace configuration: unable to write the file ("), lines

# A destination that its library fails to make is told of in one line.
for how, told in {"text": "no such place", "no text": "not opened", "standard": "no such file",
                  "number": "not opened"}.items():
    lines = run(f"failing[failing]({how})")
    assert lines == [f'{VARIABLE}: {told}: "failing[failing]"'], (how, lines)
# A destination of a library's own kind takes the faults of later configurations.
lines = run("failing[failing](print),wa,,1", mode="faulty")
assert 'printed: Trace configuration: unknown component "Prtocol"' in lines, lines
assert "printed: Trace category TagVra not found" in lines, lines
assert not any(line.startswith("Trace configuration") for line in lines), lines

# A program with rights that its caller does not have does not do what the caller's environment says. Only root can make
# one here, and only where the file system honours it; elsewhere the library's imports are looked at, see tests/platform/posix.
with open(program, "rb") as file, open(sys.executable, "rb") as interpreter:
    code = file.read()
    is_sanitized = b"__asan_init" in code  # its search for leaks cannot look into a program of somebody else's
    # If a program emulates the processor, the system may give it no rights that the emulated program has.
    is_for_this_processor = code[18:20] == interpreter.read(20)[18:]
if not emulator and is_for_this_processor and not is_sanitized and os.geteuid() == 0:
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o755)
        raised = os.path.join(folder, "raised")
        shutil.copy(program, raised)
        os.chown(raised, 65534, 65534)
        os.chmod(raised, 0o4755)
        if not os.statvfs(folder).f_flag & os.ST_NOSUID:
            assert run("stderr", program=raised) == [], run("stderr", program=raised)
        os.chmod(raised, 0o755)
        assert run("stderr", program=raised) == ALL
