#!/usr/bin/env python3
"""Many clients for a while: some fetch mail, others stall, vanish or send rubbish. At the end nothing is left over:
no thread, no open file, no memory, no lock; and every mailbox is whole. TUZUTIL_SOAK_SECONDS says how long (60)."""

import hashlib
import os
import random
import socket
import struct
import threading
import time
import unittest
from pathlib import Path

import support

SECONDS = float(os.environ.get("TUZUTIL_SOAK_SECONDS", "60"))
CLIENTS = 200
PATIENCE = 120  # seconds that a client waits for an answer: the machine may be busy with other things
USERS = 150  # some clients compete for a mailbox
SIZES = (0, 1, 500, 40_000, 200_000)  # beyond 65536 bytes messages go through a temporary file


class Soak(unittest.TestCase):
    def setUp(self):
        self.users = {f"user{number}": f"secret {number}" for number in range(USERS)}
        # All of them come from one address, which is not to be taken for a single attacker here.
        self.server = support.Server(self.users, options=[
            "--idle-seconds", "3", "--failure-milliseconds", "10", "--unauthenticated", "1000", "--per-address", "1000"])
        self.messages = {}
        for number, user in enumerate(self.users):
            self.messages[user] = []
            for index, size in enumerate(SIZES):
                content = support.big_message(size + number)
                self.server.put(user, str(index), content)
                self.messages[user].append(hashlib.md5(support.seen_by_client(content)).digest())
        support.limit_sanitizer_memory()
        self.server.start()
        self.addCleanup(self.server.remove)
        self.problems = []
        self.fetched = 0
        self.lock = threading.Lock()

    # What clients do. A mailbox that somebody else has open is no problem.

    def login(self, client, user):
        client.ok(f"USER {user}")
        answer = client.ask(f"PASS {self.users[user]}")
        assert answer.startswith(b"+OK") or b"[IN-USE]" in answer, answer
        return answer.startswith(b"+OK")

    def fetch(self, client, user, random_):
        if not self.login(client, user):
            return
        for index in random_.sample(range(len(SIZES)), 3):
            client.ok(f"RETR {index + 1}")
            digest = hashlib.md5(client.content()).digest()
            assert digest == self.messages[user][index], f"{user}: message {index + 1} came differently"
            with self.lock:
                self.fetched += 1
        client.ok("QUIT")

    def vanish(self, client, user, random_):
        if self.login(client, user):
            client.send(b"".join(b"RETR %d\r\n" % random_.randint(1, len(SIZES)) for _ in range(random_.randint(1, 5))))
            client.socket.recv(random_.randint(1, 5000))
        if random_.random() < 0.5:  # at once, with a reset
            client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))

    def stall(self, client, user, random_):
        """Reads nothing of a long answer, or says nothing, until the server has had enough."""
        if self.login(client, user) and random_.random() < 0.5:
            client.send(b"RETR %d\r\n" % len(SIZES) * 20)
        time.sleep(random_.uniform(0, 6))

    def abuse(self, client, user, random_):
        rubbish = random_.choice((
            bytes(random_.randrange(256) for _ in range(2000)), b"\r\n" * 500, b"X" * 100_000, b"RETR\0 1\r\n" * 50,
            b"AUTH PLAIN " + b"=" * 900 + b"\r\n", b"USER " + b"%s%n" * 100 + b"\r\nPASS %n\r\n", b"\xff\xf4\xff\xfd\x06"))
        client.send(rubbish + b"\r\nQUIT\r\n")
        client.socket.settimeout(10)
        while client.socket.recv(65536):
            pass

    def run_client(self, number, end):
        random_ = random.Random(number)
        while time.monotonic() < end:
            user = f"user{random_.randrange(USERS)}"
            kind = random_.choices((self.fetch, self.vanish, self.stall, self.abuse), (6, 2, 1, 2))[0]
            try:
                client = self.server.connect(PATIENCE)
            except (OSError, EOFError) as problem:
                self.problems.append(f"no connection: {problem!r}")
                return
            try:
                kind(client, user, random_)
            except (OSError, EOFError) as problem:
                # The server may hang up on those who misbehave, not on the others.
                if kind == self.fetch:
                    self.problems.append(f"{user}: {problem!r}")
            except AssertionError as problem:
                self.problems.append(f"{user}: {problem!r}")
            finally:
                client.close()

    # What the server has open.

    def process(self):
        """The server's own process: under an emulator, that which listens."""
        return Path("/proc") / str(self.server.process.pid)

    def held(self):
        return (len(list((self.process() / "task").iterdir())), len(list((self.process() / "fd").iterdir())))

    def resident(self):
        for line in (self.process() / "status").read_text().splitlines():
            if line.startswith("VmRSS"):
                return int(line.split()[1])
        raise AssertionError("no size")

    def settle(self, before):
        """Waits until nothing more is open than before; what is, at the end."""
        deadline = time.monotonic() + 30
        now = self.held()
        while (now[0] > before[0] or now[1] > before[1]) and time.monotonic() < deadline:
            time.sleep(0.2)
            now = self.held()
        return now

    def crowd(self, seconds):
        end = time.monotonic() + seconds
        threads = [threading.Thread(target=self.run_client, args=(number, end)) for number in range(CLIENTS)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    def test_nothing_is_left_over(self):
        self.crowd(SECONDS / 4)  # what is made once is made now
        time.sleep(5)
        before, size = self.held(), self.resident()
        self.crowd(SECONDS)
        after = self.settle(before)
        print(f"{self.fetched} messages fetched; threads and files before {before}, after {after}; "
              f"resident size before {size} KiB, after {self.resident()} KiB")
        self.assertEqual(self.problems[:10], [])
        self.assertGreater(self.fetched, CLIENTS)
        self.assertLessEqual(after[0], before[0], "threads")
        self.assertLessEqual(after[1], before[1], "files")
        if not self.server.keeps_memory_of_threads():
            self.assertLess(self.resident(), size * 1.5 + 8192)
        # No mailbox is locked, and each holds what it held.
        for user in self.users:
            with self.server.login_when_free(user) as client:
                for index, digest in enumerate(self.messages[user], 1):
                    client.ok(f"RETR {index}")
                    self.assertEqual(hashlib.md5(client.content()).digest(), digest)
                client.ok("QUIT")
        self.assertEqual(self.server.stop(), 0, self.server.read_output())
        self.assertNotIn("ERROR:", self.server.read_output())  # of a sanitizer


support.main()
