#!/usr/bin/env python3
"""Runs tools/winerun.sh above an emulator of its own: check_winerun.py WINERUN.

A program is run a second time, once, only if it had reported success before the emulator died by a fault of memory or
was killed before its time was over, or if the emulator has not started it: then it writes nothing, and the status is 1.
A program that fails without a word is named with its status. The script that is installed with a toolchain has a prefix
of its own for the size of words of that toolchain. 64-bit programs are started by the 64-bit loader.
"""

import os
import shutil
import subprocess
import sys
import tempfile

PASSED = "[  PASSED  ] 3 tests."
FAILED = "[  FAILED  ] 1 test, listed below:"

# Prints its second argument; dies on its first runs, as many as the first one says, by the signal in the third. If
# the third is a number, it ends with this status instead.
WINE = """#!/bin/sh
[ -z "$2" ] || printf '%s\\n' "$2"
echo x >>"$RUNS"
[ "$(wc -l <"$RUNS")" -gt "$1" ] && exit 0
case $3 in
[0-9]*) exit "$3" ;;
esac
kill -s "$3" $$
"""


def run(winerun, deaths, text, signal="SEGV", **variables):
    """The exit status, the output, how often it ran and what was counted."""
    with tempfile.TemporaryDirectory() as folder:
        for name, content in (("wine", WINE), ("wineserver", "#!/bin/sh\n")):
            path = os.path.join(folder, name)
            with open(path, "w", encoding="ascii") as out:
                out.write(content)
            os.chmod(path, 0o700)
        for name in ("ready", "tries", "runs"):
            open(os.path.join(folder, name), "w", encoding="ascii").close()
        environment = {"PATH": folder + ":" + os.environ["PATH"], "HOME": folder, "TUZ_WINEPREFIX": folder,
                       "TUZ_WINE_TRIES": os.path.join(folder, "tries"), "RUNS": os.path.join(folder, "runs"),
                       **variables}
        result = subprocess.run(["sh", winerun, str(deaths), text, signal], env=environment, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, timeout=60, check=False, text=True)
        with open(os.path.join(folder, "runs"), encoding="ascii") as runs:
            count = len(runs.readlines())
        with open(os.path.join(folder, "tries"), encoding="ascii") as tries:
            # The shell says how its command died, among its output.
            lines = [line for line in result.stdout.splitlines() if line not in ("Segmentation fault", "Aborted", "Killed")]
            return result.returncode, lines, count, len(tries.readlines())


def place(winerun, toolchain, **variables):
    """The loader, the prefix below the home folder, and the kind of Wine for a script beside this toolchain."""
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(winerun, os.path.join(folder, "winerun.sh"))
        loader = '#!/bin/sh\nprintf "%s %s %s\\n" "${0##*/}" "${WINEPREFIX#"$HOME"/}" "${WINEARCH:-any}"\n'
        for name, content in (("wine", loader), ("wine64", loader), ("wineserver", "#!/bin/sh\n"), ("wineboot", "#!/bin/sh\n"), (toolchain, "")):
            path = os.path.join(folder, name)
            with open(path, "w", encoding="ascii") as out:
                out.write(content)
            os.chmod(path, 0o700)
        environment = {"PATH": folder + ":" + os.environ["PATH"], "HOME": folder, **variables}
        return subprocess.run(["sh", os.path.join(folder, "winerun.sh"), "program.exe"], env=environment, timeout=60, check=True,
                              stdout=subprocess.PIPE, text=True).stdout.split()


def main():
    winerun = sys.argv[1]
    assert place(winerun, "other.cmake") == ["wine", ".cache/tuz-wineprefix", "any"]
    assert place(winerun, "mingw-i686.cmake") == ["wine", ".cache/tuz-wineprefix-win32", "win32"]
    assert place(winerun, "mingw-x86_64.cmake") == ["wine64", ".cache/tuz-wineprefix-win64", "win64"]
    with tempfile.TemporaryDirectory() as chosen:
        assert place(winerun, "mingw-x86_64.cmake", TUZ_WINEPREFIX=chosen, WINEARCH="win32") == ["wine", chosen, "win32"]
    for arguments, variables, wanted in (
            ((0, PASSED), {}, (0, [PASSED], 1, 0)),
            ((1, PASSED), {}, (0, [PASSED], 2, 1)),
            ((2, PASSED), {}, (139, [PASSED], 2, 1)),
            ((1, "[ RUN      ] Suite.Test"), {}, (139, ["[ RUN      ] Suite.Test"], 1, 0)),
            ((1, PASSED + "\n" + FAILED), {}, (139, [PASSED, FAILED], 1, 0)),
            ((1, PASSED, "ABRT"), {}, (134, [PASSED], 1, 0)),
            ((1, PASSED, "KILL"), {}, (0, [PASSED], 2, 1)),
            ((1, FAILED, "KILL"), {}, (137, [FAILED], 1, 0)),
            ((1, FAILED, "5"), {}, (5, [FAILED], 1, 0)),
            ((1, FAILED, "1"), {}, (1, [FAILED], 1, 0)),
            ((1, "", "5"), {}, (5, ["1 wrote nothing and ended with status 5"], 1, 0)),
            ((1, "", "1"), {}, (0, [], 2, 1)),  # as if it had not been started
            ((2, "", "1"), {}, (1, ["2 wrote nothing and ended with status 1"], 2, 1)),
            ((0, "", "1"), {}, (0, [], 1, 0)),
            ((1, PASSED, "KILL"), {"TUZ_WINE_TIMEOUT": "0"}, (137, [PASSED], 1, 0)),  # as if the time were over
            ((1, "main ran"), {}, (139, ["main ran"], 1, 0)),
            ((1, "main ran"), {"TUZ_WINE_SUCCESS": "^main ran"}, (0, ["main ran"], 2, 1))):
        found = run(winerun, *arguments, **variables)
        assert found == wanted, (arguments, variables, found, wanted)


main()
