#!/usr/bin/env python3
"""Runs a program of the guide, and fails unless it prints what the guide says.

run.py BASE COMMAND...      BASE.txt has the expected output, and BASE.env has the environment of the program
"""

import difflib
import os
import pathlib
import subprocess
import sys

base, command = sys.argv[1], sys.argv[2:]
expected = pathlib.Path(base + ".txt").read_text(encoding="utf-8")
settings = pathlib.Path(base + ".env").read_text(encoding="utf-8").split()
environment = dict(os.environ, **dict(setting.split("=", 1) for setting in settings))
ran = subprocess.run(command, env=environment, stdout=subprocess.PIPE, timeout=60, check=False)
seen = ran.stdout.decode("utf-8", "replace").replace("\r", "")
if ran.returncode != 0 or seen != expected:
    sys.stdout.writelines(difflib.unified_diff(expected.splitlines(True), seen.splitlines(True), "guide", "program"))
    sys.exit(f"exit status {ran.returncode}")
