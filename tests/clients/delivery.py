"""What the tests of lmtpd share: mailboxes, and a listener that starts a process of lmtpd for each connection."""

import os
import shutil
import socket
import subprocess
import tempfile
import threading
from pathlib import Path

import support

is_wine_started = []  # not empty if a program has run under Wine


def start_wine():
    """The first program under Wine starts services, which would keep the pipes of a client open."""
    if support.settings.emulator and not is_wine_started:
        subprocess.run([support.settings.emulator, support.settings.lmtpd, "--help"], check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        is_wine_started.append(True)


RETURN_PATH = b"Return-Path: <%s>\r\n"


class Refused(AssertionError):
    """A command was refused."""

    def __init__(self, command, reply):
        super().__init__(command, reply)
        self.reply = reply


class Mailboxes:
    """Maildirs below a temporary folder."""

    def __init__(self, users=("anna", "ben")):
        start_wine()
        self.root = Path(tempfile.mkdtemp(prefix="lmtpd-test-"))
        self.variables = {"TUZ_WINE_EXEC": "1"}  # of the environment of the processes
        for user in users:
            for folder in ("tmp", "new", "cur"):
                (self.root / "mail" / user / folder).mkdir(parents=True)

    def native(self, path):
        return "Z:" + str(path).replace("/", "\\") if support.settings.emulator else str(path)

    def command(self, options=()):
        emulator = [support.settings.emulator] if support.settings.emulator else []
        return [*emulator, support.settings.lmtpd, "--mailboxes", self.native(self.root / "mail"), *options]

    def environment(self):
        return {**os.environ, **self.variables}

    def files(self, user, folder="new"):
        return sorted((self.root / "mail" / user / folder).iterdir())

    def messages(self, user):
        """The contents of the delivered messages. Nothing else may be left of a delivery."""
        assert not self.files(user, "tmp"), self.files(user, "tmp")
        return [path.read_bytes() for path in self.files(user)]

    def clear(self, user):
        for path in self.files(user):
            path.unlink()

    def remove(self):
        shutil.rmtree(self.root, ignore_errors=True)


class Client:
    """A client that speaks the protocol byte for byte, over pipes to a process of its own."""

    def __init__(self, mailboxes, options=(), **how):
        self.process = subprocess.Popen(mailboxes.command(options), env=mailboxes.environment(), bufsize=0,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **how)
        self.file = os.fdopen(os.dup(self.process.stdout.fileno()), "rb")
        self.greeting = self.line()
        assert self.greeting.startswith(b"220 "), self.greeting

    def line(self):
        line = self.file.readline()
        if not line.endswith(b"\r\n"):
            raise EOFError(f"the process ended after {line!r}: {self.process.stderr.read()!r}")
        return line[:-2]

    def send(self, data):
        view = memoryview(data)
        while view:
            view = view[self.process.stdin.write(view):]

    def ask(self, command):
        """The last line of the reply."""
        self.send(command if isinstance(command, bytes) else command.encode() + b"\r\n")
        return self.reply()

    def reply(self):
        while (line := self.line())[3:4] == b"-":
            pass
        return line

    def ok(self, command):
        answer = self.ask(command)
        if not answer.startswith((b"2", b"3")):
            raise Refused(command, answer)
        return answer

    def begin(self, *users, sender="carl@example.org"):
        """Everything up to the message."""
        self.ok("LHLO client")
        self.ok(f"MAIL FROM:<{sender}>")
        for user in users:
            self.ok(f"RCPT TO:<{user}@example.org>")
        self.ok("DATA")
        return self

    def end(self):
        """Ends the connection; returns what the process still sent, and its exit status."""
        self.process.stdin.close()
        rest = self.file.read()
        self.close()
        return rest, self.process.returncode

    def close(self):
        for pipe in (self.process.stdin, self.process.stdout, self.process.stderr, self.file):
            if not pipe.closed:
                pipe.close()
        self.process.wait(timeout=60)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class Listener:
    """Starts lmtpd for each connection, as inetd does."""

    def __init__(self, mailboxes, options=()):
        self.mailboxes, self.options = mailboxes, options
        self.statuses = []
        self.threads = []

    def __enter__(self):
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        self.threads = [threading.Thread(target=self.accept, daemon=True)]
        self.threads[0].start()
        return self

    def __exit__(self, *_):
        self.socket.shutdown(socket.SHUT_RDWR)
        for thread in self.threads:
            thread.join(60)
            assert not thread.is_alive(), "a session does not end"
        self.socket.close()

    def accept(self):
        while True:
            try:
                connection = self.socket.accept()[0]
            except OSError:
                return
            thread = threading.Thread(target=self.serve, args=(connection,), daemon=True)
            self.threads.append(thread)
            thread.start()

    def serve(self, connection):
        how = {"args": self.mailboxes.command(self.options), "env": self.mailboxes.environment()}
        with connection:
            if not support.settings.emulator:  # the connection itself is the standard input and output
                self.statuses.append(subprocess.run(stdin=connection, stdout=connection, timeout=60, check=False, **how).returncode)
                return
            process = subprocess.Popen(bufsize=0, stdin=subprocess.PIPE, stdout=subprocess.PIPE, **how)
            reader = threading.Thread(target=self.pass_on, args=(connection, process), daemon=True)
            reader.start()
            while block := process.stdout.read(65536):
                connection.sendall(block)
            self.statuses.append(process.wait(timeout=60))
            connection.shutdown(socket.SHUT_RDWR)
            reader.join(60)
            process.stdout.close()

    @staticmethod
    def pass_on(connection, process):
        try:
            while block := connection.recv(65536):
                process.stdin.write(block)
        except OSError:
            pass  # one of the two is gone
        process.stdin.close()
