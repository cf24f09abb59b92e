#!/usr/bin/env python3
"""Checks what a power failure leaves, and what the next start makes of it.

powerloss.py trace RECORDER TRACED BIN         trace destinations: file, shfile, and those of the two libraries in BIN
powerloss.py mail RECORDER POP3D CLIENTS       the example server deletes messages; CLIENTS is the folder of its tests

recorder.cpp records what a process changes in a folder. Each prefix of this record is a moment at which the power may
fail. What was not synced by then may be lost. For each moment, the script builds these states of the folder:

    everything   all changes are there
    names        all names are there, but the files have only the bytes that were synced
    half         as `everything`, but half of the last write of each file is missing
    zeros        as `everything`, but bytes that were not synced are zeros: the size was stored before the bytes
    old names    names have not changed, and the files have all their bytes
    some names   only the first half of the changes of names is there

For each different state, a new process must work, and must find what the states contain.
"""

import itertools
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

LOSSES = ("everything", "names", "half", "zeros", "old names", "some names")


class Disk:
    """A folder of files, as the changes of a record make it."""

    def __init__(self, folder):
        self.names, self.files = {}, {}
        for path in sorted(folder.rglob("*")):
            if path.is_file():
                self.names[str(path)] = path.stat().st_ino
                self.files[path.stat().st_ino] = path.read_bytes()

    def apply(self, change):
        what, *rest = change
        if what == "create":
            self.names[rest[1]] = int(rest[0])
            self.files[int(rest[0])] = b""
        elif what == "write":
            inode, offset, data = int(rest[0]), int(rest[1]), bytes.fromhex(rest[2])
            old = self.files[inode].ljust(offset, b"\0")
            self.files[inode] = old[:offset] + data + old[offset + len(data):]
        elif what == "truncate":
            inode, size = map(int, rest)
            self.files[inode] = self.files[inode][:size].ljust(size, b"\0")
        elif what == "rename":
            self.names[rest[1]] = self.names.pop(rest[0])
        elif what == "link":
            self.names[rest[1]] = self.names[rest[0]]
        elif what == "unlink":
            del self.names[rest[0]]

    def state(self):
        return tuple(sorted((name, self.files[inode]) for name, inode in self.names.items() if inode in self.files))


OF_NAMES = ("create", "rename", "link", "unlink")


def after_failure(folder, start, changes, loss):
    """The state of the folder if the power fails after the changes."""
    disk = start(folder)
    synced = {}  # how many of the changes were made before the last sync of each file
    for number, change in enumerate(changes):
        if change[0] == "sync":
            synced[change[1]] = number
    is_data = [change[0] in ("write", "truncate") for change in changes]
    last_write = {change[1]: number for number, change in enumerate(changes) if change[0] == "write"}
    name_changes = sum(change[0] in OF_NAMES for change in changes)
    names_kept = {"old names": 0, "some names": name_changes // 2}.get(loss, name_changes)
    names_seen = 0
    for number, change in enumerate(changes):
        if change[0] == "create":
            disk.files[int(change[1])] = b""  # the bytes of the file, even if its name is lost
        if change[0] in OF_NAMES:
            names_seen += 1
            if names_seen <= names_kept:
                disk.apply(change)
            continue
        is_lost = is_data[number] and number > synced.get(change[1], -1)
        if is_lost and loss == "names":
            continue
        if is_lost and change[0] == "write":
            if loss == "zeros":
                change = [*change[:3], "00" * (len(change[3]) // 2)]
            elif loss == "half" and last_write[change[1]] == number:
                change = [*change[:3], change[3][:len(change[3]) // 4 * 2]]
        disk.apply(change)
    return disk.state()


def record(recorder, command, folder, **how):
    """Runs a process, and returns the changes that it makes in the folder."""
    recording = folder.parent / "recording"
    recording.unlink(missing_ok=True)
    environment = dict(os.environ, LD_PRELOAD=recorder, TUZUTIL_RECORDED=str(folder), TUZUTIL_RECORDING=str(recording))
    environment.pop("NUV_TRACE", None)
    subprocess.run(command, env=environment, check=True, timeout=60, **how)
    return read(recording)


def read(recording):
    return [line.split(" ") for line in recording.read_text().splitlines()] if recording.exists() else []


def states(folder, start, changes):
    """All different states, each with the first moment and loss that lead to it."""
    found = {}
    for count, loss in itertools.product(range(len(changes) + 1), LOSSES):
        found.setdefault(after_failure(folder, start, changes[:count], loss), (count, loss))
    return found


def build(folder, state):
    shutil.rmtree(folder)
    folder.mkdir()
    for name, content in state:
        pathlib.Path(name).write_bytes(content)


# Traces

TEXT = re.compile(rb"<(\d+) (r*)>")


def is_whole(line, keyword):
    if keyword == "json":
        try:
            text = json.loads(line)["text"].encode()
        except (ValueError, KeyError):
            return None
    else:
        found = re.search(rb"(?:^| )E \[traced\.cpp:1\] (<.*>)$", line)
        text = found.group(1) if found else b""
    found = TEXT.fullmatch(text)
    if not found or len(found.group(2)) != int(found.group(1)) * 37 % 300:
        return None
    return int(found.group(1))


def numbers(path, keyword):
    """The numbers of the whole records in a file."""
    found = [is_whole(line, keyword) for line in path.read_bytes().split(b"\n")]
    return [number for number in found if number is not None]


def check_trace(recorder, traced, bin_folder, keyword, configuration, keeps):
    with tempfile.TemporaryDirectory(prefix="powerloss-") as root:
        folder = pathlib.Path(root) / "traces"
        folder.mkdir()
        configuration = configuration.format(file=folder / "trace.log")
        # The second recorded process finds the files of a first one.
        subprocess.run([traced, configuration, "0", "10"], check=True, timeout=60, cwd=bin_folder)
        first = Disk(folder)
        changes = record(recorder, [traced, configuration, "10", "30"], folder, cwd=bin_folder)
        writes = sum(change[0] == "write" for change in changes)
        assert writes >= 30, f"{keyword}: only {writes} writes were recorded"

        def start(_):
            disk = Disk.__new__(Disk)
            disk.names, disk.files = dict(first.names), dict(first.files)
            return disk

        everything = states(folder, start, changes)
        complete = after_failure(folder, start, changes, "everything")
        assert complete in everything
        for state, (count, loss) in everything.items():
            build(folder, state)
            where = f"{keyword}, {loss} after {count} of {len(changes)} changes"
            before = [number for path in sorted(folder.iterdir()) for number in numbers(path, keyword)]
            assert len(set(before)) == len(before), f"{where}: a record is there twice: {before}"
            if state == complete:
                assert set(range(10, 40)) <= set(before), f"{where}: only {before}"
            subprocess.run([traced, configuration, "100", "3"], check=True, timeout=60, cwd=bin_folder)
            files = {path.name: numbers(path, keyword) for path in folder.iterdir()}
            after = [number for name in files for number in files[name]]
            assert {100, 101, 102} <= set(after), f"{where}: the next start wrote {files}"
            if keeps:
                # What the first process wrote was on the disk long before the failure.
                assert set(range(10)) <= set(before), f"{where}: the failure lost old records, {before} are left"
                lost = set(before) - set(after)
                assert not lost, f"{where}: the next start lost {sorted(lost)} of {before}"
        print(f"{keyword}: {len(changes)} changes, {len(everything)} states")


# Mail


def listing(client):
    client.ok("UIDL")
    return client.body()


def check_mail(recorder, pop3d, clients):
    sys.path.insert(0, clients)
    import support  # pylint: disable=import-outside-toplevel

    support.settings.server = pop3d
    server = support.Server()
    try:
        stored = server.put_samples("anna")
        mail = server.root / "mail"
        first = Disk(mail)
        recording = server.root / "recording"
        preload = {"LD_PRELOAD": recorder, "TUZUTIL_RECORDED": str(mail), "TUZUTIL_RECORDING": str(recording)}
        os.environ.update(preload)
        server.start()
        for name in preload:
            del os.environ[name]
        with server.connect() as client:
            client.login()
            uids = {line.split()[1]: line.split()[0] for line in listing(client)}
            for number in (2, 3, 7, 10):
                client.ok(f"DELE {number}")
            assert not read(recording), "messages are deleted before QUIT"
            client.ok("QUIT")
        assert server.stop() == 0
        changes = read(recording)
        assert [change[0] for change in changes] == ["unlink"] * 4, changes

        # The names of one folder may be stored in any order, so each set of the four deletions may have been lost.
        original = dict(first.names)
        for kept in itertools.product((False, True), repeat=4):
            disk = Disk.__new__(Disk)
            disk.names, disk.files = dict(original), dict(first.files)
            for change, is_kept in zip(changes, kept):
                if is_kept:
                    disk.apply(change)
            for folder in ("new", "cur"):
                for path in (server.mailbox("anna") / folder).iterdir():
                    path.unlink()
            for name, content in disk.state():
                pathlib.Path(name).write_bytes(content)
            server.start()
            with server.connect() as client:
                client.login()
                seen = {line.split()[1]: line.split()[0] for line in listing(client)}
                gone = {str(number).encode() for number, is_kept in zip((2, 3, 7, 10), kept) if is_kept}
                assert set(seen) == {uid for uid, number in uids.items() if number not in gone}, (kept, seen)
                for uid, number in seen.items():
                    client.ok("RETR " + number.decode())
                    content = client.content()
                    assert content == support.seen_by_client(stored[int(uids[uid]) - 1]), (kept, number)
                client.ok("QUIT")
            assert server.stop() == 0
        print(f"mail: {len(changes)} deletions, 16 states")
    finally:
        server.remove()


def main():
    what, recorder, program, folder = sys.argv[1:5]
    if what == "mail":
        check_mail(recorder, program, folder)
        return
    check_trace(recorder, program, folder, "file", "file({file}),al", keeps=False)
    check_trace(recorder, program, folder, "shfile", "shfile({file}),al", keeps=False)
    check_trace(recorder, program, folder, "rotate", "rotate[tracerotate]({file};2000;9),al", keeps=True)
    check_trace(recorder, program, folder, "json", "json[tracejson]({file}),al", keeps=True)


if __name__ == "__main__":
    main()
