#!/usr/bin/env python3
"""check_linked.py SOURCES PROGRAM [EMULATOR]: the static objects of a program and of its libraries use tuzutil.

All are constructed before main() and destroyed after it, whatever the order in which the parts were linked. SOURCES are
the program's sources in this order, separated by a comma."""

import os
import subprocess
import sys

sources, program, emulator = sys.argv[1].split(","), sys.argv[2], sys.argv[3:]
environment = {key: text for key, text in os.environ.items() if not key.startswith("NUV_TRACE")}
environment.update(NUV_TRACE_STARTUP="stderr,al")
ran = subprocess.run([*emulator, program], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, check=False,
                     env=environment)
lines = ran.stdout.decode().replace("\r\n", "\n").splitlines()
print("\n".join(lines))
assert ran.returncode == 0, ran.returncode

PARTS = ("linked", "other", "first", "second")
main = lines.index("main has 3 parts")
told = [line.split("] ", 1)[1] if "] " in line else line for line in lines]
for part in PARTS:
    built, destroyed = (f"{part} {what}" for what in ("built", "destroyed"))
    assert told.count(f"{built}: {len(built)}") == 1, built
    assert told.count(f"{destroyed}: {len(destroyed)}") == 1, destroyed
    assert told.index(f"{built}: {len(built)}") < main < told.index(f"{destroyed}: {len(destroyed)}"), part
assert sum(line.startswith("caught: ") for line in told) == 2 * len(PARTS), told
assert len(lines) == 1 + 4 * len(PARTS), "an object has found something wrong"
# Those of a library are there before those of the program, and longer.
for part in PARTS[2:]:
    assert told.index(f"{part} built: {len(part) + 6}") < told.index("linked built: 12"), part
    assert told.index(f"{part} destroyed: {len(part) + 10}") > told.index("linked destroyed: 16"), part
# The order of the linker is that of the construction, or on Windows the reverse. If it were not, all programs might be
# the same.
constructed = [line.split()[0] for line in told if " built: " in line]
assert [part for part in constructed if part in sources] == (sources[::-1] if emulator else sources), constructed
