#!/usr/bin/env python3
"""Finds functions that the library calls and that never fail in the tests of failing calls.

calls.py --list LIST --library LIBRARY [--objdump OBJDUMP --nm NM] [--emulator EMULATOR...] PROGRAM...

PROGRAMs are the suites of failing calls. LIBRARY may import a function only if they replace it, or if LIST names it.
LIST holds one name a line, and after it the reason why the function needs no replacement. The functions of the C++
language and of its standard library are left out: they are part of the library's own code, and call the system through
the same names.

On Linux, a PROGRAM replaces a function if it defines one with the same name. For Windows, OBJDUMP and NM are the
programs of the compiler: OBJDUMP lists the imports of LIBRARY, and a PROGRAM replaces a function if its namespace
"replaced" has one with the same name. A reason that begins with "32 bits:" or "64 bits:" counts only for such a LIBRARY.

Then the PROGRAMs run. Each function that they replace must fail in one of their operations. If LIST gives a reason for
such a function that begins with "replaced, but", it must not fail in any.
"""

import argparse
import json
import pathlib
import re
import subprocess
import sys
import tempfile

LANGUAGE = re.compile(r"^(_Z|__cxa_|__gxx_|_Unwind_|_ITM_|__gmon_start__|__dynamic_cast)")
BUT = "replaced, but"
# Some calls have names of their own in the suites.
OWN_NAMES = {"write by syscall": "syscall", "futex": "syscall", "futex wake": "syscall",
             "_wfindfirst": "_wfindfirst32", "_wfindnext": "_wfindnext32"}


def names(file, which, kinds):
    listing = subprocess.run(["nm", "-D", which, file], check=True, capture_output=True, text=True).stdout
    rows = [line.split()[-2:] for line in listing.splitlines()]
    return {name.split("@")[0] for kind, name in rows if kind in kinds}


def imports(file, objdump):
    listing = subprocess.run([objdump, "-p", file], check=True, capture_output=True, text=True).stdout
    tables = listing.partition("The Import Tables")[2].partition("The Export Tables")[0]
    found = set()
    for part in tables.split("DLL Name: ")[1:]:
        if re.match(r"lib(stdc\+\+|gcc)", part):  # the C++ language and its standard library
            continue
        found |= {name for _, name in re.findall(r"^\s+([0-9a-f]+)\s+\d+\s+(\w+)$", part, re.M)}
    return found, "64 bits" if "pei-x86-64" in listing else "32 bits"


def replacements(file, nm):
    listing = subprocess.run([nm, "--demangle", file], check=True, capture_output=True, text=True).stdout
    return set(re.findall(r"^[0-9a-f]+ [tT] replaced::(\w+)\(", listing, re.M))


def failures(program, emulator):
    """Runs the suite, and returns the functions that failed."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([*emulator, program, "--gtest_brief=1", "--gtest_filter=*.AreToldWhen*",
                        "--gtest_output=json:result.json"], check=True, cwd=folder)
        suites = json.loads((pathlib.Path(folder) / "result.json").read_text())["testsuites"]
    found = {name for suite in suites for test in suite["testsuite"] for name in test["failed"].split(",")}
    return {OWN_NAMES.get(name, name) for name in found}


def main():
    parser = argparse.ArgumentParser()
    for option in ("--list", "--library", "--objdump", "--nm"):
        parser.add_argument(option)
    parser.add_argument("--emulator", action="append", default=[])
    parser.add_argument("programs", nargs="+")
    options = parser.parse_args()
    program = options.programs[0]  # all of them have the same replacements
    if options.objdump:
        imported, bits = imports(options.library, options.objdump)
        replaced = replacements(program, options.nm)
    else:
        imported, bits = names(options.library, "--undefined-only", "Uwv"), "64 bits"
        replaced = names(program, "--defined-only", "TW")
    imported = {name for name in imported if not LANGUAGE.match(name)}
    if not options.objdump:
        replaced &= imported  # a program defines other functions, too
    reasons = {}
    excused = set()  # replaced, but cannot fail
    faults = []
    with open(options.list, encoding="utf-8") as listed:
        for line in listed:
            name, _, reason = line.strip().partition(" ")
            if not reason.strip():
                faults.append(f"listed without a reason: {name}")
            if reason.startswith(BUT):
                excused.add(name)
            elif reason[:8] not in {"32 bits:", "64 bits:"} or reason.startswith(bits):
                reasons[name] = reason
    if not imported or not replaced & {"open", "CreateFileA"}:
        sys.exit("no imported or no replaced function found")
    failed = set().union(*(failures(each, options.emulator) for each in options.programs))
    listed = set(reasons)
    for fault, found in {
        "imported, but neither replaced nor listed": imported - replaced - listed,
        "listed, but replaced": listed & replaced & imported,
        "listed, but not imported": listed - imported,
        "replaced, but fails in no operation": replaced - failed - excused,
        f'listed as "{BUT}", but fails': excused & failed,
        f'listed as "{BUT}", but not replaced': excused - replaced,
        "fails, but is not replaced": failed - replaced,
    }.items():
        faults += [f"{fault}: {name}" for name in sorted(found)]
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(replaced & failed)} functions fail, {len(excused)} are replaced and cannot fail, "
          f"{len(imported & listed)} need no replacement")


main()
