#!/usr/bin/env python3
"""Prints how much of the library the suites execute, and fails if it is too little.

coverage.py BUILD

BUILD is a build with coverage counters whose suites were run. The script runs gcov on each object, and adds up the
counters of all objects that have a copy of the same code: a suite may contain its own copy of a source, and each
program has copies of templates and inline functions.

A call that may throw has a branch to code that destroys objects after an exception, and that code has branches of its
own if it need not destroy all of them. gcov marks both: the branches with "throw", and the code that only exceptions
reach, as long as it was never executed, with "$$$$$". These branches are counted only in the column "with exceptions".
"""

import collections
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("src/", "include/")
LEAST_LINES, LEAST_BRANCHES = 99.2, 95.8  # of src/ on Linux alone, in per cent

SOURCE = re.compile(r" +-: +0:Source:(.*)")
LINE = re.compile(r" *([^:]+): *(\d+):")
BLOCK = re.compile(r" *([^:]+): *\d+-block ")
BRANCH = re.compile(r"branch +\d+ (?:taken (-?\d+)|never executed)(.*)")


def read(counters, build):
    """Yields what gcov tells about each line: file, number, count, and (thrown, exceptional, count) of each branch."""
    command = ["gcov", "--stdout", "--all-blocks", "--branch-probabilities", "--branch-counts", str(counters)]
    told = subprocess.run(command, cwd=build, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
    name, line, branches, isExceptional = None, None, [], False
    for text in told.decode(errors="replace").splitlines():
        if found := SOURCE.match(text):
            if line:
                yield name, *line, branches
            path = os.path.relpath(os.path.join(build, found.group(1)), ROOT)
            name, line, branches = path if path.startswith(FOLDERS) else None, None, []
        elif not name:
            continue
        elif found := BLOCK.match(text):
            isExceptional = found.group(1) == "$$$$$"
        elif found := LINE.match(text):
            if line:
                yield name, *line, branches
            count = found.group(1).rstrip("*")
            line, branches, isExceptional = None, [], False
            if count != "-":
                line = int(found.group(2)), 0 if count[0] in "#=" else abs(int(count))
        elif (found := BRANCH.match(text)) and line:
            branches.append(("throw" in found.group(2), isExceptional, abs(int(found.group(1) or 0))))
    if line:
        yield name, *line, branches


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    lines = collections.Counter()  # (file, line): how often it was executed
    # The code of a template differs from type to type, so a line may have several forms, with different numbers of
    # branches. For each branch, a form has its count, whether an exception takes it, and whether only exceptions reach
    # it. gcov does not say that an exception takes a branch if the code before the branch was not executed.
    forms = {}
    # The examples of the headers have the line numbers of the comments from which they were cut.
    objects = sorted(path for path in build.rglob("*.gcda") if "header_examples_test" not in str(path))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for told in pool.map(lambda path: list(read(path, build)), objects):
            for name, line, count, branches in told:
                lines[name, line] += count
                form = forms.setdefault((name, line, len(branches)), [[0, False, True] for _ in branches])
                for branch, (isThrow, isExceptional, taken) in zip(form, branches):
                    branch[0] += taken
                    branch[1] = branch[1] or isThrow
                    branch[2] = branch[2] and isExceptional
    if not lines:
        sys.exit(f"{build} has no counters")

    # Two kinds of code are only the compiler's: a brace after a call that never returns, and the test of `delete`
    # whether the pointer is null.
    sources = {name: (ROOT / name).read_text(encoding="utf-8").split("\n") for name, _ in lines}
    for name, line in [place for place, count in lines.items() if count == 0]:
        if sources[name][line - 1].strip() == "}":
            del lines[name, line]
    for name, line, size in [place for place in forms if sources[place[0]][place[1] - 1].strip().startswith("delete ")]:
        del forms[name, line, size]

    missing = collections.defaultdict(list)
    totals = {folder: [0] * 6 for folder in FOLDERS}
    for (name, _), count in lines.items():
        total = totals[next(folder for folder in FOLDERS if name.startswith(folder))]
        total[0] += count > 0
        total[1] += 1
    for (name, line, _), form in forms.items():
        total = totals[next(folder for folder in FOLDERS if name.startswith(folder))]
        for number, (count, isThrow, isExceptional) in enumerate(form):
            total[4] += count > 0
            total[5] += 1
            if not isThrow and not isExceptional:
                total[2] += count > 0
                total[3] += 1
                if count == 0 and lines[name, line] > 0:
                    missing[name, line].append(f"{number} of {len(form)}")
    for place, count in sorted(lines.items()):
        if place[0].startswith("src/") and (count == 0 or place in missing):
            source = sources[place[0]][place[1] - 1].strip()
            what = "never" if count == 0 else "branch " + ", ".join(missing[place])
            print(f"{place[0]}:{place[1]}: {what}: {source}")

    print(f"\n{'':8} {'lines':>18} {'branches':>18} {'with exceptions':>18}")
    for folder, total in totals.items():
        cells = [f"{100 * total[at] / total[at + 1]:.1f} % of {total[at + 1]:,}" for at in (0, 2, 4)]
        print(f"{folder:8} " + " ".join(f"{cell:>18}" for cell in cells))
    total = totals["src/"]
    if 100 * total[0] < LEAST_LINES * total[1] or 100 * total[2] < LEAST_BRANCHES * total[3]:
        sys.exit(f"fewer than {LEAST_LINES} % of the lines, or {LEAST_BRANCHES} % of the branches, of src/")


main()
