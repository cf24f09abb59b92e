#!/usr/bin/env python3
"""Messages on their way to a client: from memory or from their file, whole or not at all."""

import os
import resource
import unittest
from pathlib import Path

import support


class Spool(unittest.TestCase):
    def test_messages_arrive_wherever_they_wait(self):
        sizes = (0, 100, 16383, 16384, 16385, 65535, 65536, 65537, 300_000)
        for limit in ("0", "1", "16384", "65536", "1000000"):
            with support.Server(options=["--spool-bytes", limit]) as server:
                messages = [support.big_message(size) for size in sizes]
                for number, message in enumerate(messages):
                    server.put("anna", str(number), message)
                with server.connect() as client:
                    client.login()
                    for number, message in enumerate(messages, 1):
                        client.ok(f"RETR {number}")
                        self.assertEqual(client.content(), support.seen_by_client(message), (limit, number))
                        client.ok(f"TOP {number} 2")
                        head, body = support.seen_by_client(message).split(b"\r\n\r\n", 1)
                        lines = body.split(b"\r\n")[:2]
                        self.assertTrue(client.content().startswith(head + b"\r\n\r\n" + b"\r\n".join(lines)))
                    client.ok("QUIT")

    def test_the_size_in_a_name_is_taken_if_the_file_can_have_it(self):
        stored = b"Subject: x\n\nbody"  # 16 bytes; a client sees 20
        sizes = {"1.host,S=16,W=20": 20, "2.host,W=19;2,S": 19, "3.host,W=15": 20, "4.host,W=35": 20, "5.host,W=34": 34,
                 "6.host,W=20x": 20, "7.host,W=": 20, "8.host,W=99999999999999999999": 20, "9.host,W=-20": 20}
        with support.Server() as server:
            for name in sizes:
                server.put("anna", name, stored)
            with server.connect() as client:
                client.login()
                client.ok("LIST")
                listed = [line.split()[1] for line in client.content().splitlines()]
                self.assertEqual([int(size) for size in listed], list(sizes.values()))
                self.assertEqual(client.ask("STAT"), b"+OK 9 %d" % sum(sizes.values()))
                client.ok("RETR 5")
                self.assertEqual(client.content(), b"Subject: x\r\n\r\nbody\r\n")
                client.ok("QUIT")

    def test_a_message_that_changes_while_it_is_sent_is_not_ended(self):
        message = support.big_message(32 << 20)  # more than the buffers of the connection take
        for size in (100, len(message) + 100):
            with support.Server() as server:
                server.put("anna", "1", message)
                with server.connect() as client:
                    client.login()
                    client.ok("RETR 1")
                    os.truncate(server.mailbox("anna") / "new" / "1", size)
                    got = client.file.read()
                    self.assertTrue(support.seen_by_client(message).replace(b"\r\n.", b"\r\n..").startswith(got))
                    self.assertFalse(got.endswith(b"\r\n.\r\n"))

    def test_a_message_that_cannot_be_read_is_refused(self):
        with support.Server() as server:
            server.put("anna", "1", b"Subject: first\n\nbody\n")
            server.put("anna", "2", b"Subject: second\n\nbody\n")
            unreadable = server.mailbox("anna") / "new" / "3"
            unreadable.write_bytes(b"Subject: third\n\n")
            with server.connect() as client:
                client.login()
                (server.mailbox("anna") / "new" / "1").unlink()
                unreadable.unlink()
                unreadable.symlink_to("/proc/self/mem")  # would open, and cannot be read
                for command in ("RETR 1", "TOP 1 0", "RETR 3", "TOP 3 0"):
                    self.assertTrue(client.ask(command).startswith(b"-ERR [SYS/TEMP]"))
                client.ok("RETR 2")
                self.assertEqual(client.content(), b"Subject: second\r\n\r\nbody\r\n")
                client.ok("QUIT")

    def test_clients_beyond_the_files_that_a_process_may_have_wait(self):
        if support.settings.emulator:
            return  # the emulator's own need for files comes on top
        if b"__ubsan_handle_dynamic_type_cache_miss" in Path(support.settings.server).read_bytes():
            return  # without two free descriptors, the sanitizer takes every object for one of another type
        server = support.Server()
        server.put("anna", "1", b"Subject: x\n\nbody\n")
        server.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (16, 16)))
        self.addCleanup(server.remove)
        clients = [server.connect() for _ in range(5)]
        late = [support.socket.create_connection(("127.0.0.1", server.port), timeout=30) for _ in range(15)]
        for client in clients:
            client.ok("QUIT")
            client.close()
        for connection in late:
            self.assertTrue(connection.recv(100).startswith(b"+OK"))
            connection.close()
        with server.login_when_free() as client:
            client.ok("RETR 1")
            self.assertEqual(client.content(), b"Subject: x\r\n\r\nbody\r\n")
            client.ok("QUIT")


support.main()
