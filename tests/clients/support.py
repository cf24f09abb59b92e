"""What the client tests share: a server with mailboxes of its own, and what a client must see of a message."""

import argparse
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

SAMPLES = Path(__file__).resolve().parents[2] / "examples" / "pop3d" / "sample"
WINERUN = Path(__file__).resolve().parents[2] / "tools" / "winerun.sh"

settings = argparse.Namespace(server=None, lmtpd=None, emulator=None)


def seen_by_client(stored):
    """The bytes of a stored message as POP3 shows them: CR LF line ends throughout, also behind the last line."""
    if stored and not stored.endswith(b"\n"):
        stored += b"\n"
    return re.sub(rb"(?<!\r)\n", b"\r\n", stored)


def big_message(size):
    """A message of about that size whose lines differ, some of them beginning with a dot."""
    head = b"From: Anna <anna@example.org>\nSubject: big\n\n"
    lines = []
    length = len(head)
    number = 0
    while length < size:
        number += 1
        line = b"%sline %08d of a message that is long because there are many of these\n" % (b"." * (number % 5 == 0), number)
        lines.append(line)
        length += len(line)
    return head + b"".join(lines)


def limit_sanitizer_memory():
    """The address sanitizer keeps freed memory and old stack frames for a while. With small limits, the size of a server
    that is started later stays comparable."""
    limits = ":quarantine_size_mb=1:max_uar_stack_size_log=16"
    os.environ["ASAN_OPTIONS"] = os.environ.get("ASAN_OPTIONS", "") + limits


class Server:
    """pop3d in a process of its own, with mailboxes below a temporary folder."""

    def __init__(self, users=None, options=(), trace=None):
        self.root = Path(tempfile.mkdtemp(prefix="pop3d-test-"))
        self.users = users or {"anna": "secret of anna"}
        self.process = None
        self.options = list(options)
        self.trace = trace  # where trace entries go; "{root}" stands for the temporary folder
        for user in self.users:
            (self.mailbox(user) / "new").mkdir(parents=True)
            (self.mailbox(user) / "cur").mkdir()

    def mailbox(self, user):
        return self.root / "mail" / user

    def put(self, user, name, content, folder="new"):
        (self.mailbox(user) / folder / name).write_bytes(content)

    def put_samples(self, user):
        """Copies the sample mailbox; returns its messages in the order of the server's numbers."""
        stored = []
        for number, path in enumerate(sorted(SAMPLES.glob("*.eml"))):
            content = path.read_bytes()
            self.put(user, path.stem, content, "cur" if number % 2 else "new")
            stored.append(content)
        assert len(stored) == 10, "the sample mailbox is incomplete"
        return stored

    def names(self, user):
        return sorted(path.name for folder in ("new", "cur") for path in (self.mailbox(user) / folder).iterdir())

    def native(self, path):
        return "Z:" + str(path).replace("/", "\\") if settings.emulator else str(path)

    def command(self, arguments):
        return ([settings.emulator] if settings.emulator else []) + [settings.server, *arguments]

    def is_for_this_processor(self):
        """Whether the machine runs the server without an emulator for another processor."""
        machines = []
        for program in settings.server, sys.executable:
            with open(program, "rb") as file:
                machines.append(file.read(20)[18:])
        return machines[0] == machines[1]

    def sanitizers(self):
        code = Path(settings.server).read_bytes()
        return [name for name in ("asan", "tsan") if b"__%s_init" % name.encode() in code]

    def keeps_memory_of_threads(self):
        """Whether the process keeps memory of ended threads, which is not the server's own: an emulator does so, and so
        does the thread sanitizer, about 1 MiB for each thread of the greatest number that ran at one time."""
        return not self.is_for_this_processor() or "tsan" in self.sanitizers()

    def users_text(self):
        return "".join(f"{name}:{secret}:{self.native(self.mailbox(name))}\n" for name, secret in self.users.items())

    def write_users(self):
        path = self.root / "users"
        path.write_text(self.users_text())
        return path

    def start(self, **how):
        port_file = self.root / "port"
        port_file.unlink(missing_ok=True)
        self.output = open(self.root / "output", "ab+")
        arguments = ["--users", self.native(self.write_users()), "--port", "0", "--port-file", self.native(port_file)]
        environment = {key: value for key, value in os.environ.items() if not key.startswith("NUV_TRACE")}
        environment["TUZ_WINE_EXEC"] = "1"
        if self.trace:
            environment["NUV_TRACE"] = self.trace.format(root=self.native(self.root))
        listens = self.listens(port_file, arguments, environment, how)
        # On a loaded machine, Wine sometimes does not start a program. It then writes nothing, and the status is 1.
        if not listens and settings.emulator and self.process.returncode == 1 and not self.read_output():
            if note := os.environ.get("TUZ_WINE_TRIES"):
                with open(note, "a", encoding="utf-8") as file:
                    file.write(settings.server + "\n")
            listens = self.listens(port_file, arguments, environment, how)
        if not listens:
            raise RuntimeError(f"the server did not start, status {self.process.returncode}: {self.read_output()}")
        self.port = int(port_file.read_text())
        return self

    def listens(self, port_file, arguments, environment, how):
        """Starts the process, and waits until it listens. Returns False if it has ended before that."""
        self.process = subprocess.Popen(
            self.command(arguments + self.options),
            stdin=subprocess.DEVNULL, stdout=self.output, stderr=subprocess.STDOUT,
            env=environment, start_new_session=True, **how)
        deadline = time.monotonic() + 60
        while not port_file.exists():
            if self.process.poll() is not None:
                return False
            if time.monotonic() > deadline:
                raise RuntimeError("the server does not listen: " + self.read_output())
            time.sleep(0.02)
        return True

    def read_output(self):
        return (self.root / "output").read_bytes().decode(errors="replace").replace("\r\n", "\n")

    def peak_kib(self):
        """The peak resident size of the process that listens, which is not the one started if Wine is between."""
        pids = [self.process.pid]
        with open(f"/proc/{self.process.pid}/task/{self.process.pid}/children", encoding="ascii") as children:
            pids += [int(pid) for pid in children.read().split()]
        sizes = []
        for pid in pids:
            with open(f"/proc/{pid}/status", encoding="ascii") as status:
                sizes += [int(line.split()[1]) for line in status if line.startswith("VmHWM")]
        return max(sizes)

    def stop(self):
        """Asks the server to stop as a user would; returns its exit status."""
        if self.process is None or self.process.poll() is not None:
            return self.process.returncode if self.process else None
        self.process.send_signal(signal.SIGINT)
        try:
            return self.process.wait(timeout=20)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
            raise RuntimeError("the server did not stop: " + self.read_output()) from None

    def remove(self):
        """Stops the server and removes its files. A server that lived until then must end without a fault.

        A sanitizer makes the status of a process different from 0 if it has found something."""
        try:
            has_lived = self.process is not None and self.process.poll() is None
            status = self.stop()
            assert not has_lived or status == 0, f"the server ended with {status}: {self.read_output()}"
        finally:
            if self.process:
                self.output.close()
            shutil.rmtree(self.root, ignore_errors=True)

    def __enter__(self):
        return self.start()

    def __exit__(self, *_):
        self.remove()

    def connect(self, timeout=30, source=None):
        return Connection(self.port, timeout, source)

    def login_when_free(self, user="anna"):
        """Logs in as soon as the sessions before have noticed that their clients are gone."""
        deadline = time.monotonic() + 30
        while True:
            client = self.connect()
            client.ok(f"USER {user}")
            answer = client.ask(f"PASS {self.users[user]}")
            if answer.startswith(b"+OK"):
                return client
            client.close()
            assert b"[IN-USE]" in answer or b"[SYS/TEMP]" in answer, answer
            assert time.monotonic() < deadline, "the session before does not end"
            time.sleep(0.02)


class Connection:
    """A client that speaks the protocol byte for byte."""

    def __init__(self, port, timeout=30, source=None):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=timeout, source_address=source and (source, 0))
        self.file = self.socket.makefile("rb")
        try:
            self.greeting = self.line()
        except BaseException:
            self.close()
            raise

    def line(self):
        line = self.file.readline()
        if not line.endswith(b"\r\n"):
            raise EOFError(f"the connection ended after {line!r}")
        return line[:-2]

    def send(self, data):
        self.socket.sendall(data)

    def ask(self, command):
        self.send(command.encode() + b"\r\n")
        return self.line()

    def ok(self, command):
        answer = self.ask(command)
        assert answer.startswith(b"+OK"), (command, answer)
        return answer

    def body(self):
        """The lines up to the end line, as they came."""
        lines = []
        while (line := self.line()) != b".":
            lines.append(line)
        return lines

    def content(self):
        """The data that the dot-stuffed lines stand for."""
        return b"".join((line[1:] if line.startswith(b".") else line) + b"\r\n" for line in self.body())

    def login(self, user="anna", secret="secret of anna"):
        self.ok(f"USER {user}")
        self.ok(f"PASS {secret}")
        return self

    def close(self):
        self.file.close()
        self.socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--server", required=True)
    parser.add_argument("--lmtpd")
    parser.add_argument("--emulator", default=None)
    known, rest = parser.parse_known_args()
    settings.server = known.server
    settings.lmtpd = known.lmtpd
    settings.emulator = known.emulator or None
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)
