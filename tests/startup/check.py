#!/usr/bin/env python3
"""check.py PROGRAM MODULE [EMULATOR]: runs the program and looks at what was traced before, in and after main()."""

import subprocess
import sys

program, module = sys.argv[1:3]
emulator = sys.argv[3:4]
result = subprocess.run([*emulator, program, module], capture_output=True, text=True, timeout=60, check=False)
lines = result.stdout.replace("\r\n", "\n").splitlines()
print(result.stdout, result.stderr)


def user(name, what):
    text = f"{name} {what}"
    return [f"{name}: {text}: {len(text)}", "String: caught: Bad value to truncate this String"]


before = user("program", "built") + user("local", "built") + user("module", "built") + ["main ends"]
after = user("local", "destroyed") + user("program", "destroyed")
module_after = user("module", "destroyed")
assert result.returncode == 0, result.returncode
assert lines[:len(before)] == before, "before and in main()"
rest = lines[len(before):]
# The system decides when a loaded library's objects go; where the destination is gone by then, they trace to nobody.
without_module = list(rest)
if module_after[0] in without_module:
    at = without_module.index(module_after[0])
    assert without_module[at:at + 2] == module_after, "the module"
    del without_module[at:at + 2]
assert without_module == after + ["destination destroyed"], "after main()"
