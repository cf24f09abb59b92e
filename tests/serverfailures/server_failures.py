#!/usr/bin/env python3
"""Makes each call of the example server fail.

A client reads a mailbox and deletes a message, again and again. In the first session the first call of the system fails,
in the second one the second call, and so on, until a session makes fewer calls. The calls are made to fail in four ways:
one call alone, a call and all later ones, one call that moves half of its bytes, and on Linux one call that a signal
interrupts.

After the last two, the client must not notice anything. After the first two, it may get an error, or no answer, but:
- a login that succeeds shows all messages;
- a message that is sent up to its end line is whole;
- no other message than the deleted one is gone, and that one only if QUIT was sent;
- the server lives, it has as many open files and threads as before, and the next session works.
"""

import socket
import time

from refused import ERROR, KINDS, preloaded, support

MESSAGES = {"1": b"Subject: one\n\nfirst\n", "2": b"Subject: two\n\n.second\n", "3": support.big_message(40000)}
SEEN = {name: support.seen_by_client(content) for name, content in MESSAGES.items()}


class Failed(Exception):
    """The server has refused something, or has not answered."""


def ask(client, command):
    answer = client.ask(command)
    if not answer.startswith(b"+OK"):
        raise Failed(answer)
    return answer


def session(port, timeout):
    """Reads all messages, and deletes the second one. Returns None, or what failed."""
    step = "connect"
    try:
        with support.Connection(port, timeout) as client:
            if not client.greeting.startswith(b"+OK"):
                raise Failed(client.greeting)
            for step in ("USER anna", "PASS secret of anna"):
                ask(client, step)
            step = "STAT"
            count, size = map(int, ask(client, step).split()[1:3])
            assert (count, size) == (3, sum(map(len, SEEN.values()))), f"a mailbox with {count} messages, {size} bytes"
            for number, name in enumerate(sorted(MESSAGES), 1):
                step = f"RETR {number}"
                ask(client, step)
                content = client.content()
                assert content == SEEN[name], f"message {name}: {len(content)} bytes up to its end line"
            for step in ("DELE 2", "QUIT"):
                ask(client, step)
        return None
    except (Failed, OSError, EOFError) as problem:
        return f"{step}: {problem!r}"


class Refused:
    """A server whose calls fail."""

    def __init__(self, server):
        self.server = server
        self.fill()
        with socket.create_server(("127.0.0.1", 0)) as listener, preloaded({"TUZUTIL_ORDERS": str(listener.getsockname()[1])}):
            listener.settimeout(60)
            self.server.start()
            connection = listener.accept()[0]
        connection.settimeout(30)
        self.orders = connection.makefile("rwb", 0)
        for _ in range(3):
            assert session(self.server.port, 30) is None
            self.fill()
        self.settled = None
        self.settle()

    def fill(self):
        for name, content in MESSAGES.items():
            if name not in self.server.names("anna"):
                self.server.put("anna", name, content)

    def settle(self):
        """Waits until the server has as many files and threads as before."""
        deadline = time.monotonic() + 20
        while True:
            now = self.order("count")
            if now == self.settled:
                return
            if self.settled is None:
                time.sleep(0.5)
                self.settled = self.order("count")
                return
            assert time.monotonic() < deadline, f"the server has {now}, formerly {self.settled}"
            time.sleep(0.01)

    def order(self, text):
        self.orders.write(text.encode() + b"\n")
        reply = self.orders.readline().decode()
        assert reply, "the server does not reply to orders"
        return reply.rstrip("\n")

    def stop(self):
        counted, name = self.order("stop").split(" ", 1)
        return int(counted), name

    def recover(self):
        """Waits until the session before has ended, which may delete its message after its client has left."""
        self.fill()
        with self.server.login_when_free() as client:
            client.ok("QUIT")
        self.fill()

    def run(self, how, kind):
        """Lets call after call fail. Returns how many there are."""
        may_fail = kind == ERROR
        for number in range(1, 2000):
            # If all calls fail, the server may be unable to answer. A session that is given up early may have made fewer
            # calls than it would have made, so it tells nothing about their number.
            for timeout in (0.15, 5) if how == "from" else (20,):
                self.order(f"{how} {number} {kind}")
                try:
                    told = session(self.server.port, timeout)
                except AssertionError as problem:
                    raise AssertionError(f"{how} {number} of kind {kind}, {self.stop()}: {problem}") from None
                counted, name = self.stop()
                if told is None or counted >= number:
                    break
                self.recover()
            where = f"{how} {number} of kind {kind}, {name}: {told}"
            assert self.server.process.poll() is None, f"{where}: the server has ended"
            assert may_fail or told is None, where
            first = told
            left = self.server.names("anna")
            may_be_gone = told is None or told.startswith("QUIT")
            assert left == ["1", "2", "3"] or (may_be_gone and left == ["1", "3"]), f"{where}: {left}"
            if told is None:
                assert left == ["1", "3"], f"{where}: the deleted message is there"
            self.recover()
            told = session(self.server.port, 30)
            assert told is None, f"after {where}: {told}"
            self.fill()
            self.settle()
            if counted < number:
                assert first is None, f"{where}: no call failed"
                return number - 1
        raise AssertionError("the calls of a session do not end")


def main():
    server = support.Server()
    try:
        refused = Refused(server)
        for how, kind in KINDS:
            count = refused.run(how, kind)
            print(f"{how}, kind {kind}: {count} calls")
            assert count >= 10, "too few calls were counted"
        # The first call that fails now is the wait for a client. The server must still notice that it is to stop.
        refused.order(f"only 1 {ERROR}")
        time.sleep(1)
        assert refused.stop()[0] > 0, "the server does not wait for clients"
        assert server.stop() == 0
    finally:
        server.remove()


main()
