#!/usr/bin/env python3
"""The server at the limits of its system: little memory, folders that cannot be written or are replaced while a session
uses them, and lines that never end. It refuses or reports, loses no message, and goes on serving afterwards."""

import ctypes
import os
import resource
import shutil
import unittest
from pathlib import Path

import support

FIRST = b"Subject: first\n\nbody\n"
SECOND = b"Subject: second\n\nanother body\n"
UNREADABLE = b"-ERR [SYS/TEMP] the message cannot be read"
NOT_REMOVED = b"-ERR [SYS/TEMP] some deleted messages not removed"


def is_sanitized():
    code = Path(support.settings.server).read_bytes()
    return b"__asan_init" in code or b"__tsan_init" in code


def give_up_the_right_to_write_everywhere():
    """In the program that follows, the permissions of files count even for root."""
    for capability in 1, 2:  # CAP_DAC_OVERRIDE and CAP_DAC_READ_SEARCH
        ctypes.CDLL(None).prctl(24, capability, 0, 0, 0)  # PR_CAPBSET_DROP


def use_one_heap():
    """Each heap of a thread would reserve addresses for much more memory than the limits leave."""
    os.environ["MALLOC_ARENA_MAX"] = "1"


class Limits(unittest.TestCase):
    def start(self, server, **how):
        self.addCleanup(server.remove)
        return server.start(**how)

    def check_session(self, server, messages=(FIRST, SECOND)):
        """A session that gets all messages."""
        with server.login_when_free() as client:
            for number, message in enumerate(messages, 1):
                client.ok(f"RETR {number}")
                self.assertEqual(client.content(), support.seen_by_client(message))
            client.ok("QUIT")

    def test_with_little_memory_it_refuses_and_goes_on_afterwards(self):
        if support.settings.emulator or is_sanitized():
            return  # these need more address space than any limit
        server = support.Server(options=["--sessions", "1000", "--unauthenticated", "1000", "--per-address", "1000"])
        if not server.is_for_this_processor():
            return  # the program that emulates the processor ignores the limit
        use_one_heap()
        server.put("anna", "1", FIRST)
        server.put("anna", "2", SECOND)
        self.start(server)
        self.check_session(server)
        for room in (0, 1 << 20, 16 << 20, 100 << 20):
            pages = int(Path(f"/proc/{server.process.pid}/statm").read_text().split()[0])
            limit = pages * resource.getpagesize() + room
            former = resource.prlimit(server.process.pid, resource.RLIMIT_AS)
            resource.prlimit(server.process.pid, resource.RLIMIT_AS, (limit, former[1]))
            clients, refused = [], 0
            for _ in range(100):
                try:
                    client = server.connect(10)
                except (EOFError, ConnectionResetError):
                    refused += 1
                    continue
                self.assertIn(client.greeting[:4], (b"+OK ", b"-ERR"))
                refused += client.greeting.startswith(b"-ERR")
                clients.append(client)
            self.assertGreater(refused, 0, "the limit is not effective")
            answers = []
            for client in clients:
                try:
                    for command in ("USER anna", "PASS secret of anna", "RETR 1"):
                        answers.append(client.ask(command))
                        if command == "RETR 1" and answers[-1].startswith(b"+OK"):
                            self.assertEqual(client.content(), support.seen_by_client(FIRST))
                except (EOFError, ConnectionError):
                    pass
                client.close()
            self.assertTrue(all(answer[:3] in (b"+OK", b"-ER") for answer in answers), answers)
            resource.prlimit(server.process.pid, resource.RLIMIT_AS, former)
            self.check_session(server)
            self.assertEqual(server.names("anna"), ["1", "2"])
        self.assertEqual(server.stop(), 0)

    def test_with_little_memory_a_large_mailbox_is_refused_or_whole(self):
        if support.settings.emulator or is_sanitized():
            return
        server = support.Server({"anna": "secret of anna", "ben": "secret of ben"}, trace="file({root}/trace.log),er")
        if not server.is_for_this_processor():
            return
        use_one_heap()
        count = 20_000
        for number in range(count):
            server.put("ben", f"{number:06}." + "x" * 200, b"")
        server.put("anna", "1", FIRST)
        server.put("anna", "2", SECOND)
        self.addCleanup(server.remove)
        outcomes = set()
        for room in (*range(0, 20 << 20, 1 << 20), 1 << 30):
            server.start()
            self.check_session(server)  # its stack stays for the next session
            pages = int(Path(f"/proc/{server.process.pid}/statm").read_text().split()[0])
            former = resource.prlimit(server.process.pid, resource.RLIMIT_AS)
            limit = pages * resource.getpagesize() + room
            resource.prlimit(server.process.pid, resource.RLIMIT_AS, (limit, former[1]))
            try:
                with server.connect() as client:
                    client.ask("USER ben")
                    answer = client.ask("PASS secret of ben")
                    if answer.startswith(b"+OK"):
                        self.assertEqual(answer, b"+OK %d messages" % count)
                        self.assertIn(client.ask("STAT"), (b"+OK %d 0" % count, UNREADABLE))
                    outcomes.add(answer[:3])
            except (EOFError, ConnectionError):
                report = (server.root / "trace.log").read_text()
                self.assertNotEqual(report, "")
                outcomes.add(b"no memory" if "std::bad_alloc" in report else b"no thread")
            resource.prlimit(server.process.pid, resource.RLIMIT_AS, former)
            self.check_session(server)
            self.assertEqual(server.stop(), 0)
            server.output.close()
        print(f"outcomes: {sorted(outcomes)}")
        self.assertIn(b"+OK", outcomes)
        self.assertIn(b"no memory", outcomes)
        self.assertEqual(len(server.names("ben")), count)

    def test_messages_in_a_folder_that_cannot_be_written_are_not_deleted(self):
        if support.settings.emulator:
            return  # a process of the emulator, which keeps all rights, removes the files
        server = support.Server()
        server.put("anna", "1", FIRST)
        server.put("anna", "2", SECOND)
        folder = server.mailbox("anna") / "new"
        folder.chmod(0o555)
        self.addCleanup(lambda: folder.exists() and folder.chmod(0o755))
        self.start(server, preexec_fn=give_up_the_right_to_write_everywhere)
        with server.connect().login() as client:
            client.ok("DELE 1")
            client.ok("DELE 2")
            self.assertEqual(client.ask("QUIT"), NOT_REMOVED)
        self.check_session(server)
        self.assertEqual(server.names("anna"), ["1", "2"])
        folder.chmod(0o755)
        with server.login_when_free() as client:
            client.ok("DELE 1")
            client.ok("QUIT")
        self.assertEqual(server.names("anna"), ["2"])

    def replaced(self, make):
        """While a session is open, make() puts something else in the place of the folder that holds the messages."""
        server = support.Server()
        server.put("anna", "1", FIRST)
        server.put("anna", "2", SECOND)
        new = server.mailbox("anna") / "new"
        away = server.root / "away"
        other = server.root / "other"
        other.mkdir()
        for name in "12":
            (other / name).write_bytes(FIRST.replace(b"first", b"other"))  # of the same size
        self.start(server)
        with server.connect(10).login() as client:
            client.ok("DELE 2")
            new.rename(away)
            make(new, other)
            for command in ("RETR 1", "TOP 1 10"):
                answer = client.ask(command)
                if answer != UNREADABLE:  # the server may have the folder itself open
                    self.assertTrue(answer.startswith(b"+OK"), answer)
                    self.assertEqual(client.content(), support.seen_by_client(FIRST))
            answer = client.ask("QUIT")
        self.assertEqual((away / "1").read_bytes(), FIRST)
        self.assertEqual((away / "2").exists(), answer == NOT_REMOVED, answer)
        self.assertEqual(sorted(path.name for path in other.iterdir()), ["1", "2"])
        if new.is_dir() and not new.is_symlink():
            shutil.rmtree(new)
        else:
            new.unlink(missing_ok=True)
        away.rename(new)
        self.check_session(server, (FIRST, SECOND)[:len(server.names("anna"))])

    def test_a_folder_that_is_away_gives_no_message(self):
        self.replaced(lambda new, other: None)

    def test_a_link_in_place_of_the_folder_is_not_followed(self):
        if support.settings.emulator:
            return  # that system knows no such links
        self.replaced(lambda new, other: new.symlink_to(other))

    def test_a_pipe_in_place_of_the_folder_holds_nobody_up(self):
        self.replaced(lambda new, other: os.mkfifo(new))

    def test_other_messages_in_place_of_the_folder_are_not_sent(self):
        self.replaced(lambda new, other: shutil.copytree(other, new))

    def test_a_removed_folder_gives_no_message(self):
        server = support.Server()
        server.put("anna", "1", FIRST)
        server.put("anna", "2", SECOND)
        new = server.mailbox("anna") / "new"
        self.start(server)
        with server.connect(10).login() as client:
            client.ok("DELE 2")
            shutil.rmtree(new)
            for command in ("RETR 1", "TOP 1 10"):
                self.assertEqual(client.ask(command), UNREADABLE)
            client.ask("QUIT")
        new.mkdir()
        server.put("anna", "1", FIRST)
        self.check_session(server, (FIRST,))

    def test_a_message_that_has_been_cut_is_not_sent(self):
        server = support.Server()
        server.put("anna", "1", FIRST * 1000)
        server.put("anna", "2", SECOND)
        self.start(server)
        with server.connect(10).login() as client:
            client.ok("STAT")
            for size in (100, 0):
                os.truncate(server.mailbox("anna") / "new" / "1", size)
                for command in ("RETR 1", "TOP 1 10"):
                    self.assertEqual(client.ask(command), UNREADABLE)
            client.ok("RETR 2")
            self.assertEqual(client.content(), support.seen_by_client(SECOND))
            client.ok("QUIT")

    def test_a_line_without_an_end_takes_no_memory(self):
        support.limit_sanitizer_memory()
        server = support.Server()
        server.put("anna", "1", FIRST)
        self.start(server)
        self.check_session(server, (FIRST,))
        before = server.peak_kib()
        block = b"x" * (1 << 20)
        with server.connect(timeout=120) as client:
            for is_known in (False, True):
                if is_known:
                    client.login()
                for beginning in (b"", b"RETR ", b"AUTH PLAIN "):
                    client.send(beginning)
                    for _ in range(100):
                        client.send(block)
                    client.send(b"\r\n")
                    self.assertEqual(client.line(), b"-ERR line too long")
            client.ok("RETR 1")
            self.assertEqual(client.content(), support.seen_by_client(FIRST))
            client.ok("QUIT")
        with server.connect(timeout=120) as client:
            self.assertEqual(client.ask("AUTH PLAIN"), b"+ ")
            for _ in range(100):
                client.send(block)
            client.send(b"\r\n")
            self.assertTrue(client.line().startswith(b"-ERR "))
        grown = server.peak_kib() - before
        print(f"peak resident size grows by {grown} KiB for 700 MiB in seven lines")
        self.assertLess(grown, 8 << 10)


support.main()
