"""The server's languages: people read theirs, programs read the protocol's words in each."""

import poplib
import re
import subprocess
import unittest

import support

poplib._MAXLINE = 1 << 20

EXAMPLE = support.SAMPLES.parent

# What the same session says in each language.
ENGLISH = {
    "greeting": "+OK tuzutil pop3d ready <", "name": "+OK now the password",
    "wrong": "-ERR [AUTH] wrong name or password", "count": "+OK 10 messages", "unknown": "-ERR unknown command",
    "capabilities": "+OK capabilities follow", "deleted": "+OK marked as deleted",
    "reset": "+OK nothing is marked as deleted", "missing": "-ERR no such message", "list": "+OK listing follows",
    "message": "+OK message follows", "in use": "-ERR [IN-USE] another session has the mailbox", "bye": "+OK goodbye",
    "listening": "pop3d: listening on 127.0.0.1 port {}\n", "stopped": "pop3d: stopped\n",
}
GERMAN = {
    "greeting": "+OK tuzutil pop3d bereit <", "name": "+OK jetzt das Passwort",
    "wrong": "-ERR [AUTH] Name oder Passwort falsch", "count": "+OK Anzahl der Nachrichten: 10",
    "unknown": "-ERR unbekannter Befehl", "capabilities": "+OK es folgen die Fähigkeiten",
    "deleted": "+OK zum Löschen vorgemerkt", "reset": "+OK nichts ist mehr zum Löschen vorgemerkt",
    "missing": "-ERR diese Nachricht gibt es nicht", "list": "+OK es folgt die Liste",
    "message": "+OK es folgt die Nachricht",
    "in use": "-ERR [IN-USE] das Postfach ist in einer anderen Sitzung geöffnet", "bye": "+OK auf Wiedersehen",
    "listening": "pop3d: nimmt Verbindungen an auf 127.0.0.1, Port {}\n", "stopped": "pop3d: beendet\n",
}


def run(server, *arguments):
    result = subprocess.run(server.command(arguments), capture_output=True, timeout=60, check=False, stdin=subprocess.DEVNULL)
    return result.returncode, (result.stdout + result.stderr).decode().replace("\r\n", "\n")


class Languages(unittest.TestCase):
    def session(self, options, texts):
        server = support.Server(options=options)
        stored = server.put_samples("anna")
        server.start()
        port = server.port

        def says(client, command, key):
            self.assertEqual(client.ask(command).decode(), texts[key], command)

        with server.connect() as client, server.connect() as other:
            greeting = client.greeting.decode()
            self.assertEqual(greeting[:len(texts["greeting"])], texts["greeting"])
            says(client, "XYZZY", "unknown")
            says(client, "CAPA", "capabilities")
            self.assertEqual(client.body(), [
                b"TOP", b"UIDL", b"PIPELINING", b"RESP-CODES", b"USER", b"SASL CRAM-MD5 PLAIN",
                b"IMPLEMENTATION tuzutil-pop3d"])
            says(client, "USER anna", "name")
            says(client, "PASS wrong", "wrong")
            says(client, "USER anna", "name")
            says(client, "PASS secret of anna", "count")
            other.ask("USER anna")
            says(other, "PASS secret of anna", "in use")
            says(client, "LIST", "list")
            self.assertEqual(len(client.body()), len(stored))
            for number, message in enumerate(stored, 1):
                says(client, f"RETR {number}", "message")
                self.assertEqual(client.content(), support.seen_by_client(message), number)
            says(client, "RETR 11", "missing")
            says(client, "DELE 1", "deleted")
            says(client, "RSET", "reset")
            says(client, "QUIT", "bye")
            says(other, "QUIT", "bye")
        self.assertEqual(server.stop(), 0)
        output = server.read_output()
        server.remove()
        self.assertEqual(output, texts["listening"].format(port) + texts["stopped"])

    def test_english_is_spoken_by_default(self):
        self.session([], ENGLISH)

    def test_german_is_spoken_where_it_is_wanted(self):
        self.session(["--language", "German"], GERMAN)

    def test_a_language_without_texts_is_english(self):
        self.session(["--language", "Volapük"], ENGLISH)

    def test_a_client_fetches_in_german(self):
        server = support.Server(options=["--language", "German"])
        stored = server.put_samples("anna")
        with server:
            client = poplib.POP3("127.0.0.1", server.port, timeout=30)
            client.apop("anna", "secret of anna")
            for number, message in enumerate(stored, 1):
                content = b"".join(line + b"\r\n" for line in client.retr(number)[1])
                self.assertEqual(content, support.seen_by_client(message), number)
            client.quit()

    def test_errors_are_told_in_the_language(self):
        server = support.Server()
        rows = [
            (("--language", "German"), "--users fehlt (--help erklärt mehr)"),
            (("--nonsense", "--language", "German"), "unbekannte Option „--nonsense“ (--help nennt alle)"),
            (("--language", "German", "--port", "x"), "--port kann nicht „x“ sein"),
            (("--language", "German", "--users", "missing"), "die Benutzerdatei „missing“ kann nicht gelesen werden"),
            (("--language",), "--language needs a value"),
            (("--language", ""), '--language cannot be ""'),
        ]
        for arguments, problem in rows:
            self.assertEqual(run(server, *arguments), (2, f"pop3d: {problem}\n"))
        path = server.root / "bad"
        name = server.native(path)
        path.write_text("anna:secret\n")
        self.assertEqual(
            run(server, "--language", "German", "--users", name),
            (2, f"pop3d: Benutzerdatei „{name}“: Zeile 1 hat nicht die Form „Name:Geheimnis:Postfach“\n"))
        server.remove()

    def test_help_is_given_in_the_language(self):
        server = support.Server()
        for arguments, first, last in (
                (("--help",), "usage: pop3d --users FILE [options]", "  --help               shows this"),
                (("--language", "German", "--help"), "Aufruf: pop3d --users DATEI [Optionen]",
                 "  --help               zeigt dies")):
            status, text = run(server, *arguments)
            lines = text.splitlines()
            self.assertEqual((status, lines[0], lines[-2], len(lines)), (0, first, last, 19))
        server.remove()

    def test_every_text_is_translated(self):
        english = re.findall(r"\{\s*(\d+),", (EXAMPLE / "Texts.h").read_text(encoding="utf-8"))
        german = re.findall(r'^ *(\d+) +"', (EXAMPLE / "German.rc").read_text(encoding="utf-8"), re.MULTILINE)
        self.assertGreater(len(english), 50)
        self.assertEqual(german, english)


support.main()
