#!/usr/bin/env python3
"""check_privileged.py PROGRAM LIBRARY: what a program with raised privileges takes from its environment: nothing.

The program runs once with the rights of its caller and once as a set-user-ID or set-group-ID program. The environment
names files that the program could empty, and folders that it could use. Without raised privileges, the program uses
each of them, so the check can fail.
"""

import os
import pathlib
import shutil
import stat
import subprocess
import sys
import tempfile

program, library = map(pathlib.Path, sys.argv[1:3])
NOBODY = 65534


def raise_privileges(path):
    """Makes the program run with more rights than its caller. Returns what the caller must do before it starts it."""
    if os.geteuid() == 0:
        path.chmod(0o4755)
        return lambda: (os.setgroups([]), os.setgid(NOBODY), os.setuid(NOBODY))
    for group in set(os.getgroups()) - {os.getegid()}:
        os.chown(path, -1, group)
        path.chmod(0o2755)
        if path.stat().st_mode & stat.S_ISGID:
            return lambda: None
    sys.exit("the user must be root or belong to a second group")


def run(folder, privileged):
    (folder / "run").mkdir(mode=0o700)
    (folder / "temporary").mkdir(mode=0o700)
    kept = [folder / "startup.log", folder / "env.log"]
    for path in kept:
        path.write_text("kept\n")
    copy = folder / "program"
    shutil.copy(program, copy)
    copy.chmod(0o755)
    before = raise_privileges(copy) if privileged else None
    ran = subprocess.run([str(copy)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, preexec_fn=before, timeout=60, check=False,
                         env={"NUV_TRACE_STARTUP": f"file({kept[0]})", "NUV_TRACE": f"file({kept[1]})",
                              "XDG_RUNTIME_DIR": str(folder / "run"), "TMPDIR": str(folder / "temporary"),
                              "LD_LIBRARY_PATH": str(library.parent)})
    return {
        "status": ran.returncode,
        "output": ran.stdout.decode().splitlines(),
        "emptied": [path.name for path in kept if path.read_text() != "kept\n"],
        "objects": (folder / "run/tuzutil").exists(),
    }


def main():
    with tempfile.TemporaryDirectory(prefix="privileged-", dir="/var/tmp") as root:
        os.chmod(root, 0o755)
        results = []
        for privileged in (False, True):
            folder = pathlib.Path(root) / str(privileged)
            folder.mkdir(mode=0o755)
            results.append(run(folder, privileged))
    plain = {"status": 0, "output": ["secure 0", "lock 1", "temporary file 1"],
             "emptied": ["startup.log", "env.log"], "objects": True}
    raised = {"status": 0, "output": ["secure 1", "lock 1", "temporary file 0"], "emptied": [], "objects": False}
    for what, result, expected in (("without", results[0], plain), ("with", results[1], raised)):
        if result != expected:
            sys.exit(f"{what} raised privileges: {result}, expected {expected}")


main()
