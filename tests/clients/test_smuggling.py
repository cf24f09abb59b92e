#!/usr/bin/env python3
"""Messages with what looks like the end of a body in them: a client sees the end where it is, and no reply too many."""

import re
import unittest
from pathlib import Path

import support

TABLE = Path(__file__).resolve().parents[1] / "support" / "end_of_data.txt"
ESCAPE = re.compile(rb"\\(x[0-9A-Fa-f]{2}|.)")
BYTES = {b"r": b"\r", b"n": b"\n", b"t": b"\t", b"0": b"\0", b"\\": b"\\"}


def tricks():
    rows = [line.split(b"\t") for line in TABLE.read_bytes().splitlines() if line and not line.startswith(b"#")]
    unescape = lambda found: bytes([int(found.group(1)[1:], 16)]) if found.group(1)[0] == ord("x") else BYTES[found.group(1)]
    return [(name.decode(), ESCAPE.sub(unescape, text)) for name, text, _ in rows]


def read_to_end(client):
    """The bytes of a reply of several lines, up to the line "." as a strict client sees it."""
    wire = b""
    while wire != b".\r\n" and not wire.endswith(b"\r\n.\r\n"):
        line = client.file.readline()
        assert line, wire
        wire += line
    return wire


class Smuggling(unittest.TestCase):
    def test_a_message_ends_where_it_ends(self):
        found = tricks()
        self.assertGreater(len(found), 20)
        with support.Server() as server:
            for number, (_, trick) in enumerate(found):
                server.put("anna", f"{number:03}", b"Subject: x\r\n\r\nx" + trick + b"+OK fooled\r\n-ERR fooled\r\n")
            with server.connect() as client:
                client.login()
                for number, (name, trick) in enumerate(found, 1):
                    for command in (f"RETR {number}", f"TOP {number} 100"):
                        client.ok(command)
                        wire = read_to_end(client)
                        lines = wire.split(b"\r\n")
                        self.assertEqual(lines.index(b"."), len(lines) - 2, (name, command))
                        lenient = [line.rstrip(b"\r") for line in wire.split(b"\n")]  # a client that takes LF alone
                        self.assertEqual(lenient.index(b"."), len(lenient) - 2, (name, command))
                        self.assertIn(b"-ERR fooled", wire)
                        client.ok("NOOP")  # the next reply is the reply to this
                client.ok("QUIT")

    def test_what_a_client_sends_is_a_command_only_after_a_line_end(self):
        with support.Server() as server:
            for name, trick in tricks():
                server.put("anna", "1", b"Subject: x\r\n\r\nbody\r\n")
                client = server.login_when_free()
                client.send(b"NOOP" + trick + b"DELE 1\r\nQUIT\r\n")
                replies = client.file.read().splitlines()
                client.close()
                self.assertTrue(replies[-1].startswith(b"+OK"), (name, replies))  # the QUIT stands on a line of its own
                if trick.endswith(b"\r\n"):
                    self.assertEqual(server.names("anna"), [], (name, replies))
                elif not trick.endswith(b"\n"):
                    self.assertEqual(server.names("anna"), ["1"], (name, replies))


support.main()
