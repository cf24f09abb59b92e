#!/usr/bin/env python3
"""check_linked.py shared|static SOURCES PROGRAM [EMULATOR]: static objects of a program and of its libraries use tuzutil.

All are constructed before main() and destroyed after it, whatever the order in which the parts were linked. SOURCES are
the program's sources in this order, separated by a comma. The first argument says what the libraries are."""

import itertools
import os
import subprocess
import sys

is_static, sources, program, emulator = sys.argv[1] == "static", sys.argv[2].split(","), sys.argv[3], sys.argv[4:]
environment = {key: text for key, text in os.environ.items() if not key.startswith("NUV_TRACE")}
environment.update(NUV_TRACE_STARTUP="stderr,al", LC_ALL="C.UTF-8")
ran = subprocess.run([*emulator, program], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, check=False,
                     env=environment)
lines = ran.stdout.decode().replace("\r\n", "\n").splitlines()
print("\n".join(lines))
assert ran.returncode == 0, ran.returncode

PARTS = ("linked", "other", "first", "second")
OBJECTS = PARTS + tuple(f"{part}_early" for part in PARTS)


def at(name, what):
    return told.index(f"{name} {what}: {len(name) + 1 + len(what)}")


main = lines.index("main has 3 parts")
told = [line.split("] ", 1)[1] if "] " in line else line for line in lines]
for part in OBJECTS:
    built, destroyed = (f"{part} {what}" for what in ("built", "destroyed"))
    assert told.count(f"{built}: {len(built)}") == 1, built
    assert told.count(f"{destroyed}: {len(destroyed)}") == 1, destroyed
    assert told.index(f"{built}: {len(built)}") < main < told.index(f"{destroyed}: {len(destroyed)}"), part
assert sum(line.startswith("caught: ") for line in told) == 2 * len(OBJECTS), told
assert len(lines) == 1 + 6 * len(OBJECTS), "an object has found something wrong"
# Those of a shared library are there before those of the program, and longer.
for part in () if is_static else PARTS[2:]:
    assert at(part, "built") < at("linked_early", "built"), part
    assert at(part, "destroyed") > at("linked_early", "destroyed"), part
# Within a program and within a shared library, those with a priority are there before the others, and longer.
together = itertools.product(PARTS, PARTS) if is_static else itertools.product(PARTS[:2], PARTS[:2])
for early, late in [*together, *zip(PARTS, PARTS)]:
    assert at(f"{early}_early", "built") < at(late, "built"), early
    assert at(f"{early}_early", "destroyed") > at(late, "destroyed"), early
# The order of the linker is that of the construction, or on Windows the reverse. If it were not, all programs might be
# the same.
constructed = [line.split()[0] for line in told if " built: " in line]
assert [part for part in constructed if part in sources] == (sources[::-1] if emulator else sources), constructed
