#!/usr/bin/env python3
"""Makes each call fail that the example server makes until it listens.

In the first start the first call of the system fails, in the second one the second call, and so on; once this call alone,
and once this call and all later ones. The server must say in one line why it cannot start, or it must serve: a session
then sees all messages, and the server stops when it is asked to.
"""

import time

from refused import preloaded, support

MESSAGE = b"Subject: one\n\nfirst\n"


def start(order):
    """Starts a server. Returns None if it listens, or what it said when it ended; and the server, and its counts."""
    server = support.Server()
    server.put("anna", "1", MESSAGE)
    counted = server.root / "counted"
    objects = server.root / "objects"  # in the folder of the user, there may be many
    objects.mkdir(mode=0o700)
    variables = {"TUZUTIL_ORDER": order, "TUZUTIL_COUNTED": server.native(counted), "XDG_RUNTIME_DIR": str(objects)}
    with preloaded(variables):
        try:
            server.start()
            said = None
        except RuntimeError:
            # If the server runs on an emulated processor, the emulator itself cannot load the refuser, and says so.
            said = "".join(line for line in server.read_output().splitlines(True) if not line.startswith("ERROR: ld.so: "))
    return said, server, counted


def calls_until_it_listens():
    counts = []
    for _ in range(3):
        said, server, counted = start("only 1000000 0")
        assert said is None, said
        assert server.stop() == 0
        counts.append(int(counted.read_text().split()[0]))
        server.remove()
    return min(counts)


def serves(server):
    with server.connect(10) as client:
        client.login()
        client.ok("RETR 1")
        assert client.content() == support.seen_by_client(MESSAGE)
        client.ok("QUIT")


def check(how, number):
    said, server, _ = start(f"{how} {number} 0")
    try:
        where = f"{how} {number}: {said!r}"
        if said is not None:
            status = server.process.wait(timeout=10)
            assert status == 2 and said.startswith("pop3d: ") and said.count("\n") == 1, f"{where}, status {status}"
            return said.replace(str(server.root), "...")
        if how == "only":
            deadline = time.monotonic() + 10
            while True:
                try:
                    serves(server)
                    break
                except (EOFError, OSError, AssertionError):  # the call that fails may be one of the first session
                    assert time.monotonic() < deadline, where
        assert server.process.poll() is None, where
        assert how == "from" or server.stop() == 0, where
        return None
    finally:
        if server.process and server.process.poll() is None:
            server.process.kill()
            server.process.wait()
        server.remove()


def main():
    count = calls_until_it_listens()
    assert count >= 10, f"only {count} calls were counted"
    for how in "only", "from":
        said = [check(how, number) for number in range(1, count + 1)]
        reasons = sorted({text.strip() for text in said if text})
        print(f"{how}: {count} starts, {sum(text is None for text in said)} serve; the others say:", *reasons, sep="\n    ")
        assert reasons, "no start has failed"


main()
