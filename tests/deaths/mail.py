#!/usr/bin/env python3
"""Kills the example server while clients read and delete messages: mail.py POP3D CLIENTS [EMULATOR]

Three clients, each with a mailbox of its own, work at the same time, until the server is killed at a random moment. Each
client reads all messages, deletes some, and may or may not send QUIT. After each death, a new server must find every
message that was not to be deleted, and every message must be whole. TUZUTIL_DEATHS and TUZUTIL_DEATHS_SEED have the same
meaning as for deaths.py.
"""

import os
import random
import signal
import sys
import threading
import time

POP3D, CLIENTS = sys.argv[1:3]
sys.path.insert(0, CLIENTS)
import support  # pylint: disable=wrong-import-position

USERS = ("anna", "ben", "carl")
NAMES = [f"{number:02}" for number in range(1, 13)]
MESSAGES = {name: f"Subject: {name}\n\n.dots\n".encode() + b"text of this message\n" * int(name) ** 3 for name in NAMES}
SEEN = {name: support.seen_by_client(content) for name, content in MESSAGES.items()}


class Client:
    """What a client has seen and wanted when the server died."""

    def __init__(self, port, user, chance):
        self.port, self.user = port, user
        self.deletes = chance.random() < 0.8
        self.quits = chance.random() < 0.8
        self.doomed = set(chance.sample(NAMES, 4)) if self.deletes else set()
        self.quitting = False   # whether QUIT was sent
        self.confirmed = False  # whether QUIT was answered
        self.fault = None

    def work(self):
        try:
            with support.Connection(self.port) as client:
                client.login(self.user, "secret of " + self.user)
                client.ok("LIST")
                for line, name in zip(client.body(), NAMES, strict=True):
                    number = line.split()[0]
                    client.ok("RETR " + number.decode())
                    if client.content() != SEEN[name]:
                        self.fault = f"{name} was sent, but not whole"
                    if name in self.doomed:
                        client.ok("DELE " + number.decode())
                if self.quits:
                    self.quitting = True
                    client.ok("QUIT")
                    self.confirmed = True
        except (OSError, EOFError):
            pass  # the server has been killed
        except (AssertionError, ValueError) as problem:
            self.fault = repr(problem)  # it has answered, but not as it should


def content(server, user):
    """The messages in a mailbox, by name."""
    return {name: path.read_bytes() for folder in ("new", "cur")
            for name in NAMES if (path := server.mailbox(user) / folder / name).exists()}


def main():
    support.settings.server, support.settings.emulator = POP3D, (sys.argv[3:4] or [None])[0]
    deaths = int(os.environ.get("TUZUTIL_DEATHS", "10" if support.settings.emulator else "40"))
    seed = int(os.environ.get("TUZUTIL_DEATHS_SEED", time.time_ns() % 1_000_000_007))
    chance = random.Random(seed)
    print(f"{deaths} deaths, seed {seed}")
    server = support.Server(users={user: "secret of " + user for user in USERS})
    counts = {"in the middle of QUIT": 0, "after QUIT": 0, "before QUIT": 0}
    try:
        for death in range(deaths):
            for user in USERS:
                for name in set(NAMES) - set(content(server, user)):
                    server.put(user, name, MESSAGES[name], chance.choice(("new", "cur")))
            server.start()
            clients = [Client(server.port, user, chance) for user in USERS]
            threads = [threading.Thread(target=client.work) for client in clients]
            for thread in threads:
                thread.start()
            time.sleep(chance.uniform(0, 0.15 if support.settings.emulator else 0.02))
            os.killpg(server.process.pid, signal.SIGKILL)
            server.process.wait()
            server.output.close()
            for thread in threads:
                thread.join(60)
                assert not thread.is_alive(), "a client waits for a dead server"
            for client in clients:
                where = f"death {death}, {client.user}"
                assert client.fault is None, f"{where}: {client.fault}"
                left = content(server, client.user)
                for name, text in left.items():
                    assert text == MESSAGES[name], f"{where}: {name} has changed"
                lost = set(NAMES) - set(left)
                assert lost <= (client.doomed if client.quitting else set()), f"{where}: {sorted(lost)} are lost"
                assert not client.confirmed or lost == client.doomed, f"{where}: {sorted(lost)} are gone"
                if client.doomed:
                    counts["after QUIT" if client.confirmed else
                           "in the middle of QUIT" if client.quitting else "before QUIT"] += 1
            if death % 10 == 9:
                check(server)
        check(server)
        print(", ".join(f"{count} clients {when}" for when, count in counts.items()))
        assert all(counts.values()) or deaths < 200, "the deaths do not come at different moments"
    finally:
        if server.process and server.process.poll() is None:
            os.killpg(server.process.pid, signal.SIGKILL)
            server.process.wait()
        server.remove()


def check(server):
    """A new server lets everybody log in, and sends what is left."""
    server.start()
    for user in USERS:
        left = sorted(content(server, user))
        with support.Connection(server.port) as client:
            client.login(user, "secret of " + user)
            for number, name in enumerate(left, 1):
                client.ok(f"RETR {number}")
                assert client.content() == SEEN[name], f"{user}: {name}"
            client.ok("QUIT")
    assert server.stop() == 0
    server.output.close()


main()
