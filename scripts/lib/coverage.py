#!/usr/bin/env python3
"""Prints how much of the library the suites execute, and fails if it is too little.

coverage.py BUILD...

Each BUILD is a build with coverage counters whose suites were run, for Linux or for Windows. The script runs the gcov
of the build's compiler on each object, and adds up the counters of all objects that have a copy of the same code: a
suite may contain its own copy of a source, and each program has copies of templates and inline functions.

Then it unites the builds. A line is executed if one of them executes it, and a branch likewise. If the compilers made
different branches of a line, the branches of the build that takes the larger share of them are counted.

A call that may throw has a branch to code that destroys objects after an exception, and that code has branches of its
own if it need not destroy all of them. gcov marks both: the branches with "throw", and the code that only exceptions
reach, as long as it was never executed, with "$$$$$". A catch clause has a branch for exceptions of other classes. All
these branches are counted only in the column "with exceptions".

A comment that begins with "No test gets here:" explains why no test executes the statement below it, or takes all of
its branches. It also explains the lines after that statement that belong to it or are nested as deeply, up to the first
one that is executed. The shares count what is explained like the rest. A line or branch of src/ that is neither taken
nor explained is listed. A comment may also be about what a run happens to execute, for example a race.
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
LEAST_LINES, LEAST_BRANCHES = 99.5, 98.0  # of src/ in all builds together, in per cent
MOST_UNEXPLAINED = 0  # lines of src/ with something that is neither executed nor explained
EXPLANATION = "// No test gets here:"

SOURCE = re.compile(r" +-: +0:Source:(.*)")
LINE = re.compile(r" *([^:]+): *(\d+):")
BLOCK = re.compile(r" *([^:]+): *\d+-block ")
BRANCH = re.compile(r"branch +\d+ (?:taken (-?\d+)|never executed)(.*)")


def read(gcov, counters, build):
    """Yields what gcov tells about each line: file, number, count, and (thrown, exceptional, count) of each branch."""
    command = [gcov, "--stdout", "--all-blocks", "--branch-probabilities", "--branch-counts", str(counters)]
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


class Counts:
    """What the programs of one build, or of several, have executed."""

    def __init__(self):
        self.lines = collections.Counter()  # (file, line): how often it was executed
        # (file, line): {number of branches: branches}. The code of a template differs from type to type, so a line may
        # have several forms, with different numbers of branches. For each branch, a form has its count, whether an
        # exception takes it, and whether only exceptions reach it. gcov does not say that an exception takes a branch
        # if the code before the branch was not executed.
        self.forms = collections.defaultdict(dict)

    def add(self, place, branches):
        form = self.forms[place].setdefault(len(branches), [(0, False, True)] * len(branches))
        form[:] = [(count + more, throws or alsoThrows, exceptional and alsoExceptional)
                   for (count, throws, exceptional), (more, alsoThrows, alsoExceptional) in zip(form, branches)]

    def unite(self, other):
        for place, count in other.lines.items():
            self.lines[place] += count
        for place, forms in other.forms.items():
            if place not in self.forms or set(forms) == set(self.forms[place]):
                for form in forms.values():
                    self.add(place, form)
            elif share(forms) > share(self.forms[place]):
                self.forms[place] = forms


def counted(form):
    """The branches that no exception takes: number and count."""
    return [(number, count) for number, (count, throws, exceptional) in enumerate(form) if not throws and not exceptional]


def share(forms):
    """How much of the branches of a line is taken."""
    counts = [count for form in forms.values() for _, count in counted(form)]
    return sum(count > 0 for count in counts) / len(counts) if counts else 1


def measure(build):
    """What the programs of a build have executed."""
    settings = next(build.glob("CMakeFiles/*/CMakeCXXCompiler.cmake")).read_text(encoding="utf-8")
    compiler = os.path.basename(re.search(r'^set\(CMAKE_CXX_COMPILER "(.*)"\)', settings, re.MULTILINE).group(1))
    gcov = re.sub(r"[cg]\+\+", "gcov", compiler)
    counts = Counts()
    # The examples of the headers have the line numbers of the comments from which they were cut.
    # The interleavings of timers and references compile the sources with models in place of locks and events. On
    # Windows, the compiler makes other branches of these copies than of the library.
    left_out = ("header_examples_test", *(["_interleavings_test"] if "win32" in build.name else []))
    objects = sorted(path for path in build.rglob("*.gcda") if not any(name in str(path) for name in left_out))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for told in pool.map(lambda path: list(read(gcov, path, build)), objects):
            for name, line, count, branches in told:
                counts.lines[name, line] += count
                if branches:
                    counts.add((name, line), [(taken, throws, exceptional) for throws, exceptional, taken in branches])
    if not counts.lines:
        sys.exit(f"{build} has no counters")
    return counts


def without_the_compilers(counts, sources):
    """Leaves out what only the compiler made: a brace after a call that never returns, the branches at a brace, which
    lead the ways out of a block to their ends, and the test of `delete` whether the pointer is null. Marks the branches
    of catch clauses as those of exceptions."""
    for name, line in [place for place, count in counts.lines.items() if count == 0]:
        if sources[name][line - 1].strip() == "}":
            del counts.lines[name, line]
    for name, line in list(counts.forms):
        text = sources[name][line - 1].strip()
        if text.startswith("delete ") or text == "}":
            del counts.forms[name, line]
        elif re.match(r"} catch \(", text):
            forms = counts.forms[name, line]
            for size, form in forms.items():
                forms[size] = [(count, throws, True) for count, throws, _ in form]


def explained(source, executed):
    """Yields, for each comment that explains, the set of lines for which it speaks. The function executed() tells how
    often a line was executed, and None for a line without code."""
    for at, text in enumerate(source, 1):
        if EXPLANATION not in text:
            continue
        line, lines = at, set()
        if text.strip().startswith("//"):
            line += 1
            while source[line - 1].strip().startswith("//"):
                line += 1
        while True:
            lines.add(line)
            if re.search(r"[;{}](?: *//.*)?$", source[line - 1]):
                break
            line += 1
        depth = indentation(source[at - 1])
        while line < len(source) and not executed(line + 1):
            line += 1
            if source[line - 1].strip() and indentation(source[line - 1]) < depth:
                break
            lines.add(line)
            if source[line - 1] == " " * depth + "}":
                break
        yield lines


def indentation(text):
    return len(text) - len(text.lstrip())


def totals_of(counts):
    """For each folder: lines executed, lines, branches taken, branches, and both with exceptions."""
    totals = {folder: [0] * 6 for folder in FOLDERS}
    for (name, _), count in counts.lines.items():
        total = totals[next(folder for folder in FOLDERS if name.startswith(folder))]
        total[0] += count > 0
        total[1] += 1
    for (name, _), forms in counts.forms.items():
        total = totals[next(folder for folder in FOLDERS if name.startswith(folder))]
        for form in forms.values():
            total[2] += sum(count > 0 for _, count in counted(form))
            total[3] += len(counted(form))
            total[4] += sum(count > 0 for count, _, _ in form)
            total[5] += len(form)
    return totals


def main():
    builds = [pathlib.Path(build).resolve() for build in sys.argv[1:]]
    measured = [measure(build) for build in builds]
    both = Counts()
    for counts in measured:
        both.unite(counts)
    sources = {name: (ROOT / name).read_text(encoding="utf-8").split("\n") for name, _ in both.lines}
    for counts in (*measured, both):
        without_the_compilers(counts, sources)

    missing = collections.defaultdict(list)  # (file, line): what was not executed there
    for place, count in both.lines.items():
        if place[0].startswith("src/") and count == 0:
            missing[place].append("never")
    for place, forms in both.forms.items():
        if not place[0].startswith("src/"):
            continue
        untaken = [f"{number} of {size}" for size, form in sorted(forms.items())
                   for number, count in counted(form) if count == 0]
        if untaken and both.lines[place] > 0:
            missing[place].append("branch " + ", ".join(untaken))

    explanations, explained_places = 0, set()
    for name in sorted(name for name in sources if name.startswith("src/")):
        for lines in explained(sources[name], lambda line, name=name: both.lines.get((name, line))):
            explanations += 1
            explained_places |= {(name, line) for line in lines if (name, line) in missing}
    for (name, line), what in sorted(missing.items()):
        if (name, line) not in explained_places:
            print(f"{name}:{line}: {', '.join(what)}: {sources[name][line - 1].strip()}")

    print(f"\n{'':26} {'lines':>18} {'branches':>18} {'with exceptions':>18}")
    for folder in FOLDERS:
        for label, counts in [*zip((build.name for build in builds), measured), ("together", both)]:
            total = totals_of(counts)[folder]
            cells = [f"{100 * total[at] / total[at + 1]:.1f} % of {total[at + 1]:,}" for at in (0, 2, 4)]
            print(f"{folder:8}  {label:16} " + " ".join(f"{cell:>18}" for cell in cells))
    total = totals_of(both)["src/"]
    print(f"src/ without a test: {total[1] - total[0]} lines and {total[3] - total[2]} branches; {explanations} comments "
          f"explain {len(explained_places)} of the {len(missing)} lines concerned")
    if len(missing) - len(explained_places) > MOST_UNEXPLAINED:
        sys.exit(f"{len(missing) - len(explained_places)} lines of src/ have something that is neither executed nor "
                 f"explained; at most {MOST_UNEXPLAINED} may")
    if 100 * total[0] < LEAST_LINES * total[1] or 100 * total[2] < LEAST_BRANCHES * total[3]:
        sys.exit(f"fewer than {LEAST_LINES} % of the lines, or {LEAST_BRANCHES} % of the branches, of src/")


main()
