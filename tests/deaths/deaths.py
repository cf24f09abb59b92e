#!/usr/bin/env python3
"""Kills processes in the middle of their work, and checks the data that they leave.

deaths.py lock|memory|trace VICTIM [EMULATOR]

Three victims work at the same time. Again and again, one of them is killed at a random moment, and a new one replaces
it. After each tenth death, and at the end, a process that is not killed checks that everything is in order. The
environment variable TUZUTIL_DEATHS says how many processes are killed. The script prints the seed of its random
numbers. If TUZUTIL_DEATHS_SEED is set to this seed, the same numbers are used again.
"""

import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import tempfile
import time

RECORD = re.compile(rb"\d\d/\d\d-\d\d:\d\d:\d\d\.\d\d [0-9A-F]{8}:[0-9A-F]{8} E \[victim\.cpp:1\] <(r*)(>?)")
VICTIMS = 3


def main():
    what, victim = sys.argv[1:3]
    emulator = sys.argv[3:4]
    deaths = int(os.environ.get("TUZUTIL_DEATHS", "40"))
    seed = int(os.environ.get("TUZUTIL_DEATHS_SEED", time.time_ns() % 1_000_000_007))
    chance = random.Random(seed)
    print(f"{deaths} deaths, seed {seed}")
    with tempfile.TemporaryDirectory(prefix="deaths-") as folder:
        file = pathlib.Path(folder) / "trace.log"
        name = f"tuzutil.deaths.{os.getpid()}"
        if what == "trace":
            name = ("Z:" if emulator else "") + str(file).replace("/", "\\")
        environment = dict(os.environ, TUZ_WINE_EXEC="1")
        command = emulator + [victim, what, name]

        def start():
            return subprocess.Popen(command + ["0"], env=environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                    start_new_session=True)

        def check():
            ran = subprocess.run(command + ["20"], env=environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                 timeout=120, check=False)
            if ran.returncode != 0:
                sys.exit(f"a process that was not killed: {ran.returncode}, {ran.stdout.decode(errors='replace')}")

        victims = [start() for _ in range(VICTIMS)]
        try:
            longest = 0.15 if emulator else 0.02
            for death in range(1, deaths + 1):
                time.sleep(chance.uniform(0, longest))
                chosen = victims.pop(chance.randrange(VICTIMS))
                ended = chosen.poll()
                if ended is not None:
                    sys.exit(f"a victim ended by itself: {ended}, {chosen.stdout.read().decode(errors='replace')}")
                os.killpg(chosen.pid, signal.SIGKILL)
                chosen.wait()
                chosen.stdout.close()
                victims.append(start())
                if death % 10 == 0:
                    check()
            check()
        finally:
            for left in victims:
                if left.poll() is None:
                    os.killpg(left.pid, signal.SIGKILL)
                left.wait()
                left.stdout.close()
        if what == "trace":
            look_at(file, deaths + VICTIMS)
        check()  # empties the trace file first, because no other process uses it


def look_at(file, deaths):
    """Checks that every line is a whole record or the beginning of one, with at most one beginning for each death."""
    whole = cut = 0
    for line in file.read_bytes().replace(b"\r\n", b"\n").split(b"\n")[:-1]:
        found = RECORD.fullmatch(line)
        if found and found.group(2):
            whole += 1
        elif found or RECORD.match(line + b" <") or len(line) < 50:
            cut += 1
        else:
            sys.exit(f"a damaged line: {line[:200]!r}")
    print(f"{whole} whole records, {cut} cut off")
    if whole < 100 or cut > deaths:
        sys.exit("too few whole records, or too many that were cut off")


main()
