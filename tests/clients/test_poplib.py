"""Python's poplib: every command of the protocol, and every login."""

import hashlib
import hmac
import base64
import poplib
import unittest

import support

poplib._MAXLINE = 1 << 20  # the samples hold long lines


class Poplib(unittest.TestCase):
    def setUp(self):
        self.server = support.Server()
        self.stored = self.server.put_samples("anna")
        self.server.start()
        self.seen = [support.seen_by_client(message) for message in self.stored]

    def tearDown(self):
        self.server.remove()

    def login(self):
        client = poplib.POP3("127.0.0.1", self.server.port, timeout=30)
        client.user("anna")
        client.pass_("secret of anna")
        return client

    @staticmethod
    def content(answer):
        return b"".join(line + b"\r\n" for line in answer[1])

    def test_every_message_is_fetched_byte_for_byte(self):
        client = self.login()
        for number, expected in enumerate(self.seen, 1):
            self.assertEqual(self.content(client.retr(number)), expected, number)
        client.quit()

    def test_sizes_are_those_of_the_messages_as_sent(self):
        client = self.login()
        self.assertEqual(client.stat(), (len(self.seen), sum(map(len, self.seen))))
        listed = [tuple(map(int, line.split())) for line in client.list()[1]]
        self.assertEqual(listed, [(number, len(message)) for number, message in enumerate(self.seen, 1)])
        self.assertEqual(client.list(2).split()[1:], [b"2", str(len(self.seen[1])).encode()])
        client.quit()

    def test_uids_are_unique_and_stay(self):
        client = self.login()
        uids = [line.split()[1] for line in client.uidl()[1]]
        self.assertEqual(len(set(uids)), len(self.stored))
        self.assertEqual(client.uidl(3).split()[2], uids[2])
        client.dele(1)
        client.quit()
        client = self.login()
        self.assertEqual([line.split()[1] for line in client.uidl()[1]], uids[1:])
        client.quit()

    def test_top_sends_the_header_and_the_lines_asked_for(self):
        client = self.login()
        for number, message in enumerate(self.seen, 1):
            head, blank, body = message.partition(b"\r\n\r\n")
            lines = body.split(b"\r\n")[:-1]
            for count in (0, 1, 5, 1000):
                expected = head + blank + b"".join(line + b"\r\n" for line in lines[:count])
                self.assertEqual(self.content(client.top(number, count)), expected, (number, count))
        client.quit()

    def test_messages_are_deleted_at_quit_only(self):
        before = self.server.names("anna")
        client = self.login()
        client.dele(1)
        client.dele(3)
        self.assertEqual(client.stat()[0], len(before) - 2)
        with self.assertRaises(poplib.error_proto):
            client.retr(1)
        with self.assertRaises(poplib.error_proto):
            client.dele(1)
        self.assertEqual([int(line.split()[0]) for line in client.list()[1]][:2], [2, 4])
        client.rset()
        self.assertEqual(client.stat()[0], len(before))
        client.dele(2)
        self.assertEqual(self.server.names("anna"), before)
        client.quit()
        self.assertEqual(self.server.names("anna"), before[:1] + before[2:])

    def test_apop(self):
        client = poplib.POP3("127.0.0.1", self.server.port, timeout=30)
        self.assertIn(b"messages", client.apop("anna", "secret of anna"))
        client.quit()
        client = poplib.POP3("127.0.0.1", self.server.port, timeout=30)
        with self.assertRaises(poplib.error_proto):
            client.apop("anna", "wrong")
        client.quit()

    def test_capabilities(self):
        client = poplib.POP3("127.0.0.1", self.server.port, timeout=30)
        capabilities = client.capa()
        for name in ("TOP", "USER", "UIDL", "PIPELINING"):
            self.assertIn(name, capabilities)
        self.assertEqual(capabilities["SASL"], ["CRAM-MD5", "PLAIN"])
        client.quit()

    def test_logins_that_are_not_offered_are_refused(self):
        server = support.Server(options=["--logins", "cram-md5"]).start()
        with server.connect() as client:
            self.assertNotIn(b"<", client.greeting)
            client.ok("CAPA")
            self.assertEqual([line for line in client.body() if line.startswith((b"USER", b"SASL"))], [b"SASL CRAM-MD5"])
            for command in ("USER anna", "APOP anna 0123456789abcdef", "AUTH PLAIN", "AUTH XYZZY", "AUTH"):
                self.assertTrue(client.ask(command).startswith(b"-ERR"), command)
            self.assertTrue(self.cram(client, "anna", "secret of anna").startswith(b"+OK"))
        server.remove()

    def cram(self, client, user, secret):
        answer = client.ask("AUTH CRAM-MD5")
        self.assertTrue(answer.startswith(b"+ "), answer)
        challenge = base64.b64decode(answer[2:], validate=True)
        digest = hmac.new(secret.encode(), challenge, hashlib.md5).hexdigest()
        return client.ask(base64.b64encode(f"{user} {digest}".encode()).decode())

    def test_cram_md5(self):
        with self.server.connect() as client:
            self.assertTrue(self.cram(client, "anna", "wrong").startswith(b"-ERR [AUTH]"))
            self.assertTrue(self.cram(client, "nobody", "secret of anna").startswith(b"-ERR [AUTH]"))
            self.assertTrue(client.ask("AUTH CRAM-MD5").startswith(b"+ "))
            self.assertTrue(client.ask("*").startswith(b"-ERR"))
            self.assertTrue(client.ask("AUTH CRAM-MD5").startswith(b"+ "))
            self.assertTrue(client.ask("!!! not base64 !!!").startswith(b"-ERR"))
            self.assertTrue(self.cram(client, "anna", "secret of anna").startswith(b"+OK"))
            client.ok("STAT")
            client.ok("QUIT")

    def test_plain(self):
        def response(text):
            return base64.b64encode(text.encode()).decode()

        with self.server.connect() as client:
            for wrong in ("\0anna\0wrong", "\0nobody\0secret of anna", "ben\0anna\0secret of anna", "anna\0secret of anna",
                          "\0anna\0secret of anna\0", "\0\0secret of anna", "\0anna"):
                self.assertTrue(client.ask("AUTH PLAIN " + response(wrong)).startswith(b"-ERR [AUTH]"), wrong)
            self.assertTrue(client.ask("AUTH PLAIN =").startswith(b"-ERR"))
            self.assertTrue(client.ask("AUTH PLAIN ====").startswith(b"-ERR"))
            self.assertTrue(client.ask("AUTH PLAIN").startswith(b"+ "))
            self.assertTrue(client.ask(response("anna\0anna\0secret of anna")).startswith(b"+OK"))
            client.ok("QUIT")

    def test_wrong_passwords_and_orders_are_refused(self):
        with self.server.connect() as client:
            self.assertTrue(client.ask("PASS secret of anna").startswith(b"-ERR"))
            self.assertTrue(client.ask("USER").startswith(b"-ERR"))
            client.ok("USER anna")
            self.assertTrue(client.ask("PASS wrong").startswith(b"-ERR [AUTH]"))
            client.ok("USER nobody")
            self.assertTrue(client.ask("PASS secret of anna").startswith(b"-ERR [AUTH]"))
            self.assertTrue(client.ask("STAT").startswith(b"-ERR"))
            self.assertTrue(client.ask("XYZZY").startswith(b"-ERR"))
            self.assertTrue(client.ask("").startswith(b"-ERR"))
            client.login()
            self.assertTrue(client.ask("USER anna").startswith(b"-ERR"))
            for command in ("RETR", "RETR 0", "RETR 999", "RETR -1", "RETR x", "RETR 99999999999999999999", "DELE 0", "TOP 1",
                            "TOP 1 -1", "TOP 1 x", "LIST 999", "UIDL 0"):
                self.assertTrue(client.ask(command).startswith(b"-ERR"), command)
            client.ok("noop")
            client.ok("QUIT")

    def test_a_mailbox_belongs_to_one_session_at_a_time(self):
        with self.server.connect() as first, self.server.connect() as second:
            first.login()
            second.ok("USER anna")
            self.assertTrue(second.ask("PASS secret of anna").startswith(b"-ERR [IN-USE]"))
            first.ok("QUIT")
            second.login()
            second.ok("QUIT")


support.main()
