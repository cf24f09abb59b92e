#!/usr/bin/env python3
"""Fails if an editor does not show the page of a header at the class that the page is about.

hover.py CLANGD INCLUDE-FOLDER WORK-FOLDER

A forward declaration of the class follows each page, so clangd shows the page for every use of the class. The definition
of the class has no comment of its own, because another editor may prefer that one.
"""

import json
import pathlib
import re
import subprocess
import sys

PAGE = re.compile(r"\A#ifndef \w+\n#define \w+\n\n((?://.*\n)+)(?:(?:template <.*>\n)?(?:class|struct) (\w+);\n)?")
# These pages are about no class.
WITHOUT_CLASS = {"EXPORT.h", "RELEASE.h", "tuzutil.h"}


class Clangd:
    """A language server, with which this program talks over pipes."""

    def __init__(self, program, folder):
        self.process = subprocess.Popen([program, f"--compile-commands-dir={folder}", "--background-index=0", "--log=error"],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.calls = 0

    def send(self, method, parameters, **more):
        body = json.dumps({"jsonrpc": "2.0", "method": method, "params": parameters, **more}).encode()
        self.process.stdin.write(b"Content-Length: %d\r\n\r\n%s" % (len(body), body))
        self.process.stdin.flush()

    def receive(self):
        length = 0
        while header := self.process.stdout.readline().strip():
            name, value = header.split(b":")
            if name.lower() == b"content-length":
                length = int(value)
        if length == 0:
            sys.exit("clangd has ended")
        return json.loads(self.process.stdout.read(length))

    def call(self, method, parameters):
        self.calls += 1
        self.send(method, parameters, id=self.calls)
        while True:
            answer = self.receive()
            if answer.get("id") == self.calls and "method" not in answer:
                return answer.get("result")

    def end(self):
        self.call("shutdown", None)
        self.send("exit", None)
        self.process.wait(60)


def words(text):
    return re.findall(r"\w+", text)


def main():
    clangd, include, work = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    faults, pages = [], []  # what is wrong, and pairs of a class and its page
    for header in sorted(include.glob("tuzutil/*.h")):
        code = header.read_text(encoding="utf-8")
        page, name = PAGE.match(code).groups()
        if name:
            if name not in words(page.split(":")[0]):
                faults.append(f"{header.name}: the page does not begin with {name}, which follows it")
            if re.search(rf"^//.*\n(template .*\n)?(class|struct)( TUZUTIL_API)? {name}\b(?!;)", code, re.M):
                faults.append(f"{header.name}: the definition of {name} has a comment of its own")
            pages.append((name, re.sub(r"^// ?", "", page, flags=re.M)))
        elif header.name not in WITHOUT_CLASS:
            faults.append(f"{header.name}: no forward declaration of a class follows the page")

    work.mkdir(parents=True, exist_ok=True)
    source = work / "hover.cpp"
    before = "".join(f'#include "tuzutil/{path.name}"\n' for path in sorted(include.glob("tuzutil/*.h")))
    text = before + "".join(f"using ::{name};\n" for name, _ in pages)
    source.write_text(text, encoding="utf-8")
    commands = [{"directory": str(work), "file": str(source),
                 "command": f"clang++ -std=c++20 -I{include} -c {source}"}]
    (work / "compile_commands.json").write_text(json.dumps(commands), encoding="utf-8")

    server = Clangd(clangd, work)
    server.call("initialize", {"processId": None, "rootUri": None, "capabilities": {}})
    server.send("initialized", {})
    document = {"uri": source.as_uri(), "languageId": "cpp", "version": 1, "text": text}
    server.send("textDocument/didOpen", {"textDocument": document})
    for line, (name, page) in enumerate(pages, before.count("\n")):
        place = {"textDocument": {"uri": source.as_uri()}, "position": {"line": line, "character": len("using ::")}}
        shown = server.call("textDocument/hover", place)
        heard = words(shown["contents"]["value"]) if shown else []
        # clangd breaks the lines anew, and adds the declaration. So the words of the page must be among those shown.
        wanted = words(page)
        if not any(heard[at:at + len(wanted)] == wanted for at in range(len(heard))):
            faults.append(f"{name}: an editor shows \"{' '.join(heard[:12])}...\" instead of the page")
    server.end()
    print("\n".join(faults) if faults else f"{len(pages)} pages are shown at their classes")
    sys.exit(bool(faults) or not pages)


main()
