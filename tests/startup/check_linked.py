#!/usr/bin/env python3
"""check_linked.py PROGRAM [EMULATOR]: the static objects of a program and of its libraries use tuzutil.

All are constructed before main() and destroyed after it, whatever the order in which the parts were linked."""

import os
import subprocess
import sys

program, emulator = sys.argv[1], sys.argv[2:]
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
