#!/usr/bin/env python3
"""What the server traces, and where to: all of it by the environment alone."""

import json
import re
import subprocess
import unittest

import support


def session(server):
    """Two log-ins, one of them wrong, and a command that does not exist; then the server ends."""
    with server.connect() as client:
        client.ok("USER anna")
        assert client.ask("PASS a wrong secret").startswith(b"-ERR")
        client.login()
        client.ask("XYZZY more secrets")
        client.ok("QUIT")
    assert server.stop() == 0


def expected(greeting):
    return ["session begins", greeting,
            "C: USER", "S: +OK now the password", "C: PASS", "S: -ERR [AUTH] wrong name or password",
            "C: USER", "S: +OK now the password", "C: PASS", "anna logged in, 0 messages", "S: +OK 0 messages",
            "S: -ERR unknown command", "C: QUIT", "S: +OK goodbye", "session ends"]


class Trace(unittest.TestCase):
    def run_session(self, trace):
        server = support.Server(trace=trace).start()
        self.addCleanup(server.remove)
        session(server)
        return server

    def read(self, server, name):
        data = (server.root / name).read_bytes()
        self.assertTrue(data.endswith(b"\n"))
        text = data.decode().replace("\r\n", "\n")
        self.assertNotIn("secret", text)
        return text.splitlines()

    def check(self, texts):
        greetings = [text for text in texts if "tuzutil pop3d ready" in text]
        self.assertEqual(len(greetings), 1)
        self.assertEqual(texts, expected(greetings[0]))

    def test_standard_error_gets_short_records(self):
        server = self.run_session("stderr,al,Protocol,0,Pop3Session")
        lines = [line for line in server.read_output().splitlines() if not line.startswith("pop3d: ")]
        for line in lines:
            self.assertRegex(line, r"^[A-Za-z0-9*<>?] \[(?:Session|Logins)\.cpp:\d+\] ")
        self.check([line.split("] ", 1)[1] for line in lines])

    def test_files_get_records_with_time_and_thread(self):
        for keyword, prefix in (("file", r"[0-9A-F]{8}"), ("shfile", r"[0-9A-F]{8}:[0-9A-F]{8}")):
            server = self.run_session(keyword + "({root}/trace.log),al,Protocol,0,Pop3Session")
            lines = self.read(server, "trace.log")
            for line in lines:
                self.assertRegex(line, r"^\d\d/\d\d-\d\d:\d\d:\d\d\.\d\d " + prefix + r" \S \[(?:Session|Logins)\.cpp:\d+\] ")
            self.check([line.split("] ", 1)[1] for line in lines])

    def test_without_selection_sessions_are_quiet(self):
        server = self.run_session("file({root}/trace.log)")
        self.assertFalse([line for line in (server.root / "trace.log").read_text().splitlines() if "C: " in line])

    def test_json_lines_are_valid_and_tell_the_same(self):
        server = self.run_session("json[tracejson]({root}/trace.json),al,Protocol,0,Pop3Session")
        records = [json.loads(line) for line in self.read(server, "trace.json")]
        for record in records:
            self.assertEqual(list(record), ["time", "level", "component", "category", "file", "line", "text"])
            self.assertRegex(record["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
            self.assertEqual((record["component"], record["category"]), ("Protocol", "Pop3Session"))
            self.assertIsInstance(record["line"], int)
            self.assertEqual(len(record["level"]), 1)
        self.check([record["text"] for record in records])

    def test_json_keeps_every_byte_that_a_client_sends_harmless(self):
        server = support.Server(trace="json[tracejson]({root}/trace.json),al,Protocol").start()
        self.addCleanup(server.remove)
        with server.connect() as client:
            for hostile in (b'USER "quoted\\', b"USER \xff\xfe\xc3", b"USER \xed\xa0\x80 \xf4\x90\x80\x80 \xc0\x80",
                            b"USER \x01\x02\t\x1b[31m\x7f", "USER \u00e4\u20ac\U0001F600".encode()):
                client.socket.sendall(hostile + b"\r\nPASS x\r\n")
                client.file.readline()
                client.file.readline()
            client.ok("QUIT")
        server.stop()
        for line in (server.root / "trace.json").read_bytes().splitlines():
            json.loads(line.decode())

    def rotate(self, size_and_kept, selection, sessions):
        """Runs sessions that are traced to a rotating file; returns the server, which has ended."""
        server = support.Server(trace="rotate[tracerotate]({root}/trace.log;" + f"{size_and_kept}),{selection}").start()
        self.addCleanup(server.remove)
        for _ in range(sessions):
            with server.connect() as client:
                client.login()
                client.ok("QUIT")
        server.stop()
        return server

    def test_a_rotating_file_keeps_every_record_whole(self):
        server = self.rotate("1000;400", "al,Protocol,0,Pop3Session", 30)
        files = sorted(server.root.glob("trace.log.*"), key=lambda path: -int(path.suffix[1:])) + [server.root / "trace.log"]
        self.assertGreater(len(files), 5)
        lines = []
        for path in files:
            data = path.read_bytes()
            self.assertLessEqual(len(data), 1000)
            self.assertTrue(data.endswith(b"\n"))
            lines += data.decode().splitlines()
        texts = [re.fullmatch(r"[0-9/:.-]+ [0-9A-F]{8} \S \[(?:Session|Logins)\.cpp:\d+\] (.*)", line)[1] for line in lines]
        self.assertEqual(texts.count("session begins"), 30)
        self.assertEqual(texts.count("anna logged in, 0 messages"), 30)
        self.assertEqual(texts.count("session ends"), 30)

    def test_a_rotating_file_forgets_the_oldest(self):
        server = self.rotate("500;2", "al,Protocol", 20)
        self.assertEqual(sorted(path.name for path in server.root.glob("trace.log*")),
                         ["trace.log", "trace.log.1", "trace.log.2"])

    def test_a_rotating_file_without_older_ones_begins_again(self):
        server = self.rotate("500;0", "al,Protocol", 20)
        self.assertEqual([path.name for path in server.root.glob("trace.log*")], ["trace.log"])
        self.assertLessEqual((server.root / "trace.log").stat().st_size, 500)

    def test_a_kind_that_nobody_supplies_is_not_traced(self):
        server = self.run_session("nosuchkind({root}/trace.log),al")
        self.assertFalse((server.root / "trace.log").exists())

    def test_a_faulty_configuration_is_told(self):
        server = support.Server()
        self.addCleanup(server.remove)
        users = server.native(server.write_users())
        for trace, problem in (("stderr,zz", "Unknown level specified"), ("stderr,er,Game,7", "Invalid default specified"),
                               ("kind[]", "No dll name found")):
            environment = {**support.os.environ, "NUV_TRACE": trace}
            result = subprocess.run(server.command(["--users", users]), stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                    timeout=60, check=False, env=environment)
            self.assertEqual((result.returncode, result.stdout.decode().replace("\r\n", "\n")),
                             (2, f"pop3d: NUV_TRACE: {problem}\n"))


support.main()
