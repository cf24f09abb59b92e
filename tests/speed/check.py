#!/usr/bin/env python3
"""Counts the instructions of some paths of the library: check.py EXPECTED PROGRAM [--update]

Each path runs under callgrind twice, with two numbers of repetitions, so that the difference is the cost of the
repetitions alone. Unlike time, instructions repeat from run to run. A path fails if it needs a tenth more than is
expected; if it needs a tenth less, the expected number is out of date, which fails too."""

import os
import re
import subprocess
import sys
import tempfile

FEW, MANY = 20, 120


def instructions(program, path, count):
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out", program, path, str(count)],
            check=True, capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"})
    return int(re.search(r"Collected : (\d+)", run.stderr).group(1))


def main():
    expected_file, program = sys.argv[1:3]
    update = "--update" in sys.argv
    with open(expected_file, encoding="utf-8") as file:
        lines = file.read().splitlines()
    failed = False
    for number, line in enumerate(lines):
        if not line or line.startswith("#"):
            continue
        path, expected = line.split()
        cost = (instructions(program, path, MANY) - instructions(program, path, FEW)) / (MANY - FEW)
        verdict = "as expected"
        if not float(expected) * 0.9 - 1 <= cost <= float(expected) * 1.1 + 1:
            verdict = "MORE than expected" if cost > float(expected) else "LESS than expected: run with --update"
            failed = True
        print(f"{path:<14}{cost:>14.1f}   expected {expected:>10}   {verdict}")
        lines[number] = f"{path} {cost:.1f}"
    if update:
        with open(expected_file, "w", encoding="utf-8") as file:
            file.write("\n".join(lines) + "\n")
        return 0
    return 1 if failed else 0


sys.exit(main())
