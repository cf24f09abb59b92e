#!/usr/bin/env python3
"""Runs a program whose trace configuration is wrong, and that catches nothing: check_uncaught.py PROGRAM [EMULATOR].

It ends, not with success, but with the name and the text of the exception.
"""

import subprocess
import sys

program, emulator = sys.argv[1], sys.argv[2:]

for configuration, line in (("stderr,zz", "TInvalidRequest: Unknown level specified"),
                            ("stderr,er,,x", "TInvalidRequest: Invalid default specified"),
                            ("untold", "TInvalidRequest: (no text)"),
                            ("stderr,er", None)):
    result = subprocess.run([*emulator, program, configuration], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            timeout=60, check=False)
    lines = result.stdout.decode(errors="replace").replace("\r\n", "\n").splitlines()
    assert (result.returncode == 0) == (line is None), (configuration, result.returncode, lines)
    assert line is None or lines.count(line) == 1, (configuration, result.returncode, lines)

# What is not the library's is left to the handler that the library found.
for mode, words in (("foreign", "not of the library"), ("nothing", "terminate called without an active exception")):
    result = subprocess.run([*emulator, program, mode], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60,
                            check=False)
    told = result.stdout.decode(errors="replace")
    assert result.returncode != 0 and words in told and "(no text)" not in told, (mode, result.returncode, told)

# A handler of the program's own stays in force to the end.
result = subprocess.run([*emulator, program, "replaced"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60,
                        check=False)
assert (result.returncode, result.stdout.split()) == (7, [b"replaced"]), (result.returncode, result.stdout)
