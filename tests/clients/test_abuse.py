"""Clients that are many, rude or gone: nobody else suffers, and no message is lost."""

import threading
import unittest

import support


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

    def test_commands_that_come_byte_by_byte(self):
        with support.Server() as server, server.connect() as client:
            for byte in b"USER anna\r\nPASS secret of anna\nSTAT\r\n":
                client.send(bytes([byte]))
            self.assertTrue(client.line().startswith(b"+OK"))
            self.assertTrue(client.line().startswith(b"+OK"))
            self.assertEqual(client.line(), b"+OK 0 0")


support.main()
