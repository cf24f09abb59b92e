#!/usr/bin/env python3
"""Finds functions that the library calls and that the tests of failing calls do not replace.

calls.py LIST LIBRARY PROGRAM

LIBRARY may import a function only if PROGRAM, a suite of failing calls, defines it, or if LIST names it. LIST holds one
name a line, and after it the reason why the function needs no replacement. The functions of the C++ language and of its
standard library are left out: they are part of the library's own code, and call the system through the same names.
"""

import re
import subprocess
import sys

LANGUAGE = re.compile(r"^(_Z|__cxa_|__gxx_|_Unwind_|_ITM_|__gmon_start__|__dynamic_cast)")


def names(file, which, kinds):
    listing = subprocess.run(["nm", "-D", which, file], check=True, capture_output=True, text=True).stdout
    rows = [line.split()[-2:] for line in listing.splitlines()]
    return {name.split("@")[0] for kind, name in rows if kind in kinds}


def main():
    list_file, library, program = sys.argv[1:4]
    imported = {name for name in names(library, "--undefined-only", "Uwv") if not LANGUAGE.match(name)}
    replaced = names(program, "--defined-only", "TW")
    reasons = {}
    faults = []
    with open(list_file, encoding="utf-8") as listed:
        for line in listed:
            name, _, reason = line.strip().partition(" ")
            if not reason.strip():
                faults.append(f"listed without a reason: {name}")
            reasons[name] = reason
    if not imported or "open" not in replaced:
        sys.exit("no imported or no replaced function found")
    faults += [f"imported, but neither replaced nor listed: {name}" for name in sorted(imported - replaced - set(reasons))]
    faults += [f"listed, but replaced: {name}" for name in sorted(set(reasons) & replaced & imported)]
    faults += [f"listed, but not imported: {name}" for name in sorted(set(reasons) - imported)]
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(imported & replaced)} imported functions are replaced, {len(imported & set(reasons))} need it not")


main()
