#!/usr/bin/env python3
"""Checks what a power failure leaves, and what the next start makes of it.

powerloss.py trace RECORDER TRACED BIN         trace destinations: file, shfile, and those of the two libraries in BIN
powerloss.py mail RECORDER POP3D CLIENTS       the example server deletes messages; CLIENTS is the folder of its tests
powerloss.py delivery RECORDER LMTPD CLIENTS   lmtpd delivers messages

recorder.cpp records what a process changes in a folder. Each prefix of this record is a moment at which the power may
fail. What was not synced by then may be lost. For each moment, the script builds these states of the folder:

    everything   all changes are there
    names        all names are there, but the files have only the bytes that were synced
    half         as `everything`, but half of the last write of each file is missing
    zeros        as `everything`, but bytes that were not synced are zeros: the size was stored before the bytes
    512, 4096    as `everything`, but of the bytes that were not synced, some blocks of that size are missing, in any
                 order: where an earlier block is missing, there are zeros, or the bytes that were there before
    last write   of the writes that were not synced, only the last one of each file is there
    old names    names have not changed, and the files have all their bytes
    some names   only the first half of the changes of names is there
    other names  only the second half of the changes of names is there, without those that need an earlier one

A change of a name is not lost if its folder was synced afterwards.

For each different state, a new process must work, and must find what the states contain.
"""

import itertools
import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile

LOSSES = ("everything", "names", "half", "zeros", "512", "4096", "last write", "old names", "some names", "other names")


class Disk:
    """A folder of files, as the changes of a record make it."""

    def __init__(self, folder):
        self.names, self.files = {}, {}
        for path in sorted(folder.rglob("*")):
            if path.is_file():
                self.names[str(path)] = path.stat().st_ino
                self.files[path.stat().st_ino] = path.read_bytes()

    def copy(self):
        disk = Disk.__new__(Disk)
        disk.names, disk.files = dict(self.names), dict(self.files)
        return disk

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
            self.names.pop(rest[0], None)
            self.names[rest[1]] = int(rest[2])
        elif what == "link":
            self.names[rest[1]] = int(rest[2])
        elif what == "unlink":
            self.names.pop(rest[0], None)

    def state(self):
        return tuple(sorted((name, self.files[inode]) for name, inode in self.names.items() if inode in self.files))


OF_NAMES = ("create", "rename", "link", "unlink")


def with_inodes(changes, names):
    """Adds the number of the file to each change of a name. So the change can be made without the changes before it."""
    names = dict(names)
    result = []
    for change in changes:
        if change[0] == "create":
            names[change[2]] = int(change[1])
        elif change[0] == "rename":
            change = [*change, names.pop(change[1])]
            names[change[2]] = change[3]
        elif change[0] == "link":
            change = [*change, names[change[1]]]
            names[change[2]] = change[3]
        elif change[0] == "unlink":
            names.pop(change[1], None)
        result.append(change)
    return result


def kept_names(changes, loss):
    """The numbers of the changes of names that are on the disk."""
    synced = {}
    for number, change in enumerate(changes):
        if change[0] == "syncfolder":
            synced[os.path.normpath(change[1])] = number
    of_names = [number for number, change in enumerate(changes) if change[0] in OF_NAMES]
    half = len(of_names) // 2
    kept = {"old names": [], "some names": of_names[:half], "other names": of_names[half:]}.get(loss, of_names)
    folder = lambda change: os.path.dirname(change[2] if change[0] != "unlink" else change[1])
    found, lost = set(), set()  # the changes that are there, and the names of which changes are lost
    for number in of_names:
        names = {name for name in changes[number][1:3] if isinstance(name, str) and name.startswith("/")}
        is_synced = number < synced.get(folder(changes[number]), -1)
        if is_synced or (number in kept and not names & lost):
            found.add(number)
        else:
            lost |= names
    return found


def blocks_of(change, size, chance):
    """Some of the blocks of a write, as writes, in any order."""
    offset, data = int(change[2]), bytes.fromhex(change[3])
    found = []
    begin = offset
    while begin < offset + len(data):
        end = min(begin // size * size + size, offset + len(data))
        if chance.random() < 0.5:
            found.append([*change[:2], str(begin), data[begin - offset:end - offset].hex()])
        begin = end
    return found


def after_failure(start, changes, loss):
    """The state of the folder if the power fails after the changes."""
    disk = start()
    changes = with_inodes(changes, disk.names)
    chance = random.Random(len(changes))
    synced = {}  # how many of the changes were made before the last sync of each file
    for number, change in enumerate(changes):
        if change[0] == "sync":
            synced[change[1]] = number
    last_write = {change[1]: number for number, change in enumerate(changes) if change[0] == "write"}
    names = kept_names(changes, loss)
    for number, change in enumerate(changes):
        if change[0] == "create":
            disk.files[int(change[1])] = b""  # the bytes of the file, even if its name is lost
        if change[0] in OF_NAMES:
            if number in names:
                disk.apply(change)
            continue
        may_be_lost = change[0] in ("write", "truncate") and number > synced.get(change[1], -1)
        is_last = last_write.get(change[1]) == number
        if may_be_lost and (loss == "names" or (loss == "last write" and not is_last)):
            continue
        if may_be_lost and change[0] == "write":
            if loss == "zeros":
                change = [*change[:3], "00" * (len(change[3]) // 2)]
            elif loss == "half" and is_last:
                change = [*change[:3], change[3][:len(change[3]) // 4 * 2]]
            elif loss in ("512", "4096"):
                for block in blocks_of(change, int(loss), chance):
                    disk.apply(block)
                continue
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


def states(start, changes):
    """All different states, each with the first moment and loss that lead to it."""
    found = {}
    for count, loss in itertools.product(range(len(changes) + 1), LOSSES):
        found.setdefault(after_failure(start, changes[:count], loss), (count, loss))
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

        start = first.copy
        everything = states(start, changes)
        complete = after_failure(start, changes, "everything")
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
        for kept in itertools.product((False, True), repeat=4):
            disk = first.copy()
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


def check_delivery(recorder, lmtpd, clients):
    sys.path.insert(0, clients)
    import delivery  # pylint: disable=import-outside-toplevel
    import support  # pylint: disable=import-outside-toplevel

    support.settings.lmtpd = lmtpd
    mailboxes = delivery.Mailboxes()
    try:
        mail = mailboxes.root / "mail"
        for user in ("anna", "ben"):
            (mail / user / "new" / "old").write_bytes(b"of " + user.encode())
        first = Disk(mail)
        recording = mailboxes.root / "recording"
        mailboxes.variables |= {"LD_PRELOAD": recorder, "TUZUTIL_RECORDED": str(mail), "TUZUTIL_RECORDING": str(recording)}
        stored, confirmed = [], []  # the messages, and how many changes there were when one was confirmed
        with delivery.Client(mailboxes) as client:
            for size, *users in (60, "anna"), (5000, "anna", "ben"), (100_000, "ben"):
                content = support.big_message(size).replace(b"\n", b"\r\n")
                client.begin(*users)
                client.send(b"".join(b"." * line.startswith(b".") + line for line in content.splitlines(True)) + b".\r\n")
                stored.append(delivery.RETURN_PATH % b"carl@example.org" + content)
                for user in users:
                    assert client.reply().startswith(b"250"), (size, user)
                    confirmed.append((len(read(recording)), user, stored[-1]))
            client.ok("QUIT")
            assert client.end()[1] == 0
        del mailboxes.variables["LD_PRELOAD"]
        changes = read(recording)
        moments = [moment for moment, _, _ in confirmed]
        assert len(set(moments)) == 3, moments  # the answers for two recipients leave together
        assert {change[0] for change in changes} == {"create", "write", "sync", "rename", "syncfolder"}

        found = set()
        for count, loss in itertools.product(range(len(changes) + 1), LOSSES):
            where = f"{loss} after {count} of {len(changes)} changes"
            state = after_failure(first.copy, changes[:count], loss)
            for user in ("anna", "ben"):
                visible = [content for name, content in state if name.startswith(str(mail / user / "new"))]
                whole = [content for content in visible if content in stored or content == b"of " + user.encode()]
                assert visible == whole, f"{where}: {user} sees a part of a message, {[text[:80] for text in visible]}"
                wanted = [b"of " + user.encode(), *(text for moment, who, text in confirmed if who == user and moment <= count)]
                lost = [text[:80] for text in wanted if text not in visible]
                assert not lost, f"{where}: {user} has lost {lost}"
                assert len(set(visible)) == len(visible), f"{where}: {user} has a message twice"
            found.add(state)
        # What is left in "tmp" does not disturb the next delivery.
        for state in found:
            for path in mail.rglob("*"):
                if path.is_file():
                    path.unlink()
            for name, content in state:
                pathlib.Path(name).write_bytes(content)
            with delivery.Client(mailboxes).begin("ben") as client:
                assert client.ask(b"Subject: next\r\n.\r\n").startswith(b"250")
                assert client.end()[1] == 0
            before = sorted(content for name, content in state if name.startswith(str(mail / "ben" / "new")))
            after = [path.read_bytes() for path in mailboxes.files("ben")]
            assert sorted(after) == sorted([*before, delivery.RETURN_PATH % b"carl@example.org" + b"Subject: next\r\n"])
        print(f"delivery: {len(changes)} changes, {len(found)} states")
    finally:
        mailboxes.remove()


def main():
    what, recorder, program, folder = sys.argv[1:5]
    if what == "mail":
        check_mail(recorder, program, folder)
        return
    if what == "delivery":
        check_delivery(recorder, program, folder)
        return
    check_trace(recorder, program, folder, "file", "file({file}),al", keeps=False)
    check_trace(recorder, program, folder, "shfile", "shfile({file}),al", keeps=False)
    check_trace(recorder, program, folder, "rotate", "rotate[tracerotate]({file};2000;9),al", keeps=True)
    check_trace(recorder, program, folder, "json", "json[tracejson]({file}),al", keeps=True)


if __name__ == "__main__":
    main()
