#!/usr/bin/env python3
"""Prints the objects of a program in gdb, and fails unless gdb shows the texts in EXPECTED: check.py PROGRAM SCRIPT"""

import re
import subprocess
import sys

EXPECTED = {
    "null": "null",
    "nil": '""',
    "narrow": '"two\\nlines"',
    "wide": 'u"Entwürfe"',
    "second": '"shared" [shared by 3]',
    "secret": '"secret" [secret]',
    "wiped": '"' + "\\x00" * 6 + '" [secret]',
    "longText": '"' + "x" * 200 + '"...',
    "name": '"C:\\\\mail"',
    "number": "-5",
    "unsignedNumber": "7u",
    "real": "2.5",
    "text": '"inbox"',
    "big": "1099511627776",
    "none": "nil",
    "message": '"%2$s has %1$d" in "Mail" 1:17 % (5, "inbox")',
    "plain": '"no mail"',
    "noEvent": "null reference",
    "category": 'category "Session", component 0x8',
    "problem": re.compile(
        r'@?.*TInvalidRequest 1: "No mail today", "Bad value to truncate this String" at src/utility/TSTRING:\d+'),
    "event": re.compile(r"reference to TSemaphore = \{target = .*fHandle = 0x[0-9a-f]+\}\}"),
    "*event.fTarget": re.compile(r".*fHandle = 0x[0-9a-f]+.*", re.DOTALL),
}


def main():
    program, script = sys.argv[1:3]
    command = ["gdb", "-batch", "-nx", "-ex", "set auto-load no", "-ex", "set confirm off", "-ex", f"source {script}",
               "-ex", "set print repeats unlimited", "-ex", "break Stop", "-ex", "run", "-ex", "up"]
    for expression in EXPECTED:
        command += ["-ex", f"echo \\n=={expression}==\\n", "-ex", f"print {expression}"]
    command += ["-ex", "echo \\n==traces==\\n", "-ex", "info tuzutil-traces", "-ex", "echo \\n==end==\\n", "-ex", "kill", program]
    ran = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120, check=False)
    output = ran.stdout.decode("utf-8", "replace")
    wrong = []
    for expression, expected in EXPECTED.items():
        found = re.search(rf"^=={re.escape(expression)}==\n\$\d+ = (.*?)\n*(?=^==)", output, re.MULTILINE | re.DOTALL)
        seen = found.group(1).strip() if found else "nothing"
        good = expected.fullmatch(seen) if isinstance(expected, re.Pattern) else seen == expected
        if not good:
            wrong.append(f"{expression}: {seen}\n    instead of {expected}")
    traces = re.search(r"^==traces==\n(.*?)^==end==", output, re.MULTILINE | re.DOTALL)
    if not traces or not re.fullmatch(r"TTraceStreamBase at 0x[0-9a-f]+: levels 0x4, components 0x8\n*", traces.group(1)):
        wrong.append(f"traces: {traces.group(1) if traces else 'nothing'}")
    if wrong:
        print(output)
        sys.exit("\n".join(wrong))


main()
