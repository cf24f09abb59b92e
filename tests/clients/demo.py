"""A mail session for people to read: the sample mailbox, fetched by curl and by poplib."""

import argparse
import hashlib
import poplib
import subprocess
import sys

import support

poplib._MAXLINE = 1 << 20


def show(sender, text):
    print(f"  {sender}: {text}")


class ShownClient(poplib.POP3):
    """poplib, with what it says and hears on the screen."""

    def _putcmd(self, line):
        show("C", line if not line.startswith("PASS") else "PASS ******")
        super()._putcmd(line)

    def _getresp(self):
        answer = super()._getresp()
        show("S", answer.decode(errors="replace"))
        return answer


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--server", required=True)
    parser.add_argument("--emulator", default=None)
    options = parser.parse_args()
    support.settings.server = options.server
    support.settings.emulator = options.emulator

    server = support.Server(trace="file({root}/trace.log),al,Protocol")
    stored = server.put_samples("anna")
    stored.append(support.big_message(5 << 20))
    server.put("anna", "99-five-mebibytes", stored[-1])
    seen = [support.seen_by_client(message) for message in stored]
    wrong = []
    with server:
        print(f"A server listens on 127.0.0.1 port {server.port}; the mailbox holds {len(stored)} messages.\n\nPython's poplib:")
        client = ShownClient("127.0.0.1", server.port, timeout=60)
        show("S", client.getwelcome().decode())
        client.apop("anna", "secret of anna")
        client.stat()
        for number, expected in enumerate(seen, 1):
            content = b"".join(line + b"\r\n" for line in client.retr(number)[1])
            show(" ", f"{len(content)} bytes, MD5 {hashlib.md5(content).hexdigest()}: "
                 + ("as expected" if content == expected else "DIFFERENT"))
            if content != expected:
                wrong.append(f"poplib, message {number}")
        client.top(1, 2)
        client.quit()

        print("\ncurl:")
        for login in ("AUTH=PLAIN", "AUTH=+APOP", "AUTH=CRAM-MD5"):
            for number, expected in enumerate(seen, 1):
                result = subprocess.run(
                    ["curl", "--silent", "--show-error", "--max-time", "60", "--user", "anna:secret of anna",
                     "--login-options", login, f"pop3://127.0.0.1:{server.port}/{number}"], capture_output=True, check=False)
                if result.returncode != 0 or result.stdout != expected:
                    wrong.append(f"curl, {login}, message {number}: {result.stderr.decode(errors='replace')}")
            show(login, f"{len(seen)} messages fetched")

        print("\nDeleting the first message:")
        client = ShownClient("127.0.0.1", server.port, timeout=60)
        client.user("anna")
        client.pass_("secret of anna")
        client.dele(1)
        client.quit()
        if len(server.names("anna")) != len(stored) - 1:
            wrong.append("the first message is still there")
        print()
        if server.stop() != 0:
            wrong.append("the server did not end cleanly")
        print(server.read_output(), end="")

        trace = (server.root / "trace.log").read_text(encoding="utf-8", errors="replace").splitlines()
        print(f"\nThe server's trace of all this, NUV_TRACE={server.trace}: {len(trace)} lines, which end so:")
        for line in trace[-12:]:
            print("  " + line)
        print()
        if not any("anna logged in" in line for line in trace) or any("secret" in line for line in trace):
            wrong.append("the trace does not tell of the sessions, or tells too much")

    for problem in wrong:
        print("WRONG:", problem)
    if wrong:
        sys.exit(1)
    print(f"All {len(seen)} messages arrived byte for byte, by poplib and by curl with three logins.")


main()
