#!/usr/bin/env python3
"""Finds functions that the library calls and that the tests of failing calls do not replace.

calls.py LIST LIBRARY PROGRAM [OBJDUMP NM]

LIBRARY may import a function only if PROGRAM, a suite of failing calls, replaces it, or if LIST names it. LIST holds
one name a line, and after it the reason why the function needs no replacement. The functions of the C++ language and of
its standard library are left out: they are part of the library's own code, and call the system through the same names.

On Linux, PROGRAM replaces a function if it defines one with the same name. For Windows, OBJDUMP and NM are the programs
of the compiler: OBJDUMP lists the imports of LIBRARY, and PROGRAM replaces a function if its namespace "replaced" has
one with the same name. A reason that begins with "32 bits:" or "64 bits:" counts only for such a LIBRARY. The
replacements in the C++ runtime and those of functions that LIBRARY looks up by their names are not imports of LIBRARY,
and are left out.
"""

import re
import subprocess
import sys

LANGUAGE = re.compile(r"^(_Z|__cxa_|__gxx_|_Unwind_|_ITM_|__gmon_start__|__dynamic_cast)")


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


def main():
    list_file, library, program = sys.argv[1:4]
    if len(sys.argv) > 4:
        imported, bits = imports(library, sys.argv[4])
        replaced = replacements(program, sys.argv[5])
    else:
        imported, bits = names(library, "--undefined-only", "Uwv"), "64 bits"
        replaced = names(program, "--defined-only", "TW")
    imported = {name for name in imported if not LANGUAGE.match(name)}
    reasons = {}
    faults = []
    with open(list_file, encoding="utf-8") as listed:
        for line in listed:
            name, _, reason = line.strip().partition(" ")
            if not reason.strip():
                faults.append(f"listed without a reason: {name}")
            if reason[:8] not in {"32 bits:", "64 bits:"} or reason.startswith(bits):
                reasons[name] = reason
    if not imported or not replaced & {"open", "CreateFileA"}:
        sys.exit("no imported or no replaced function found")
    faults += [f"imported, but neither replaced nor listed: {name}" for name in sorted(imported - replaced - set(reasons))]
    faults += [f"listed, but replaced: {name}" for name in sorted(set(reasons) & replaced & imported)]
    faults += [f"listed, but not imported: {name}" for name in sorted(set(reasons) - imported)]
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(imported & replaced)} imported functions are replaced, {len(imported & set(reasons))} need it not")


main()
