#!/usr/bin/env python3
"""check_endings.py PROGRAM KIND [EMULATOR]: one thread ends the process while others use the library.

The thread ends it in each way there is. KIND is the kind of the trace file, "file" or "shfile". The process must
end at once, as it was told to, and must leave only whole records in its trace file. Only the last record may be cut.
"""

import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile

program, kind, emulator = sys.argv[1], sys.argv[2], sys.argv[3:]
RECORD = re.compile(r"[0-9/:.-]+ [0-9A-F:]+ E \[ending\.cpp:1\] (constructed|destroyed|round of thread \d)")
WAYS = ["exit", "_Exit", "main", "thread", "locks", "write", "abort", "abort_write", "throw"]
WAYS += [] if emulator else ["quick_exit"]
DESTROYS = ("exit", "main", "thread", "locks", "write")
ABORTS = ("abort", "abort_write", "throw")
TIMES = 3 if emulator else 20

with tempfile.TemporaryDirectory() as folder:
    path = pathlib.Path(folder) / "trace.log"
    native = "Z:" + str(path).replace("/", "\\") if emulator else str(path)
    for way in WAYS:
        for _ in range(TIMES):
            environment = {key: text for key, text in os.environ.items() if not key.startswith("NUV_TRACE")}
            environment.update(NUV_TRACE_STARTUP=f"{kind}({native})", TUZ_WINE_SUCCESS="^ends")
            ran = subprocess.run([*emulator, program, way], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                 timeout=60, check=False, env=environment)
            told = ran.stdout.decode(errors="replace").replace("\r\n", "\n")
            where = way, kind, ran.returncode, told
            if way not in ABORTS:
                assert (ran.returncode, told) == (7, "ends\n"), where
            elif emulator:
                assert ran.returncode == 3 and told.startswith("ends\n"), where
            else:
                assert ran.returncode == -signal.SIGABRT and told.startswith("ends\n"), where
            assert ("TInvalidRequest: the end of a thread" in told) == (way == "throw"), where
            *lines, cut = path.read_text(encoding="ascii").split("\n")
            texts = []
            for line in lines:
                found = RECORD.fullmatch(line)
                assert found, (*where, line)
                texts.append(found[1])
            # If a thread is ended in a call that writes, the system may stop after any page of the file.
            assert not cut or path.stat().st_size % 4096 == 0, (*where, cut)
            path.unlink()
            assert texts[0] == "constructed" and len(texts) > 200, where
            assert texts.count("destroyed") == (way in DESTROYS), where
