#!/usr/bin/env python3
"""check.py PROGRAM MODULE [EMULATOR]: runs the program and looks at what was traced before, in and after main()."""

import subprocess
import sys

program, module = sys.argv[1:3]
emulator = sys.argv[3:4]


def user(name, what):
    text = f"{name} {what}"
    return [f"{name}: {text}: {len(text)}", "String: caught: Bad value to truncate this String",
            f"{name}: to the stream: 17"]


def run(*mode):
    ran = subprocess.run([*emulator, program, module, *mode], capture_output=True, text=True, timeout=60, check=False)
    print(ran.stdout, ran.stderr)
    assert ran.returncode == 0, ran.returncode
    return ran.stdout.replace("\r\n", "\n").splitlines()


built = user("program", "built") + user("local", "built") + user("module", "built")
destroyed = user("local", "destroyed") + user("program", "destroyed") + ["destination destroyed"]
unloaded = user("module", "destroyed")
assert run("unload") == built + unloaded + ["main ends"] + destroyed
# Linux destroys all objects in the reverse of the order in which they were built. Windows destroys those of a loaded
# library after those of the program, when the destination does not exist any more.
assert run() == built + ["main ends"] + ([] if emulator else unloaded) + destroyed
