#!/usr/bin/env python3
"""What a server tells of itself to another process, and how it treats clients that keep silent."""

import socket
import subprocess
import time
import unittest

import support


def status(server, *options, port=None):
    """The exit status of pop3d --status, and what it printed."""
    result = subprocess.run(
        server.command(["--status", "--port", str(port or server.port), *options]), stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT, timeout=60, check=False)
    return result.returncode, result.stdout.decode().replace("\r\n", "\n")


def counters(server):
    code, text = status(server)
    assert code == 0, text
    return dict(line.split(": ") for line in text.splitlines())


def until(server, name, value):
    """Waits until a counter has a value; the counters then."""
    deadline = time.monotonic() + 30
    while True:
        seen = counters(server)
        if seen[name] == value:
            return seen
        assert time.monotonic() < deadline, seen
        time.sleep(0.1)


class Status(unittest.TestCase):
    def test_counts_what_happens(self):
        with support.Server() as server:
            for name in "123":
                server.put("anna", name, b"Subject: x\n\nbody\n")
            before = counters(server)
            self.assertGreater(int(before.pop("process")), 0)
            self.assertEqual(set(before.values()), {"0"})
            with server.connect() as client:
                client.ok("USER anna")
                client.ask("PASS wrong")
                client.login()
                client.ok("RETR 1")
                client.body()
                client.ok("TOP 1 0")
                client.body()
                client.ok("DELE 1")
                client.ok("DELE 3")
                self.assertEqual(counters(server)["sessions now"], "1")
                client.ok("QUIT")
            seen = until(server, "sessions now", "0")
            seen.pop("process")
            self.assertEqual(seen, {
                "sessions now": "0", "sessions so far": "1", "logins": "1", "refused logins": "1", "messages sent": "1",
                "messages removed": "2", "sessions ended for idleness": "0"})
            self.assertEqual(server.names("anna"), ["2"])

    def test_speaks_the_language(self):
        with support.Server() as server:
            code, text = status(server, "--language", "German")
            self.assertEqual((code, text.splitlines()[1:3]), (0, ["Sitzungen jetzt: 0", "Sitzungen bisher: 0"]))

    def test_without_a_server_there_is_none(self):
        server = support.Server()
        self.addCleanup(server.remove)
        self.assertEqual(status(server, port=1), (2, "pop3d: no server on port 1 reports its status\n"))
        server.start()
        port = server.port
        self.assertEqual(status(server)[0], 0)
        server.stop()
        self.assertEqual(status(server), (2, f"pop3d: no server on port {port} reports its status\n"))

    def test_a_killed_server_leaves_no_status_behind(self):
        server = support.Server().start()
        self.addCleanup(server.remove)
        self.assertEqual(status(server)[0], 0)
        server.process.kill()
        server.process.wait()
        deadline = time.monotonic() + 30  # the system takes its time to clear away a process
        while status(server)[0] == 0 and time.monotonic() < deadline:
            time.sleep(0.1)
        self.assertEqual(status(server), (2, f"pop3d: no server on port {server.port} reports its status\n"))


class Idle(unittest.TestCase):
    def ended(self, connection):
        """Whether the server ends the connection, without another word."""
        connection.settimeout(30)
        try:
            return connection.recv(1000) == b""
        except ConnectionError:
            return True

    def test_silence_ends_a_session(self):
        with support.Server(options=["--idle-seconds", "1"]) as server:
            server.put("anna", "1", b"Subject: x\n\nbody\n")
            with server.connect() as client:
                client.login()
                client.ok("DELE 1")
                self.assertTrue(self.ended(client.socket))
            self.assertEqual(until(server, "sessions now", "0")["sessions ended for idleness"], "1")
            self.assertEqual(server.names("anna"), ["1"])  # no QUIT: nothing is removed
            server.login_when_free().close()

    def test_single_bytes_are_silence_too(self):
        with support.Server(options=["--idle-seconds", "2"]) as server:
            with server.connect() as client:
                client.socket.settimeout(0.1)
                deadline = time.monotonic() + 30
                over = False
                while not over and time.monotonic() < deadline:
                    try:
                        client.send(b"x")
                        over = client.socket.recv(100) == b""
                    except socket.timeout:
                        pass
                    except ConnectionError:
                        over = True
                self.assertTrue(over)
            until(server, "sessions ended for idleness", "1")

    def test_commands_keep_a_session_alive(self):
        with support.Server(options=["--idle-seconds", "2"]) as server:
            with server.connect() as client:
                client.login()
                for _ in range(8):
                    time.sleep(0.5)
                    client.ok("NOOP")
                client.ok("QUIT")
            self.assertEqual(until(server, "sessions now", "0")["sessions ended for idleness"], "0")


support.main()
