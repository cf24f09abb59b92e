#!/usr/bin/env python3
"""Messages with what looks like the end of a body in them: a client sees the end where it is, and no reply too many."""

import re
import time
import unittest
from pathlib import Path

import delivery
import support

TABLE = Path(__file__).resolve().parents[1] / "support" / "end_of_data.txt"
ESCAPE = re.compile(rb"\\(x[0-9A-Fa-f]{2}|.)")
BARE = re.compile(rb"(?<!\r)\n|\r(?!\n)")
BYTES = {b"r": b"\r", b"n": b"\n", b"t": b"\t", b"0": b"\0", b"\\": b"\\"}


def tricks():
    rows = [line.split(b"\t") for line in TABLE.read_bytes().splitlines() if line and not line.startswith(b"#")]
    unescape = lambda found: bytes([int(found.group(1)[1:], 16)]) if found.group(1)[0] == ord("x") else BYTES[found.group(1)]
    return [(name.decode(), ESCAPE.sub(unescape, text)) for name, text, _ in rows]


def seen_by_receiver(text):
    """What a receiver makes of the text after DATA: the bytes of the message, or None if it has bare CR or LF, and how
    many bytes of the text belong to it. A line is what ends with CR LF, and only the line "." ends the message."""
    message, at = b"", 0
    while (end := text.index(b"\r\n", at)) is not None:
        line, at = text[at:end], end + 2
        if line == b".":
            return (None if BARE.search(message) else message), at
        message += (line[1:] if line.startswith(b".") else line) + b"\r\n"


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

    def check_commands(self, server, name, trick, before=b"NOOP", cut=None):
        """Sends `before`, the trick and commands, in two pieces if `cut` says where. Each LF ends a command, and each
        command gets one reply."""
        server.put("anna", "1", b"Subject: x\r\n\r\nbody\r\n")
        client = server.login_when_free()
        wire = before + trick + b"DELE 1\r\nQUIT\r\n"
        if cut is None:
            client.send(wire)
        else:
            client.send(wire[:cut])
            time.sleep(0.002)  # so that the server reads the pieces one by one, most of the time
            client.send(wire[cut:])
        replies = client.file.read().split(b"\r\n")
        client.close()
        where = (name, len(before), cut, replies)
        self.assertEqual(replies.pop(), b"", where)
        self.assertEqual(len(replies), wire.count(b"\n"), where)
        for reply in replies:
            self.assertRegex(reply, rb"^(\+OK|-ERR)", where)
        self.assertTrue(replies[-1].startswith(b"+OK"), where)  # the QUIT stands on a line of its own
        self.assertEqual(server.names("anna"), [] if trick.endswith(b"\n") else ["1"], where)

    def test_what_a_client_sends_is_a_command_only_after_a_line_end(self):
        with support.Server() as server:
            for name, trick in tricks():
                self.check_commands(server, name, trick)

    def test_what_a_client_sends_in_two_pieces(self):
        with support.Server() as server:
            for name, trick in tricks():
                for cut in range(4, 4 + len(trick) + 1):
                    self.check_commands(server, name, trick, cut=cut)

    def test_what_a_client_sends_around_the_end_of_what_the_server_reads_at_once(self):
        with support.Server() as server:
            for name, trick in tricks():
                for begin in range(4096 - len(trick) - 1, 4096 + 2):
                    last = 6 + begin % 6  # the length of the command that the trick follows
                    before = b"NOOP\r\n" * ((begin - last) // 6) + b"N" * last
                    self.assertEqual(len(before), begin)
                    self.check_commands(server, name, trick, before)

    # A program that receives mail

    def check_delivery(self, client, mailboxes, name, before, trick, cut=None):
        """Sends a message with the trick in it. What follows are commands only if the message has ended."""
        text = b"Subject: x\r\n\r\n" + before + trick + b"QUIT\r\n.\r\n"
        message, end = seen_by_receiver(text)
        client.begin("anna")
        if cut is None:
            client.send(text)
        else:
            cut += len(text) - len(trick) - len(b"QUIT\r\n.\r\n")
            client.send(text[:cut])
            time.sleep(0.001)  # so that the program reads the pieces one by one, most of the time
            client.send(text[cut:])
        where = (name, len(before), cut)
        self.assertEqual(client.reply()[:3], b"250" if message is not None else b"554", where)
        expected = [] if message is None else [delivery.RETURN_PATH % b"carl@example.org" + message]
        self.assertEqual(mailboxes.messages("anna"), expected, where)
        mailboxes.clear("anna")
        has_ended = end < len(text)
        if has_ended:
            self.assertEqual(text[end:], b"QUIT\r\n.\r\n", where)
            self.assertEqual(client.reply()[:3], b"221", where)
        else:
            self.assertEqual(client.ask("NOOP")[:3], b"250", where)
        return has_ended

    def check_deliveries(self, cases):
        """Uses one connection for several messages, because it takes time to start a process."""
        mailboxes = delivery.Mailboxes()
        self.addCleanup(mailboxes.remove)
        client, ended, count = None, set(), 0
        for case in cases:
            client = client or delivery.Client(mailboxes)
            count += 1
            if self.check_delivery(client, mailboxes, *case):
                ended.add(case[0])
                self.assertEqual(client.end()[1], 0)
                client = None
        if client:
            client.ok("QUIT")
            self.assertEqual(client.end(), (b"", 0))
        return ended, count

    def test_a_received_message_ends_where_it_ends(self):
        ended, count = self.check_deliveries((name, b"x", trick) for name, trick in tricks())
        self.assertEqual(ended, {"plain", "bareReturnBefore", "afterEmptyLine"})
        self.assertEqual(count, len(tricks()))
        ended, _ = self.check_deliveries((name, b"", trick) for name, trick in tricks())  # at the beginning of a line
        self.assertEqual(ended, {"plain", "bareReturnBefore", "afterEmptyLine", "dotReturnFeed"})

    def test_a_message_is_received_in_two_pieces(self):
        _, count = self.check_deliveries((name, b"x", trick, cut) for name, trick in tricks() for cut in range(len(trick) + 1))
        self.assertGreater(count, 100)

    def test_a_message_around_the_end_of_what_is_received_at_once(self):
        """16,384 bytes are received at once, and what the reader of bodies takes at once is a power of two, too."""
        step = 7 if support.settings.emulator else 1
        head = len(b"Subject: x\r\n\r\n")
        _, count = self.check_deliveries(
            (name, (b"line of text\r\n" * (size // 14 + 1))[:begin], trick)
            for size in (1024, 16384) for name, trick in tricks()
            for begin in range(size - head - len(trick) - 1, size - head + 2, step))
        self.assertGreater(count, 50)


support.main()
