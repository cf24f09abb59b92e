#!/usr/bin/env python3
"""What a hostile internet meets, and a hostile owner of a mailbox: nobody reads what is not theirs, nobody holds the
server up, and nobody guesses passwords quickly."""

import os
import resource
import signal
import socket
import subprocess
import threading
import time
import unittest

import support

FIRST = b"Subject: first\n\nbody\n"
SECOND = b"Subject: second\n\nanother body\n"
UNREADABLE = b"-ERR [SYS/TEMP] the message cannot be read"


def run(server, *arguments):
    result = subprocess.run(server.command(arguments), capture_output=True, timeout=60, check=False, stdin=subprocess.DEVNULL)
    return result.returncode, (result.stdout + result.stderr).decode().replace("\r\n", "\n")


def until(condition, what, seconds=30):
    deadline = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < deadline, what
        time.sleep(0.05)


class ServerWithUsersText(support.Server):
    """A server whose users file is written as the test wants it."""

    def __init__(self, text, **how):
        super().__init__(**how)
        self.text = text

    def users_text(self):
        return self.text(self)


class Hostile(unittest.TestCase):
    def serve(self, server):
        self.addCleanup(server.remove)
        return server.start()


class UsersFile(Hostile):
    def test_a_users_file_beyond_a_mebibyte_is_read_whole(self):
        def text(server):
            line = f"bob:pw:{server.native(server.root / 'mail')}{os.sep if not support.settings.emulator else chr(92)}"
            filler = (1 << 20) - len(line.encode())
            return "#" * (filler - 1) + "\n" + line + "bob\n"

        server = ServerWithUsersText(text, users={"bob": "pw"})
        server.put("bob", "1", FIRST)
        for name in ("of-alice-1", "of-alice-2"):
            (server.root / "mail" / name).write_bytes(SECOND)
        self.serve(server)
        with server.connect() as client:
            client.login("bob", "pw")
            client.ok("RETR 1")
            self.assertEqual(client.content(), support.seen_by_client(FIRST))
            self.assertEqual(client.ask("STAT"), b"+OK 1 %d" % len(support.seen_by_client(FIRST)))

    def test_a_users_file_too_large_is_refused(self):
        server = support.Server()
        self.addCleanup(server.remove)
        path = server.root / "large"
        path.write_text(server.users_text() + "#" * (16 << 20))
        name = server.native(path)
        self.assertEqual(run(server, "--users", name), (2, f'pop3d: users file "{name}": it has more than 16777216 bytes\n'))

    def test_a_wrong_line_is_named_by_its_number(self):
        server = support.Server()
        self.addCleanup(server.remove)
        path = server.root / "bad"
        name = server.native(path)
        box = server.native(server.mailbox("anna"))
        good = f"anna:secret:{box}\n"
        rows = [
            (f"anna::{box}\n", 'line 1: user "anna" has no secret'),
            (f"# people\n\n{good}ben::{box}\n", 'line 4: user "ben" has no secret'),
            (f"{good}ben:x:{box}\r\nanna:other:{box}\n", 'line 3: user "anna" is listed twice'),
            (f"{good}ben:secret\n", 'line 2 is not "name:secret:mailbox"'),
            (f"{good}ben:secret:\n", 'line 2 is not "name:secret:mailbox"'),
            (f"{good}:secret:{box}\n", 'line 2 is not "name:secret:mailbox"'),
            (f"{good}ben\n", 'line 2 is not "name:secret:mailbox"'),
            (f"{good}ben:x\0y:{box}\n", 'line 2 is not "name:secret:mailbox"'),
            (f"{good}ben:x:{box}nowhere\n", f'line 2: user "ben" has no mailbox at "{box}nowhere"'),
        ]
        for text, problem in rows:
            path.write_text(text, newline="")
            self.assertEqual(run(server, "--users", name), (2, f'pop3d: users file "{name}": {problem}\n'))

    def test_after_the_start_each_secret_is_in_memory_once(self):
        users = {f"user{number}": f"kept-{os.urandom(12).hex()}" for number in range(100)}
        server = self.serve(support.Server(users))
        with server.connect() as client:
            client.ask("XYZZY")  # the server is at work
        copies = self.copies(server.process.pid, [secret.encode() for secret in users.values()])
        self.assertEqual((min(copies), max(copies), sum(copies)), (1, 1, 100))

    def test_a_login_leaves_no_copy_of_the_secret(self):
        secret = f"kept-{os.urandom(12).hex()}"
        server = self.serve(support.Server({"anna": secret}))
        for _ in range(3):
            with server.login_when_free() as client:
                client.ok("QUIT")
        until(lambda: self.copies(server.process.pid, [secret.encode()]) == [1], "copies of the secret stay", 10)

    @staticmethod
    def copies(pid, needles):
        """How often each text stands in the writable memory of a process."""
        counts = [0] * len(needles)
        with open(f"/proc/{pid}/maps", encoding="utf-8") as maps, open(f"/proc/{pid}/mem", "rb", 0) as memory:
            for line in maps:
                span, rights = line.split()[:2]
                begin, end = (int(number, 16) for number in span.split("-"))
                if not rights.startswith("rw") or end - begin > 1 << 30:
                    continue
                try:
                    memory.seek(begin)
                    content = memory.read(end - begin)
                except OSError:
                    continue
                if b"kept-" in content:
                    for index, needle in enumerate(needles):
                        counts[index] += content.count(needle)
        return counts


class Files(Hostile):
    """The owner of a mailbox puts other things than messages there."""

    def setUp(self):
        self.box = support.Server()
        self.new = self.box.mailbox("anna") / "new"

    def replace(self, name, make):
        """Puts something else where a message was."""
        make(self.new / ".other")
        os.replace(self.new / ".other", self.new / name)

    def test_links_are_no_messages(self):
        outside = self.box.root / "outside"
        outside.write_bytes(SECOND)
        self.box.put("anna", "1", FIRST)
        (self.new / "2").symlink_to(outside)
        (self.new / "3").symlink_to(self.new / "1")
        (self.new / "4").symlink_to("/dev/zero")
        self.serve(self.box)
        with self.box.connect() as client:
            client.login()
            client.ok("LIST")
            self.assertEqual(client.body(), [b"1 %d" % len(support.seen_by_client(FIRST))])

    def test_a_folder_that_is_a_link_holds_no_messages(self):
        outside = self.box.root / "outside"
        outside.mkdir()
        (outside / "1").write_bytes(SECOND)
        self.new.rmdir()
        self.new.symlink_to(outside)
        self.box.put("anna", "2", FIRST, "cur")
        self.serve(self.box)
        with self.box.connect() as client:
            client.login()
            self.assertEqual(client.ask("STAT"), b"+OK 1 %d" % len(support.seen_by_client(FIRST)))

    def refuses_what_took_the_place_of_a_message(self, make):
        for name in "123":
            self.box.put("anna", name, FIRST)
        self.serve(self.box)
        with self.box.connect(10) as client:
            client.login()
            self.replace("2", make)
            for command in ("RETR 2", "TOP 2 0", "LIST 2", "LIST", "STAT"):
                self.assertEqual(client.ask(command), UNREADABLE, command)
            client.ok("RETR 3")
            self.assertEqual(client.content(), support.seen_by_client(FIRST))
            client.ok("QUIT")
        self.assertEqual(self.box.stop(), 0)

    def test_a_pipe_in_place_of_a_message_holds_nobody_up(self):
        self.refuses_what_took_the_place_of_a_message(os.mkfifo)

    def test_a_link_in_place_of_a_message_is_not_followed(self):
        self.refuses_what_took_the_place_of_a_message(lambda path: path.symlink_to("/etc/passwd"))

    def test_a_link_to_endless_zeros_is_not_followed(self):
        self.refuses_what_took_the_place_of_a_message(lambda path: path.symlink_to("/dev/zero"))

    def test_a_folder_in_place_of_a_message_is_not_read(self):
        self.box.put("anna", "1", FIRST)
        self.serve(self.box)
        with self.box.connect() as client:
            client.login()
            (self.new / "1").unlink()
            (self.new / "1").mkdir()
            self.assertEqual(client.ask("LIST 1"), UNREADABLE)

    def test_another_message_in_place_of_the_listed_one_is_not_sent(self):
        self.refuses_what_took_the_place_of_a_message(lambda path: path.write_bytes(SECOND))

    def put_endless(self):
        """A message that takes hours to read, for a server that would."""
        with open(self.new / "1", "wb") as file:
            file.truncate(300 << 30)
        self.box.options = ["--message-bytes", str(1 << 40)]

    def test_a_file_too_large_is_not_read(self):
        self.put_endless()
        self.box.options = []
        self.box.put("anna", "2", FIRST)
        self.serve(self.box)
        with self.box.connect() as client:
            client.login()
            for command in ("LIST", "STAT", "LIST 1", "RETR 1", "TOP 1 0"):
                self.assertEqual(client.ask(command), UNREADABLE, command)
            client.ok("RETR 2")
            self.assertEqual(client.content(), support.seen_by_client(FIRST))
            client.ok("DELE 1")
            client.ok("QUIT")
        self.assertEqual(self.box.names("anna"), ["2"])

    def test_the_reading_of_a_message_ends_when_the_client_has_left(self):
        self.put_endless()
        self.serve(self.box)
        with self.box.connect() as client:
            client.login()
            client.send(b"LIST\r\n")
        self.box.login_when_free().close()

    def test_the_reading_of_a_message_ends_when_the_server_is_to_stop(self):
        self.put_endless()
        self.serve(self.box)
        with self.box.connect() as client:
            client.login()
            client.send(b"LIST\r\n")
            self.assertEqual(self.box.stop(), 0)

    def test_an_unreadable_message_is_asked_again_next_time(self):
        self.box.put("anna", "1", FIRST)
        self.box.put("anna", "2", SECOND)
        self.serve(self.box)
        sizes = [len(support.seen_by_client(message)) for message in (FIRST, SECOND)]
        with self.box.connect() as client:
            client.login()
            (self.new / "1").rename(self.box.root / "away")
            for command in ("LIST 1", "STAT", "LIST", "RETR 1"):
                self.assertEqual(client.ask(command), UNREADABLE, command)
            self.assertEqual(client.ask("LIST 2"), b"+OK 2 %d" % sizes[1])
            (self.box.root / "away").rename(self.new / "1")
            self.assertEqual(client.ask("LIST 1"), b"+OK 1 %d" % sizes[0])
            self.assertEqual(client.ask("STAT"), b"+OK 2 %d" % sum(sizes))
            client.ok("RETR 1")
            self.assertEqual(client.content(), support.seen_by_client(FIRST))

    def test_another_file_of_the_name_is_not_removed(self):
        self.box.put("anna", "1", FIRST)
        self.box.put("anna", "2", FIRST)
        self.serve(self.box)
        with self.box.connect() as client:
            client.login()
            client.ok("DELE 1")
            client.ok("DELE 2")
            self.replace("1", lambda path: path.write_bytes(SECOND))
            self.assertEqual(client.ask("QUIT"), b"-ERR [SYS/TEMP] some deleted messages not removed")
        self.assertEqual(self.box.names("anna"), ["1"])
        self.assertEqual((self.new / "1").read_bytes(), SECOND)

    def uids(self):
        with self.box.login_when_free() as client:
            client.ok("UIDL")
            uids = [line.split()[1] for line in client.body()]
            client.ok("QUIT")
        return uids

    def test_names_that_differ_in_their_flags_only_have_different_uids(self):
        self.box.put("anna", "x", FIRST, "cur")
        self.box.put("anna", "x;2,S", SECOND, "cur")
        self.box.put("anna", "x;2,RS", SECOND, "cur")
        self.box.put("anna", "y", FIRST, "new")
        self.box.put("anna", "y", SECOND, "cur")
        self.serve(self.box)
        uids = self.uids()
        self.assertEqual((len(uids), len(set(uids))), (5, 5))
        self.assertEqual(self.uids(), uids)

    def test_a_uid_stays_when_flags_change(self):
        self.box.put("anna", "x", FIRST, "new")
        self.serve(self.box)
        uids = self.uids()
        (self.new / "x").rename(self.box.mailbox("anna") / "cur" / "x;2,S")
        self.assertEqual(self.uids(), uids)


class Lock(Hostile):
    def in_use(self, server, user, secret):
        with server.connect() as client:
            client.ok(f"USER {user}")
            self.assertEqual(client.ask(f"PASS {secret}"), b"-ERR [IN-USE] another session has the mailbox")

    def test_a_mailbox_spelled_otherwise_is_the_same_mailbox(self):
        def text(server):
            box = server.native(server.mailbox("anna"))
            separator = "\\" if support.settings.emulator else "/"
            return (f"anna:pw:{box}\n" + f"ben:pw:{box}{separator}\n" + f"cleo:pw:{box}{separator}.{separator}new{separator}..\n"
                    + f"dora:pw:{server.native(server.root / 'alias')}\n")

        server = ServerWithUsersText(text)
        (server.root / "alias").symlink_to(server.mailbox("anna"))
        server.put("anna", "1", FIRST)
        self.serve(server)
        with server.connect() as client:
            client.login("dora", "pw")
            self.assertEqual(client.ask("UIDL")[:3], b"+OK")
            self.assertEqual(len(client.body()), 1)
            for user in ("anna", "ben", "cleo"):
                self.in_use(server, user, "pw")
            client.ok("QUIT")
        server.users = dict.fromkeys(("anna", "ben"), "pw")
        server.login_when_free("ben").close()
        server.login_when_free("anna").close()

    def test_a_mailbox_belongs_to_one_process_at_a_time(self):
        first = self.serve(support.Server())
        second = self.serve(ServerWithUsersText(lambda _: first.users_text()))
        with first.connect() as client:
            client.login()
            self.in_use(second, "anna", "secret of anna")
            client.ok("QUIT")
        with second.login_when_free():
            self.in_use(first, "anna", "secret of anna")

    def test_a_killed_server_leaves_no_lock_behind(self):
        first = self.serve(support.Server())
        second = self.serve(ServerWithUsersText(lambda _: first.users_text()))
        with first.connect() as client:
            client.login()
            self.in_use(second, "anna", "secret of anna")
            os.killpg(first.process.pid, signal.SIGKILL)
            first.process.wait()
        second.login_when_free().close()


class Guessing(Hostile):
    def guess(self, client, command="PASS wrong"):
        client.ok("USER anna")
        begin = time.monotonic()
        answer = client.ask(command)
        self.assertEqual(answer, b"-ERR [AUTH] wrong name or password")
        return time.monotonic() - begin

    def test_each_refusal_comes_later_than_the_one_before(self):
        server = self.serve(support.Server(options=["--failure-milliseconds", "200"]))
        with server.connect() as client:
            for least in (0.2, 0.4, 0.8):
                self.assertGreaterEqual(self.guess(client), least)
        with server.connect() as client:  # another connection does not begin anew
            self.assertGreaterEqual(self.guess(client), 1.6)

    def test_without_options_a_refusal_takes_a_second(self):
        server = self.serve(support.Server())
        with server.connect() as client:
            self.assertGreaterEqual(self.guess(client), 1)

    def test_a_right_password_is_not_delayed_and_a_stop_does_not_wait(self):
        server = self.serve(support.Server(options=["--failure-milliseconds", "60000"]))
        with server.connect() as guesser, server.connect() as client:
            guesser.ok("USER anna")
            guesser.send(b"PASS wrong\r\n")
            client.login()
            client.ok("STAT")
            self.assertEqual(server.stop(), 0)

    def test_the_fifth_refusal_ends_the_connection(self):
        server = self.serve(support.Server(options=["--failure-milliseconds", "1"]))
        with server.connect() as client:
            for _ in range(5):
                self.guess(client)
            self.assertEqual(client.file.read(), b"")
        with server.connect() as client:
            self.guess(client)
            client.login()

    def test_a_client_that_does_not_log_in_is_ended(self):
        server = self.serve(support.Server(options=["--login-seconds", "1"]))
        with server.connect() as stranger, server.connect() as client:
            client.login()

            def is_ended():
                try:
                    return not stranger.ask("XYZZY").startswith(b"-ERR")
                except (EOFError, ConnectionError):
                    return True

            until(is_ended, "a stranger stays")
            client.ok("NOOP")

    def refused(self, server):
        """Whether a client that speaks at once hears that there are too many, and the end after it."""
        with socket.create_connection(("127.0.0.1", server.port), timeout=30) as connection:
            connection.sendall(b"CAPA\r\nUSER anna\r\nPASS secret of anna\r\n")
            heard = b""
            while data := connection.recv(1000):
                heard += data
        self.assertEqual(heard, b"-ERR [SYS/TEMP] too many sessions\r\n")

    def admitted(self, server):
        client = server.connect()
        if client.greeting.startswith(b"+OK"):
            self.addCleanup(client.close)
            return True
        client.close()
        return False

    def test_a_client_beyond_the_limit_is_told_so(self):
        server = self.serve(support.Server(options=["--sessions", "2"]))
        with server.connect() as first, server.connect() as second:
            for _ in range(10):
                self.refused(server)
            first.login()
            second.ok("QUIT")
            until(lambda: self.admitted(server), "no room is made")

    def test_a_client_for_whom_there_is_no_thread_is_told_so(self):
        if support.settings.emulator:
            return  # the limit is one of the other system
        server = support.Server()
        if not server.is_for_this_processor():
            return  # the program that emulates the processor needs the stack for threads of its own
        self.addCleanup(server.remove)
        hard = resource.getrlimit(resource.RLIMIT_STACK)[1]
        self.assertEqual(hard, resource.RLIM_INFINITY)
        try:
            server.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_STACK, (1 << 46, hard)))
        except RuntimeError as problem:
            if "ThreadSanitizer: unexpected memory mapping" not in str(problem):
                raise
            return  # that sanitizer does not run with stacks of such a size
        for _ in range(3):
            self.refused(server)
        self.assertEqual(server.stop(), 0)

    def test_strangers_are_limited_in_number(self):
        server = self.serve(support.Server(options=["--unauthenticated", "2"]))
        with server.connect() as first, server.connect():
            self.refused(server)
            first.login()
            self.assertTrue(self.admitted(server))
            self.refused(server)

    def test_clients_of_one_address_are_limited_in_number(self):
        server = self.serve(support.Server(options=["--per-address", "2"]))
        with server.connect() as first, server.connect() as second:
            first.login()
            self.refused(server)
            with server.connect(source="127.0.0.2") as other:
                self.assertTrue(other.greeting.startswith(b"+OK"))
            second.ok("QUIT")
            until(lambda: self.admitted(server), "no room is made")

    def test_a_reader_that_is_too_slow_is_ended(self):
        server = support.Server(options=["--bytes-per-second", "100000"])
        server.put("anna", "1", support.big_message(16 << 20))
        self.serve(server)
        connection = socket.socket()
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        connection.connect(("127.0.0.1", server.port))
        connection.sendall(b"USER anna\r\nPASS secret of anna\r\nRETR 1\r\n")
        while b"message follows" not in connection.recv(4096):
            pass
        stop = threading.Event()

        def crawl():
            try:
                while not stop.wait(0.05) and connection.recv(100):
                    pass
            except OSError:
                pass

        reader = threading.Thread(target=crawl)
        reader.start()
        try:
            server.login_when_free().close()
        finally:
            stop.set()
            reader.join()
            connection.close()

    def test_a_reader_that_is_quick_enough_gets_all(self):
        server = support.Server(options=["--bytes-per-second", "20000"])
        message = support.big_message(4 << 20)
        server.put("anna", "1", message)
        self.serve(server)
        with server.connect() as client:
            client.login()
            client.ok("RETR 1")
            self.assertEqual(client.content(), support.seen_by_client(message))


class Commands(Hostile):
    def test_a_line_with_a_zero_byte_is_an_error(self):
        server = self.serve(support.Server())
        with server.connect() as client:
            client.ok("USER anna")
            for line in (b"PASS secret of anna\0", b"PASS secret of anna\0 and more", b"CAPA\0", b"\0"):
                client.send(line + b"\r\n")
                self.assertEqual(client.line(), b"-ERR the line contains a zero byte", line)
            client.login()
            client.send(b"NOOP\0\r\nSTAT\r\n")
            self.assertEqual(client.line(), b"-ERR the line contains a zero byte")
            self.assertEqual(client.line(), b"+OK 0 0")

    def test_extra_arguments_are_errors(self):
        server = support.Server()
        server.put("anna", "1", FIRST)
        self.serve(server)
        with server.connect() as client:
            for command in ("USER anna ben", "APOP anna 0123456789abcdef x", "AUTH PLAIN = x", "AUTH CRAM-MD5 x y", "CAPA x", "QUIT x"):
                self.assertEqual(client.ask(command), b"-ERR too many arguments", command)
            client.login()
            for command in ("STAT 1", "LIST 1 1", "UIDL 1 x", "RETR 1 1", "DELE 1 2", "TOP 1 1 1", "RSET now", "NOOP x", "QUIT now"):
                self.assertEqual(client.ask(command), b"-ERR too many arguments", command)
            client.ok("NOOP ")
            client.ok("QUIT  ")
        self.assertEqual(server.names("anna"), ["1"])

    def test_the_same_numbers_are_taken_on_all_systems(self):
        server = support.Server()
        server.put("anna", "1", FIRST)
        self.serve(server)
        with server.connect() as client:
            client.login()
            for lines in ("4294967295", "4294967296", "99999999999", "18446744073709551616", "9" * 100, "0" * 30 + "7"):
                client.ok(f"TOP 1 {lines}")
                self.assertEqual(client.content(), support.seen_by_client(FIRST), lines)
            for number in ("4294967297", "18446744073709551617", "9" * 100, "+1", "1x", "0x1", "-4294967295"):
                self.assertEqual(client.ask(f"RETR {number}"), b"-ERR no such message", number)
            client.ok("RETR " + "0" * 30 + "1")
            self.assertEqual(client.content(), support.seen_by_client(FIRST))

    def test_signals_that_are_no_wish_to_stop_do_not_end_the_server(self):
        if support.settings.emulator:
            return  # these are signals of one system only
        server = support.Server(options=["--spool-bytes", "0"])
        big = support.big_message(1 << 20)
        server.put("anna", "1", big)
        server.put("anna", "2", FIRST)
        self.addCleanup(server.remove)
        server.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000)))
        with server.connect() as client:
            client.login()
            server.process.send_signal(signal.SIGHUP)
            client.ok("NOOP")
            client.ok("RETR 1")  # needs no room on a disk
            self.assertEqual(client.content(), support.seen_by_client(big))
            client.ok("RETR 2")
            self.assertEqual(client.content(), support.seen_by_client(FIRST))
            client.ok("QUIT")
        server.process.send_signal(signal.SIGHUP)
        server.login_when_free().close()
        self.assertEqual(server.stop(), 0)


support.main()
