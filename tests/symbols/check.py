#!/usr/bin/env python3
"""Compares what the library exports with the lists kept beside this program.

check.py LIST LIBRARY OBJDUMP [--update]      LIBRARY exports the names of LIST, and no others
check.py LIST LIBRARY OBJDUMP --released      LIBRARY exports the names of LIST, that of a release, which programs need

A list holds one demangled name a line. Instances of standard templates that a compiler emits into the library are
no part of its interface and are left out.
"""

import re
import subprocess
import sys


def exported(library, objdump):
    if library.endswith(".dll"):
        table = subprocess.run([objdump, "-p", library], check=True, capture_output=True, text=True).stdout
        table = table.split("[Ordinal/Name Pointer] Table", 1)[1]
        # The table ends with an empty line; the linker's names lack the leading underscore of the system.
        names = re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+)?(?:[0-9a-f]{4}\s+)?(\S+)$", table, re.M)
    else:
        listing = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
        names = [line.split()[-1].split("@")[0] for line in listing.splitlines()]
    plain = subprocess.run(["c++filt"], input="\n".join(names), check=True, capture_output=True, text=True).stdout
    ours = {name for name in plain.splitlines() if name}
    foreign = re.compile(r"^(typeinfo (name )?for |vtable for |VTT for |guard variable for |void |bool |int )*(std::|__gnu_cxx::|_init$|_fini$)")
    return sorted(name for name in ours if not foreign.match(name) and not re.match(r"^[^(]*\bstd::[^(]*<.*>::", name))


def main():
    list_file, library, objdump = sys.argv[1:4]
    names = exported(library, objdump)
    if not names:
        sys.exit(f"{library}: no exported name found")
    if "--update" in sys.argv:
        with open(list_file, "w", encoding="utf-8") as out:
            out.write("\n".join(names) + "\n")
        return
    with open(list_file, encoding="utf-8") as listed:
        wanted = listed.read().splitlines()
    missing = sorted(set(wanted) - set(names))
    added = [] if "--released" in sys.argv else sorted(set(names) - set(wanted))
    for name in missing:
        print(f"no longer exported: {name}")
    for name in added:
        print(f"exported, but not listed: {name}")
    if missing or added:
        sys.exit(1)
    print(f"{len(names)} names are exported, as listed")


main()
