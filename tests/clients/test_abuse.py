"""Clients that are many, rude or gone: nobody else suffers, and no message is lost."""

import resource
import threading
import time
import unittest
from pathlib import Path

import support


def resident_kib(server):
    """The memory that the server has in use."""
    status = Path(f"/proc/{server.process.pid}/status").read_text().splitlines()
    return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


class Abuse(unittest.TestCase):
    def test_fifty_clients_at_once(self):
        users = {f"user{number}": f"secret {number}" for number in range(50)}
        server = support.Server(users)
        messages = {}
        for number, user in enumerate(users):
            messages[user] = support.big_message(20000 + 100 * number)
            server.put(user, "1", messages[user])
            server.put(user, "2", b"Subject: second\n\n.\n")
        problems = []

        def fetch(user):
            try:
                with server.connect() as client:
                    client.login(user, users[user])
                    barrier.wait(timeout=60)
                    for _ in range(3):
                        client.ok("RETR 1")
                        assert client.content() == support.seen_by_client(messages[user])
                    client.ok("DELE 1")
                    client.ok("QUIT")
            except BaseException as problem:  # reported by the main thread
                problems.append((user, repr(problem)))

        barrier = threading.Barrier(len(users))
        with server:
            threads = [threading.Thread(target=fetch, args=(user,)) for user in users]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            self.assertEqual(problems, [])
            for user in users:
                self.assertEqual(server.names(user), ["2"])

    def test_ten_mebibytes_without_a_line_end(self):
        with support.Server() as server:
            server.put("anna", "1", b"Subject: first\n\nbody\n")
            with server.connect() as client:
                block = b"x" * 65536
                for _ in range(160):
                    client.send(block)
                client.send(b"\r\nCAPA\r\n")
                self.assertEqual(client.line(), b"-ERR line too long")
                self.assertTrue(client.line().startswith(b"+OK"))
                client.body()
                client.login()
                client.ok("RETR 1")
                self.assertEqual(client.content(), b"Subject: first\r\n\r\nbody\r\n")
                client.ok("QUIT")

    def test_lines_around_the_limit(self):
        with support.Server() as server, server.connect() as client:
            for length in (1022, 1023, 1024, 1025, 1026, 2047, 2048, 2049, 4096):
                answer = client.ask("X" * length)
                self.assertEqual(answer, b"-ERR unknown command" if length <= 1024 else b"-ERR line too long", length)
            client.ok("QUIT")

    def test_a_client_that_leaves_in_the_middle_of_a_message_loses_nothing(self):
        with support.Server() as server:
            message = support.big_message(5 << 20)
            server.put("anna", "1", message)
            server.put("anna", "2", b"Subject: second\n\n")
            for _ in range(3):
                client = server.login_when_free()
                client.ok("DELE 2")
                client.ok("RETR 1")
                client.file.read(100000)
                client.close()
            self.fetch_first(server)
            self.assertEqual(server.names("anna"), ["1", "2"])

    def fetch_first(self, server):
        with server.login_when_free() as client:
            client.ok("RETR 1")
            client.content()
            client.ok("QUIT")

    def test_a_client_that_leaves_without_quit_deletes_nothing(self):
        with support.Server() as server:
            server.put("anna", "1", b"Subject: first\n\n")
            for last in (b"", b"QUI", b"QUIT"):
                client = server.login_when_free()
                client.ok("DELE 1")
                client.send(last)
                client.close()
                self.fetch_first(server)
                self.assertEqual(server.names("anna"), ["1"], last)

    def test_pipelined_commands_are_answered_in_order(self):
        with support.Server() as server:
            server.put("anna", "1", b"Subject: first\n\nbody\n")
            with server.connect() as client:
                client.send(b"USER anna\r\nPASS secret of anna\r\nSTAT\r\nRETR 1\r\nTOP 1 0\r\nDELE 1\r\nNOOP\r\nQUIT\r\n")
                self.assertTrue(client.line().startswith(b"+OK"))
                self.assertEqual(client.line(), b"+OK 1 messages")
                self.assertEqual(client.line(), b"+OK 1 24")
                self.assertTrue(client.line().startswith(b"+OK"))
                self.assertEqual(client.content(), b"Subject: first\r\n\r\nbody\r\n")
                self.assertTrue(client.line().startswith(b"+OK"))
                self.assertEqual(client.content(), b"Subject: first\r\n\r\n")
                for _ in range(3):
                    self.assertTrue(client.line().startswith(b"+OK"))
                self.assertEqual(client.file.read(), b"")
            self.assertEqual(server.names("anna"), [])

    def test_a_hundred_thousand_pipelined_commands(self):
        count = 100_000
        support.limit_sanitizer_memory()
        with support.Server() as server, server.connect(timeout=300) as client:
            client.login()
            client.ok("CAPA")
            answer = b"\r\n".join([b"+OK", *client.body(), b".", b""])
            before = resident_kib(server)
            sender = threading.Thread(target=client.send, args=(b"CAPA\r\n" * count + b"STAT\r\nQUIT\r\n",))
            sender.start()
            time.sleep(0.5)  # the answers are not read yet, so the server must wait, and not collect them
            if not support.settings.emulator:
                self.assertLess((resident_kib(server) - before) << 10, count * len(answer) // 2)
            for _ in range(count):
                self.assertTrue(client.line().startswith(b"+OK"))
                self.assertEqual(client.file.read(len(answer) - 5), answer[5:])
            self.assertEqual(client.line(), b"+OK 0 0")
            self.assertTrue(client.line().startswith(b"+OK"))
            self.assertEqual(client.file.read(), b"")
            sender.join()

    def test_two_thousand_connections(self):
        server = support.Server()
        is_plain = server.is_for_this_processor() and not server.sanitizers()
        count = 2000 if is_plain else 500  # sanitizers and emulators need much memory for each thread
        limits = resource.getrlimit(resource.RLIMIT_NOFILE)
        if limits[0] < count + 100:
            resource.setrlimit(resource.RLIMIT_NOFILE, (count + 100, limits[1]))
            self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, limits)
        # A 32-bit program for Windows has too few addresses for the stacks of so many threads.
        limit = "100" if support.settings.emulator else str(count)
        options = [option for name in ("sessions", "unauthenticated", "per-address") for option in ("--" + name, limit)]
        server.options = options
        with server:
            server.put("anna", "1", b"Subject: x\n\nbody\n")
            clients = [server.connect() for _ in range(count)]
            try:
                served = [client for client in clients if client.greeting.startswith(b"+OK")]
                self.assertEqual(len(served), int(limit))
                for client in clients:
                    self.assertTrue(client in served or client.greeting == b"-ERR [SYS/TEMP] too many sessions")
                for client in served:
                    client.ok("CAPA")
                    client.body()
                served[-1].login()
                served[-1].ok("RETR 1")
                self.assertEqual(served[-1].content(), b"Subject: x\r\n\r\nbody\r\n")
            finally:
                for client in clients:
                    client.close()
            with server.login_when_free() as client:
                client.ok("QUIT")

    def test_a_message_of_more_than_two_gibibytes(self):
        if support.settings.emulator:
            self.skipTest("it takes many minutes there")
        size = (1 << 31) + 5
        with support.Server(options=["--message-bytes", str(1 << 32)]) as server:
            path = server.mailbox("anna") / "new" / "1"
            with open(path, "wb") as file:
                file.truncate(size)  # a line of zeros that take no room on the disk
                file.seek(size - 6)
                file.write(b"\n.end\n")
            before = resident_kib(server)
            with server.connect(timeout=120) as client:
                client.login()
                client.ok("RETR 1")
                seen, end = 0, b""
                while not end.endswith(b"\r\n.\r\n"):
                    block = client.file.read1(1 << 20)
                    self.assertNotEqual(block, b"")
                    seen += len(block)
                    end = (end + block)[-20:]
                self.assertTrue(end.endswith(b"\0\0\r\n..end\r\n.\r\n"), end)
                self.assertEqual(seen, size + 2 + 1 + 3)  # two CR, a dot, and the end line
                client.ok("QUIT")
            self.assertLess(resident_kib(server) - before, 8192)

    def test_commands_that_come_byte_by_byte(self):
        with support.Server() as server, server.connect() as client:
            for byte in b"USER anna\r\nPASS secret of anna\nSTAT\r\n":
                client.send(bytes([byte]))
            self.assertTrue(client.line().startswith(b"+OK"))
            self.assertTrue(client.line().startswith(b"+OK"))
            self.assertEqual(client.line(), b"+OK 0 0")


support.main()
