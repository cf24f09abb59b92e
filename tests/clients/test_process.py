"""The server as a program: its options, its messages, its end, its memory."""

import os
import subprocess
import unittest

import support


def run(server, *arguments):
    result = subprocess.run(server.command(arguments), capture_output=True, timeout=60, check=False, stdin=subprocess.DEVNULL)
    return result.returncode, (result.stdout + result.stderr).decode().replace("\r\n", "\n")


class Process(unittest.TestCase):
    def test_bad_options_are_named_in_one_line(self):
        server = support.Server()
        rows = [
            ((), '--users is missing (--help tells more)'),
            (("--nonsense",), 'unknown option "--nonsense" (--help lists them)'),
            (("--users",), "--users needs a value"),
            (("--port", "65536"), '--port cannot be "65536"'),
            (("--port", "12x"), '--port cannot be "12x"'),
            (("--logins", "user,x"), '--logins cannot be "user,x"'),
            (("--logins", ""), '--logins cannot be ""'),
            (("--idle-seconds", "0"), '--idle-seconds cannot be "0"'),
            (("--login-seconds", "0"), '--login-seconds cannot be "0"'),
            (("--failure-milliseconds", "60001"), '--failure-milliseconds cannot be "60001"'),
            (("--sessions", "0"), '--sessions cannot be "0"'),
            (("--unauthenticated", "0"), '--unauthenticated cannot be "0"'),
            (("--per-address", "-1"), '--per-address cannot be "-1"'),
            (("--message-bytes", "0"), '--message-bytes cannot be "0"'),
            (("--bytes-per-second", "fast"), '--bytes-per-second cannot be "fast"'),
            (("--users", "missing-file"), 'cannot read the users file "missing-file"'),
        ]
        for arguments, problem in rows:
            self.assertEqual(run(server, *arguments), (2, f"pop3d: {problem}\n"))
        server.remove()

    def test_help(self):
        server = support.Server()
        status, text = run(server, "--help")
        self.assertEqual(status, 0)
        self.assertTrue(text.startswith("usage: pop3d --users FILE"))
        server.remove()

    def test_a_bad_users_file_is_named_in_one_line(self):
        server = support.Server()
        path = server.root / "bad"
        name = server.native(path)
        missing = server.native(server.root / "nowhere")
        rows = [
            ("", "no user"),
            ("# comment\n\n", "no user"),
            ("anna:secret\n", 'line 1 is not "name:secret:mailbox"'),
            (":secret:mailbox\n", 'line 1 is not "name:secret:mailbox"'),
            (f"anna:secret:{missing}\n", f'line 1: user "anna" has no mailbox at "{missing}"'),
            (f"anna:a:{server.native(server.root)}\r\nanna:b:{server.native(server.root)}\n", 'line 2: user "anna" is listed twice'),
        ]
        for text, problem in rows:
            path.write_text(text, newline="")
            self.assertEqual(run(server, "--users", name), (2, f'pop3d: users file "{name}": {problem}\n'))
        server.remove()

    def test_a_port_in_use_is_named_in_one_line(self):
        with support.Server() as server:
            users = server.native(server.root / "users")
            self.assertEqual(
                run(server, "--users", users, "--port", str(server.port)),
                (2, f"pop3d: cannot listen on 127.0.0.1 port {server.port}: the port is in use\n"))
            self.assertEqual(run(server, "--users", users, "--listen", "nowhere"), (2, 'pop3d: "nowhere" is no IPv4 address\n'))

    def test_an_interrupt_ends_it_cleanly_with_sessions_open(self):
        server = support.Server().start()
        client = server.connect().login()
        self.assertEqual(server.stop(), 0, server.read_output())
        self.assertIn("pop3d: stopped\n", server.read_output())
        self.assertEqual(client.file.read(), b"")
        client.close()
        server.remove()

    def test_a_large_message_takes_no_more_memory_than_a_small_one(self):
        peaks = []
        for size in (1 << 10, 64 << 20):
            with support.Server() as server:
                message = support.big_message(size)
                server.put("anna", "1", message)
                with server.connect() as client:
                    client.login()
                    client.ok("RETR 1")
                    self.assertEqual(client.content(), support.seen_by_client(message))
                    client.ok("QUIT")
                peaks.append(server.peak_kib())
        print(f"peak resident size: {peaks[0]} KiB for 1 KiB, {peaks[1]} KiB for 64 MiB")
        self.assertLess(peaks[1] - peaks[0], 8 << 10)


support.main()
