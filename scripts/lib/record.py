#!/usr/bin/env python3
"""Writes the result of one step of scripts/test into the table of docs/reliability.md.

record.py STEP PASSED FAILED SECONDS
"""

import datetime
import pathlib
import re
import subprocess
import sys

step, passed, failed, seconds = sys.argv[1], *map(int, sys.argv[2:5])
page = pathlib.Path("docs/reliability.md")


def git(*arguments):
    return subprocess.run(["git", *arguments], stdout=subprocess.PIPE, check=True).stdout.decode()


commit = git("rev-parse", "--short", "HEAD").strip()
if [line for line in git("status", "--porcelain").splitlines() if line[3:] != str(page)]:
    commit += " with changes"
row = rf"^(\| `{step}` \|[^|]*\|).*$"
text, count = re.subn(row, rf"\g<1> {passed:,} | {failed} | {seconds / 60:.1f} | {datetime.date.today()}, {commit} |",
                      page.read_text(encoding="utf-8"), flags=re.MULTILINE)
if count != 1:
    sys.exit(f"{page} has {count} rows for {step}")
page.write_text(text, encoding="utf-8")
