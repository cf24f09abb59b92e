#!/usr/bin/env python3
"""Kills processes in the middle of their work, and checks the data that they leave.

deaths.py lock|memory|trace VICTIM [EMULATOR]

Three victims work at the same time. Again and again, one of them is killed at a random moment, and a new one replaces
it. After each tenth death, and at the end, a process that is not killed checks that everything is in order. The
environment variable TUZUTIL_DEATHS says how many processes are killed. The script prints the seed of its random
numbers. If TUZUTIL_DEATHS_SEED is set to this seed, the same numbers are used again.

A victim says what it is doing, in a file of its own. At least one death in ten, of 200 or more, must be in the moment
that matters: while the victim holds the lock, fills a new block, or writes a record.
"""

import collections
import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import tempfile
import time

HEAD = rb"00/00-00:00:00.00 00000000:00000000 E [victim.cpp:1] <"  # with any digit for each 0
RECORD = re.compile(rb"(\d+) (\d+) (r*)>")
CUT = re.compile(rb"\d*( \d*( r*)?)?")
VICTIMS = 3
MOMENT = {"lock": "h", "memory": "f", "trace": "w"}


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

        numbers = iter(range(1_000_000))
        phases = collections.Counter()

        def arguments(rounds):
            number = next(numbers)
            phase = pathlib.Path(folder) / f"phase{number}"
            return phase, [str(rounds), str(number), ("Z:" if emulator else "") + str(phase)]

        def start():
            phase, rest = arguments(0)
            victim = subprocess.Popen(command + rest, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                      stderr=subprocess.DEVNULL, start_new_session=True)
            victim.phase_now = lambda: phase.read_text()[:1] if phase.exists() else ""
            return victim

        def check():
            ran = subprocess.run(command + arguments(20)[1], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                 timeout=120, check=False)
            if ran.returncode != 0:
                sys.exit(f"a process that was not killed: {ran.returncode}, {ran.stdout.decode(errors='replace')}")

        # Under Wine, the first process starts services. They must not be killed with a victim, and must not inherit the
        # pipe of a victim's output, of which nobody would see the end.
        check()
        victims = [start() for _ in range(VICTIMS)]
        try:
            longest = 0.15 if emulator else 0.01
            for death in range(1, deaths + 1):
                time.sleep(chance.uniform(0, longest))
                chosen = victims.pop(chance.randrange(VICTIMS))
                # Every second death waits for the moment that matters, but not for long.
                deadline = time.monotonic() + (longest if death % 2 else 0)
                while time.monotonic() < deadline and chosen.phase_now() != MOMENT[what]:
                    pass
                ended = chosen.poll()
                if ended is not None:
                    sys.exit(f"a victim ended by itself: {ended}, {chosen.stdout.read().decode(errors='replace')}")
                os.killpg(chosen.pid, signal.SIGKILL)
                chosen.wait()
                chosen.stdout.close()
                phases[chosen.phase_now()] += 1
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
        counts = ", ".join(f"{count} in {phase or 'none'!r}" for phase, count in sorted(phases.items()))
        print(f"deaths by phase: {counts}")
        if phases[MOMENT[what]] < (deaths // 10 if deaths >= 200 else 1):
            sys.exit(f"too few deaths in {MOMENT[what]!r}")


def has_head(line):
    """Whether the line begins with the head of a record, as far as it goes."""
    return all(found in b"0123456789ABCDEF" if wanted == ord("0") else found == wanted
               for found, wanted in zip(line, HEAD))


def look_at(file, deaths):
    """Checks that every line is a whole record or the beginning of one, with at most one beginning for each death.

    No process may have lost a record before its last one."""
    rounds = collections.Counter()
    whole = cut = 0
    for line in file.read_bytes().replace(b"\r\n", b"\n").split(b"\n")[:-1]:
        rest = line[len(HEAD):]
        found = RECORD.fullmatch(rest) if has_head(line) else None
        if found:
            number, place, text = int(found[1]), int(found[2]), found[3]
            if len(text) != place * 37 % 300:
                sys.exit(f"a record of the wrong length: {line[:200]!r}, {len(text)}")
            if place != rounds[number]:
                sys.exit(f"process {number} wrote record {place} instead of {rounds[number]}")
            rounds[number] += 1
            whole += 1
        elif has_head(line) and CUT.fullmatch(rest):
            cut += 1
        else:
            sys.exit(f"a damaged line: {line[:200]!r}")
    print(f"{whole} whole records, {cut} cut off")
    if whole < 100 or cut > deaths:
        sys.exit("too few whole records, or too many that were cut off")


main()
