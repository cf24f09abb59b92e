"""curl: every login, and every sample byte for byte."""

import subprocess
import unittest

import support


class Curl(unittest.TestCase):
    def setUp(self):
        self.server = support.Server()
        self.stored = self.server.put_samples("anna")

    def tearDown(self):
        self.server.remove()

    def curl(self, path, *options, secret="secret of anna"):
        return subprocess.run(
            ["curl", "--silent", "--show-error", "--max-time", "60", "--user", f"anna:{secret}", *options,
             f"pop3://127.0.0.1:{self.server.port}/{path}"], capture_output=True, check=False)

    def fetch_all(self, *options):
        self.server.start()
        for number, message in enumerate(self.stored, 1):
            result = self.curl(number, *options)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(result.stdout, support.seen_by_client(message), number)

    def test_user_and_pass(self):
        # curl takes it only from a server that offers nothing better.
        self.server.options = ["--logins", "user"]
        self.fetch_all()

    def test_apop(self):
        self.fetch_all("--login-options", "AUTH=+APOP")

    def test_cram_md5(self):
        self.fetch_all("--login-options", "AUTH=CRAM-MD5")

    def test_plain(self):
        self.fetch_all("--login-options", "AUTH=PLAIN")

    def test_the_login_that_it_chooses_itself(self):
        self.fetch_all()

    def test_listing(self):
        self.server.start()
        result = self.curl("")
        expected = "".join(f"{number} {len(support.seen_by_client(message))}\r\n"
                           for number, message in enumerate(self.stored, 1))
        self.assertEqual(result.stdout.decode(), expected)

    def test_a_wrong_password_is_refused(self):
        self.server.start()
        for login in ("AUTH=+APOP", "AUTH=CRAM-MD5", "AUTH=PLAIN"):
            self.assertEqual(self.curl(1, "--login-options", login, secret="wrong").returncode, 67, login)


support.main()
