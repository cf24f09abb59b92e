"""mpop delivering everything into a maildir of its own."""

import subprocess
import tempfile
import unittest
from pathlib import Path

import support


class Mpop(unittest.TestCase):
    def deliver(self, auth):
        with support.Server() as server, tempfile.TemporaryDirectory() as folder:
            # mpop ends a line at a NUL byte of its own accord; that sample is the other clients'.
            stored = [message for message in map(Path.read_bytes, sorted(support.SAMPLES.glob("*.eml"))) if b"\0" not in message]
            for number, message in enumerate(stored):
                server.put("anna", f"{number:02}", message)
            maildir = Path(folder) / "maildir"
            for name in ("new", "cur", "tmp"):
                (maildir / name).mkdir(parents=True)
            config = Path(folder) / "mpoprc"
            config.write_text(
                f"account default\nhost 127.0.0.1\nport {server.port}\nuser anna\npassword secret of anna\n"
                f"auth {auth}\ntls off\nkeep off\nreceived_header off\nuidls_file {folder}/uidls\ndelivery maildir {maildir}\n")
            config.chmod(0o600)
            result = subprocess.run(["mpop", "-C", str(config), "-Q"], capture_output=True, text=True, timeout=60, check=False)
            self.assertEqual(result.returncode, 0, result.stderr)
            delivered = sorted(path.read_bytes() for path in (maildir / "new").iterdir())
            expected = sorted(support.seen_by_client(message).replace(b"\r\n", b"\n") for message in stored)
            self.assertEqual(delivered, expected)
            self.assertEqual(server.names("anna"), [])

    def test_user(self):
        self.deliver("user")

    def test_apop(self):
        self.deliver("apop")

    def test_cram_md5(self):
        self.deliver("cram-md5")


support.main()
