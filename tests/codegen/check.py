#!/usr/bin/env python3
"""Looks at the generated code of a library or program.

check.py OBJDUMP BINARY calls CALLEE FUNCTION...     each function calls the callee
check.py OBJDUMP BINARY nocall FUNCTION...           no function calls anything before it has decided on two conditions
check.py OBJDUMP BINARY nostack FUNCTION...          no function reads or writes the stack before it jumps out of line
"""

import re
import subprocess
import sys


# The mnemonics of x86 and of 64-bit ARM.
CALL = re.compile(r"(call|blr?)\b")
JUMP = re.compile(r"(jmp|b)\b")
CONDITION = re.compile(r"j(?!mp)|b\.|cbn?z|tbn?z")
PADDING = re.compile(r"(data16 )*(cs )?nop|xchg +%ax,%ax|lea +0x0\(%esi")


def functions(objdump, binary):
    listing = subprocess.run([objdump, "-d", "-C", "--no-show-raw-insn", binary], check=True, capture_output=True, text=True).stdout
    found = {}
    name = None
    for line in listing.splitlines():
        header = re.match(r"^[0-9a-f]+ <(.*)>:$", line)
        if header:
            # One of the targets puts an underscore before every name of C.
            name = header.group(1).removeprefix("_")
            found.setdefault(name, [])
        elif name and "\t" in line:
            found[name].append(line.split("\t", 1)[1])
    return found


def decision(body):
    """The instructions up to the second condition. If both are true, the compiler may call what is unlikely from here."""
    conditions = [number for number, line in enumerate(body) if CONDITION.match(line)]
    return body[:conditions[1]] if len(conditions) > 1 else body


def matching(found, wanted):
    bodies = [body for name, body in found.items() if name == wanted or name.startswith(wanted + "(")]
    if not bodies:
        sys.exit(f"{wanted}: no such function")
    return bodies


def main():
    objdump, binary, rule = sys.argv[1:4]
    found = functions(objdump, binary)
    failed = False
    if rule == "calls":
        callee, names = sys.argv[4], sys.argv[5:]
        for name in names:
            # The compiler may have put the unlikely part elsewhere, under the same name with a mark behind it.
            lines = [line for body in matching(found, name) for line in body]
            if not any((CALL.match(line) or JUMP.match(line)) and callee in line for line in lines):
                print(f"{name} does not call {callee}")
                failed = True
    elif rule == "nostack":
        for name in sys.argv[4:]:
            for body in matching(found, name):
                print(f"{name}:", *body, sep="\n    ")
                failed |= any(re.search(r"\(%rsp", line) for line in body)
    else:
        for name in sys.argv[4:]:
            for body in matching(found, name):
                print(f"{name}:", *body, sep="\n    ")
                failed |= any(CALL.match(line) for line in decision(body))
                # Loads, tests and branches: nothing that grows with the arguments. The assembler fills gaps with
                # instructions that do nothing.
                failed |= sum(not PADDING.match(line) for line in decision(body)) > 20
    if failed:
        sys.exit(1)
    print("the code is as it has to be")


main()
