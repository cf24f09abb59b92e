#!/usr/bin/env python3
"""check_privileged.py PROGRAM LIBRARY INTRUDER: what a program with raised privileges takes from its environment: nothing
but language and time zone.

The program runs once with the rights of its caller and once as a set-user-ID or set-group-ID program. The environment
names files that the program could empty, folders that it could use, and a library that it could load. Without raised
privileges, the program uses each of them, so the check can fail. Languages and time zones that are none change nothing.
"""

import os
import pathlib
import shutil
import stat
import subprocess
import sys
import tempfile

program, library, intruder = map(pathlib.Path, sys.argv[1:4])
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


def run(folder, privileged, variables):
    (folder / "run").mkdir(mode=0o700)
    (folder / "temporary").mkdir(mode=0o700)
    kept = [folder / "startup.log", folder / "env.log"]
    for path in kept:
        path.write_text("kept\n")
    copy = folder / "program"
    shutil.copy(program, copy)
    copy.chmod(0o755)
    shutil.copy(intruder, folder / "intruder.dll")
    before = raise_privileges(copy) if privileged else None
    ran = subprocess.run([str(copy)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, preexec_fn=before, timeout=60, check=False,
                         env={"NUV_TRACE_STARTUP": f"file({kept[0]})", "NUV_TRACE": f"file({kept[1]})",
                              "XDG_RUNTIME_DIR": str(folder / "run"), "TMPDIR": str(folder / "temporary"),
                              "LD_LIBRARY_PATH": str(library.parent),
                              **{name: text.replace("{folder}", str(folder)) for name, text in variables.items()}})
    return {
        "status": ran.returncode,
        "output": ran.stdout.decode().splitlines(),
        "emptied": [path.name for path in kept if path.read_text() != "kept\n"],
        "objects": (folder / "run/tuzutil").exists(),
    }


# Texts that a program should not take for a language or a time zone.
HOSTILE = ("../../../../../../etc/shadow", "/etc/shadow", ":{folder}/program", "/dev/zero", "%n%s%s%s", "x" * 100_000, "\udcff\udc80",
           "", "C.UTF-8@../..", "AAA-25:99:99BBB,M99.99.99")


def main():
    raised = {"status": 0, "output": ["secure 1", "lock 1", "temporary file 0"], "emptied": [], "objects": False}
    plain = {"status": 0, "output": ["secure 0", "lock 1", "temporary file 1"],
             "emptied": ["startup.log", "env.log"], "objects": True}
    loads = "intruder[{folder}/intruder](x),al"
    rows = [({}, plain)]
    # The environment is read before main() and in it. The library has no destination, which is reported.
    for variable in "NUV_TRACE_STARTUP", "NUV_TRACE":
        rows.append(({variable: loads}, None))
    for text in HOSTILE:
        rows.append(({"TZ": text, "LANG": text, "LANGUAGE": text, "LC_ALL": text, "LOCPATH": "{folder}", "NLSPATH": "{folder}/%N"},
                     plain))
    with tempfile.TemporaryDirectory(prefix="privileged-", dir="/var/tmp") as root:
        os.chmod(root, 0o755)
        for number, (variables, expected) in enumerate(rows):
            for privileged in False, True:
                folder = pathlib.Path(root) / f"{number}{privileged}"
                folder.mkdir(mode=0o755)
                result = run(folder, privileged, variables)
                is_right = result == (raised if privileged else expected)
                if not privileged and expected is None:
                    is_right = "intruder loaded" in result["output"]
                if not is_right:
                    sys.exit(f"{'with' if privileged else 'without'} raised privileges: {str(variables)[:1000]}: {result}, "
                             f"expected {raised if privileged else expected or 'that the library is loaded'}")


main()
