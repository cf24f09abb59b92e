#!/usr/bin/env python3
"""Clients that deliver mail to lmtpd: what is confirmed is in the mailbox, whole, and nothing else is."""

import poplib
import resource
import shutil
import smtplib
import subprocess
import time
import unittest
from pathlib import Path

import delivery
import support

MESSAGE = b"From: Anna <anna@example.org>\r\nSubject: x\r\n\r\n.dots\r\n..\r\n.\r\nlast\r\n"
STORED = delivery.RETURN_PATH % b"carl@example.org" + MESSAGE


def sent(content):
    """What stands for the content on the wire, with the end line."""
    return b"".join(b"." * line.startswith(b".") + line + b"\r\n" for line in content.split(b"\r\n")[:-1]) + b".\r\n"


class Delivery(unittest.TestCase):
    def setUp(self):
        self.mailboxes = delivery.Mailboxes()
        self.addCleanup(self.mailboxes.remove)

    def is_emulated(self):
        return support.settings.emulator is not None

    # Real clients

    def test_a_library_of_another_language_delivers(self):
        with delivery.Listener(self.mailboxes) as listener:
            with smtplib.LMTP("127.0.0.1", listener.port, timeout=60) as client:
                # This library expects one reply after a message, so each message has one recipient that is accepted.
                refused = client.sendmail("carl@example.org", ["nobody@example.org", "BEN@x.org"], MESSAGE)
                self.assertEqual(list(refused), ["nobody@example.org"])
                self.assertEqual(refused["nobody@example.org"][0], 550)
                with self.assertRaises(smtplib.SMTPDataError) as problem:  # bytes are sent as they are
                    client.sendmail("", ["ben@example.org"], b"Subject: y\n\nsecond\n")
                self.assertEqual(problem.exception.smtp_code, 554)
                self.assertEqual(client.sendmail("", ["ben@example.org"], "Subject: y\n\nsecond\n"), {})
        self.assertEqual(listener.statuses, [0])
        self.assertEqual(self.mailboxes.messages("anna"), [])
        self.assertEqual(sorted(self.mailboxes.messages("ben")),
                         sorted([STORED, delivery.RETURN_PATH % b"" + b"Subject: y\r\n\r\nsecond\r\n"]))

    def test_the_names_of_messages_sort_by_their_times(self):
        contents = [b"Subject: %d\r\n\r\n" % number for number in range(200)]
        with delivery.Client(self.mailboxes) as client:
            client.ok("LHLO client")
            for content in contents:
                for command in ("MAIL FROM:<carl@example.org>", "RCPT TO:<anna@example.org>", "DATA"):
                    client.ok(command)
                self.assertEqual(client.ask(content + b".\r\n")[:3], b"250")
            names = [path.name for path in self.mailboxes.files("anna")]
            self.assertEqual([len(name.split("P")[0]) for name in names], [18] * 200)  # seconds and microseconds
            self.assertEqual([message.split(b"\r\n", 1)[1] for message in self.mailboxes.messages("anna")], contents)

    def test_a_mail_program_delivers(self):
        with delivery.Listener(self.mailboxes) as listener:
            done = subprocess.run(
                ["msmtp", "--protocol=lmtp", "--host=127.0.0.1", f"--port={listener.port}", "--tls=off", "--auth=off",
                 "--set-date-header=off", "--set-msgid-header=off", "--from=carl@example.org", "anna@example.org", "ben@example.org"],
                input=MESSAGE.replace(b"\r\n", b"\n"), stderr=subprocess.PIPE, timeout=60, check=False)
            self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(listener.statuses, [0])
        for user in ("anna", "ben"):
            self.assertEqual(self.mailboxes.messages(user), [STORED])

    def test_what_is_delivered_can_be_fetched(self):
        with delivery.Listener(self.mailboxes) as listener, smtplib.LMTP("127.0.0.1", listener.port, timeout=60) as client:
            for number in range(3):
                client.sendmail("carl@example.org", ["anna@example.org"], b"Subject: %d\r\n\r\n.%d\r\n" % (number, number))
        with support.Server() as server:
            for path in self.mailboxes.files("anna"):
                server.put("anna", path.name, path.read_bytes())
            client = poplib.POP3("127.0.0.1", server.port, timeout=60)
            client.user("anna")
            client.pass_("secret of anna")
            for number in range(3):  # the names tell the order of the deliveries
                lines = client.retr(number + 1)[1]
                self.assertEqual(lines, [b"Return-Path: <carl@example.org>", b"Subject: %d" % number, b"", b".%d" % number])
            client.quit()

    # The dialogue

    def test_replies(self):
        path = "a" * 243
        dialogue = (
            ("MAIL FROM:<carl@example.org>", b"503"), ("EHLO client", b"500"), ("HELO client", b"500"), ("LHLO", b"501"),
            ("lhlo client", b"250"), ("RCPT TO:<anna@example.org>", b"503"), ("DATA", b"503"), ("MAIL", b"501"),
            ("MAIL FROM:carl@example.org", b"501"), ("MAIL FROM:<carl@example.org", b"501"),
            ("MAIL FROM:<carl@example.org>x", b"501"), ("MAIL FROM:<c\x01@example.org>", b"501"),
            (f"MAIL FROM:<{path}@example.org>", b"501"), ("MAIL FROM:<carl@example.org> SIZE=x", b"501"),
            ("LHLO client", b"250"), ("MAIL FROM:<carl@example.org> SIZE=99999999999999999999", b"552"),
            ("MAIL FROM:<carl@example.org> SMTPUTF8", b"555"), ("MAIL from: <carl@example.org> body=8bitmime SIZE=10", b"250"),
            ("MAIL FROM:<carl@example.org>", b"503"), ("DATA", b"503"))
        more = (
            ("LHLO client", b"250"), ('MAIL FROM:<"a>b\\" c"@example.org>', b"250"), ("RCPT TO:<ben@example.org> X=1", b"555"),
            ("RCPT TO:<>", b"550"), ("RCPT TO:<@one.example,@two.example:anna@example.org>", b"250"), ("RCPT TO:<ben>", b"250"),
            ("DATA now", b"501"), ("RSET", b"250"), ("DATA", b"503"), ("VRFY anna", b"252"), ("NOOP x y", b"250"), ("QUIT", b"221"))
        for commands in (dialogue[:14], dialogue[14:], more):
            with delivery.Client(self.mailboxes) as client:
                for command, code in commands:
                    answer = client.ask(command)
                    self.assertEqual(answer[:3], code, (command, answer))
        self.assertEqual(self.mailboxes.messages("anna"), [])

    def test_mailboxes_are_found_in_their_folder_only(self):
        root = self.mailboxes.root
        for folder in ("outside", "mail/.hidden", "mail/half"):
            for inner in ("tmp", "new")[:1 if folder == "mail/half" else 2]:
                (root / folder / inner).mkdir(parents=True)
        (root / "mail" / "file").write_bytes(b"")
        (root / "mail" / "link").symlink_to(root / "outside")
        (root / "mail" / "linked").mkdir()
        (root / "mail" / "linked" / "tmp").mkdir()
        (root / "mail" / "linked" / "new").symlink_to(root / "outside" / "new")
        names = ["../outside", "..", ".", ".hidden", "half", "file", "nobody", "anna.", "anna/new", "anna\\new", "", "con",
                 "anna/", '"anna"', "anna+x", "an na", "anna:new"]
        if not self.is_emulated():  # Wine shows programs what the links lead to
            names += ["link", "linked"]
        for chosen in (names[:9], names[9:]):
            with delivery.Client(self.mailboxes) as client:
                client.ok("LHLO client")
                client.ok("MAIL FROM:<>")
                for name in chosen:
                    self.assertEqual(client.ask(f"RCPT TO:<{name}@example.org>")[:3], b"550", name)
                self.assertEqual(client.ask("RCPT TO:<Anna@example.org>")[:3], b"250")
        self.assertEqual(list((root / "outside" / "new").iterdir()), [])

    def test_a_client_that_sends_only_rubbish_is_left(self):
        with delivery.Client(self.mailboxes) as client:
            for _ in range(19):
                self.assertEqual(client.ask("X")[:3], b"500")
            self.assertEqual(client.ask("X")[:3], b"500")
            self.assertEqual(client.reply()[:3], b"421")
            self.assertEqual(client.end(), (b"", 0))

    def test_too_many_recipients(self):
        with delivery.Client(self.mailboxes) as client:
            client.ok("LHLO client")
            client.ok("MAIL FROM:<carl@example.org>")
            for _ in range(100):
                client.ok("RCPT TO:<anna@example.org>")
            self.assertEqual(client.ask("RCPT TO:<ben@example.org>")[:3], b"452")
            client.ok("DATA")
            client.send(sent(MESSAGE))
            self.assertEqual({client.reply()[:3] for _ in range(100)}, {b"250"})
            client.ok("NOOP")
        self.assertEqual(self.mailboxes.messages("anna"), [STORED])  # once
        self.assertEqual(self.mailboxes.messages("ben"), [])

    def test_refused_recipients_do_not_end_the_session(self):
        with delivery.Client(self.mailboxes) as client:
            client.ok("LHLO client")
            for name in "anna", "ben":
                client.ok("MAIL FROM:<carl@example.org>")
                for number in range(25):
                    self.assertEqual(client.ask(f"RCPT TO:<nobody{number}@example.org>")[:3], b"550")
                for _ in range(100):
                    client.ok(f"RCPT TO:<{name}@example.org>")
                for _ in range(25):
                    self.assertEqual(client.ask("RCPT TO:<anna@example.org>")[:3], b"452")
                client.ok("DATA")
                client.send(sent(MESSAGE))
                self.assertEqual({client.reply()[:3] for _ in range(100)}, {b"250"})
            self.assertEqual(client.ask("MAIL FROM:<carl@example.org>")[:3], b"250")
            # On Windows, the path of this mailbox is too long for any file. This must not look like a failure that passes.
            self.assertEqual(client.ask(f"RCPT TO:<{'n' * 240}@example.org>")[:3], b"550")
            client.ok("RSET")
            for _ in range(25):
                self.assertEqual(client.ask(f"MAIL FROM:<carl@example.org> SIZE={10 ** 15}")[:3], b"552")
            client.ok("QUIT")
        for name in "anna", "ben":
            self.assertEqual(self.mailboxes.messages(name), [STORED])

    def test_a_folder_of_mailboxes_that_is_gone_refuses_nobody_for_ever(self):
        folder, away = self.mailboxes.root / "mail", self.mailboxes.root / "away"
        with delivery.Client(self.mailboxes) as client:
            client.ok("LHLO client")
            client.ok("MAIL FROM:<carl@example.org>")
            folder.rename(away)
            self.assertEqual(client.ask("RCPT TO:<anna@example.org>")[:3], b"451")
            away.rename(folder)
            client.ok("RCPT TO:<anna@example.org>")
            folder.rename(away)
        ended = subprocess.run(self.mailboxes.command(), env=self.mailboxes.environment(), stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        self.assertEqual((ended.returncode, ended.stdout), (2, b""))
        self.assertTrue(ended.stderr.startswith(b"lmtpd: there is no folder "), ended.stderr)

    def test_a_failed_delivery_is_traced(self):
        trace = self.mailboxes.root / "trace.log"
        self.mailboxes.variables["NUV_TRACE"] = f"file({self.mailboxes.native(trace)})"
        with delivery.Client(self.mailboxes) as client:
            client.begin("anna", "ben")
            shutil.rmtree(self.mailboxes.root / "mail" / "anna" / "new")
            client.send(sent(MESSAGE))
            self.assertEqual([client.reply()[:3] for _ in range(2)], [b"451", b"250"])
            client.ok("QUIT")
        lines = [line for line in trace.read_text(encoding="utf-8").splitlines() if "cannot deliver" in line]
        self.assertEqual(len(lines), 1, lines)
        self.assertIn("cannot deliver to anna", lines[0])

    def test_all_at_once_and_in_pieces(self):
        wire = (b"LHLO client\r\nMAIL FROM:<carl@example.org>\r\nRCPT TO:<anna@example.org>\r\nRCPT TO:<nobody@x.org>\r\nDATA\r\n"
                + sent(MESSAGE) + b"NOOP\r\nQUIT\r\n")
        for cut in range(0, len(wire), 20 if self.is_emulated() else 1):
            with delivery.Client(self.mailboxes) as client:
                client.send(wire[:cut])
                if cut % 4 == 0:
                    time.sleep(0.002)  # so that the process reads the pieces one by one, most of the time
                client.send(wire[cut:])
                rest, status = client.end()
            codes = [line[:3] for line in rest.split(b"\r\n") if line[3:4] == b" "]
            self.assertEqual((codes, status), ([b"250", b"250", b"250", b"550", b"354", b"250", b"250", b"221"], 0), cut)
            self.assertEqual(self.mailboxes.messages("anna"), [STORED], cut)
            self.mailboxes.clear("anna")

    # What is not delivered

    def test_a_connection_that_ends_early_delivers_nothing(self):
        wire = sent(MESSAGE)
        for cut in range(0, len(wire), 20 if self.is_emulated() else 1):
            with delivery.Client(self.mailboxes).begin("anna", "ben") as client:
                client.send(wire[:cut])
                self.assertEqual(client.end(), (b"", 0), cut)
            self.assertEqual(self.mailboxes.messages("anna") + self.mailboxes.messages("ben"), [], cut)

    def test_a_large_message_is_refused_and_a_smaller_one_is_whole(self):
        for size, code in ((1_000_000, b"250"), (1_000_001, b"552"), (100_000_000, b"552")):
            content = b"Subject: x\r\n\r\n" + b"y" * (size - 16) + b"\r\n"  # one line
            with delivery.Client(self.mailboxes, ["--message-bytes", "1000000"]).begin("anna", "ben") as client:
                client.send(sent(content))
                for _ in range(2):
                    self.assertEqual(client.reply()[:3], code, size)
                client.ok("NOOP")
                if not self.is_emulated():
                    self.assertLess(self.peak(client.process.pid), 60_000 + 600_000 * self.is_sanitized(), "KiB")
            expected = [delivery.RETURN_PATH % b"carl@example.org" + content] if code == b"250" else []
            for user in ("anna", "ben"):
                self.assertTrue(self.mailboxes.messages(user) == expected, (user, size))
                self.mailboxes.clear(user)

    @staticmethod
    def is_sanitized():
        code = Path(support.settings.lmtpd).read_bytes()
        return b"__asan_init" in code or b"__tsan_init" in code

    @staticmethod
    def peak(process):
        for line in Path(f"/proc/{process}/status").read_text().splitlines():
            if line.startswith("VmHWM"):
                return int(line.split()[1])
        raise AssertionError("no size")

    def test_an_endless_command_needs_no_memory(self):
        with delivery.Client(self.mailboxes) as client:
            for _ in range(100):
                client.send(b"X" * 1_000_000)
            self.assertEqual(client.ask(b"\r\n")[:3], b"500")
            client.ok("NOOP")
            if not self.is_emulated():
                self.assertLess(self.peak(client.process.pid), 60_000 + 600_000 * self.is_sanitized(), "KiB")

    def test_a_silent_client_is_left(self):
        for before in (b"", b"LHLO cl"):
            begin = time.monotonic()
            with delivery.Client(self.mailboxes, ["--idle-seconds", "1"]) as client:
                client.send(before)
                self.assertEqual(client.file.read(), b"")
                self.assertEqual(client.process.wait(timeout=30), 0)
            self.assertGreaterEqual(time.monotonic() - begin, 0.9)

    def test_a_disk_that_is_full(self):
        if self.is_emulated():
            return  # Wine has no limit for the size of a file
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20_000, 20_000))
        for size, code in ((30_000, b"451"), (200_000, b"452")):  # the second one fails before it is delivered
            content = b"Subject: x\r\n\r\n" + b"one line of text\r\n" * (size // 18)
            with delivery.Client(self.mailboxes, preexec_fn=limit).begin("anna", "ben") as client:
                client.send(sent(content))
                for _ in range(2):
                    self.assertEqual(client.reply()[:3], code, size)
                self.assertEqual(self.mailboxes.messages("anna") + self.mailboxes.messages("ben"), [])
                client.begin("ben")
                self.assertEqual(client.ask(sent(MESSAGE))[:3], b"250")
            self.assertEqual(self.mailboxes.messages("ben"), [STORED])
            self.mailboxes.clear("ben")

    def test_a_mailbox_that_goes_away(self):
        with delivery.Client(self.mailboxes).begin("anna", "ben") as client:
            (self.mailboxes.root / "mail" / "anna" / "new").rmdir()
            client.send(sent(MESSAGE))
            self.assertEqual([client.reply()[:3] for _ in range(2)], [b"451", b"250"])
        self.assertEqual(self.mailboxes.files("anna", "tmp"), [])
        self.assertEqual(self.mailboxes.messages("ben"), [STORED])

    def test_wrong_arguments(self):
        for arguments in ([], ["--mailboxes"], ["--mailboxes", ""], ["--unknown", "x"], ["--idle-seconds", "0"],
                          ["--message-bytes", "x"]):
            command = self.mailboxes.command()
            done = subprocess.run(command[:command.index("--mailboxes")] + arguments, env=self.mailboxes.environment(),
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
            self.assertEqual((done.returncode, done.stdout, done.stderr.count(b"\n")), (2, b"", 1), (arguments, done.stderr))
            self.assertTrue(done.stderr.startswith(b"lmtpd: "), done.stderr)
        done = subprocess.run(self.mailboxes.command(["--help"]), env=self.mailboxes.environment(), check=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.assertTrue(done.stdout.startswith(b"usage: lmtpd --mailboxes FOLDER"), done.stdout)


support.main()
