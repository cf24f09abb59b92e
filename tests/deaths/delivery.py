#!/usr/bin/env python3
"""Kills processes of lmtpd while they deliver mail: delivery.py LMTPD CLIENTS [EMULATOR]

CLIENTS is the folder of the other tests of lmtpd. A client delivers messages of different sizes to one or two mailboxes,
until the process is killed at a random moment. Half of the processes are killed right after the end of a message, while
it is stored. After each death, every confirmed message must be in its mailboxes, whole and once; a message that was not
confirmed may be there, but whole; and the next process delivers. TUZUTIL_DEATHS and TUZUTIL_DEATHS_SEED have the same
meaning as for deaths.py.
"""

import os
import random
import signal
import sys
import threading
import time

LMTPD, CLIENTS = sys.argv[1:3]
sys.path.insert(0, CLIENTS)
import delivery  # pylint: disable=wrong-import-position
import support  # pylint: disable=wrong-import-position

USERS = ("anna", "ben")


def message(number, size):
    return b"Subject: %d\r\n\r\n.dots\r\n" % number + b"text of this message\r\n" * (size // 22)


class Sender(threading.Thread):
    """Delivers messages until the process dies. The event `ending` is set when the end of a message is sent."""

    def __init__(self, client, chance, first):
        super().__init__()
        self.client, self.chance, self.number = client, chance, first
        self.ending = threading.Event()
        self.confirmed, self.unconfirmed = [], []  # pairs of a user and a message
        self.fault = None

    def run(self):
        try:
            while True:
                content = message(self.number, self.chance.choice((10, 3000, 30_000, 200_000)))
                self.number += 1
                users = self.chance.choice((("anna",), ("ben",), USERS))
                self.client.begin(*users)
                wire = content.replace(b"\r\n.", b"\r\n..")
                self.client.send(wire)
                self.unconfirmed = [(user, delivery.RETURN_PATH % b"carl@example.org" + content) for user in users]
                self.client.send(b".\r\n")
                self.ending.set()
                for user in users:
                    answer = self.client.reply()
                    if not answer.startswith(b"250"):
                        self.fault = answer
                        return
                    self.confirmed.append(self.unconfirmed.pop(0))
        except (OSError, EOFError, ValueError):
            pass  # the process has been killed
        except AssertionError as problem:
            self.fault = repr(problem)


def main():
    support.settings.lmtpd, support.settings.emulator = LMTPD, (sys.argv[3:4] or [None])[0]
    is_emulated = support.settings.emulator is not None
    deaths = int(os.environ.get("TUZUTIL_DEATHS", "10" if is_emulated else "40"))
    seed = int(os.environ.get("TUZUTIL_DEATHS_SEED", time.time_ns() % 1_000_000_007))
    chance = random.Random(seed)
    print(f"{deaths} deaths, seed {seed}")
    mailboxes = delivery.Mailboxes(USERS)
    counts = {"while a message was stored": 0, "at another moment": 0}
    left_over, number = 0, 0
    try:
        for death in range(deaths):
            client = delivery.Client(mailboxes, start_new_session=True)
            sender = Sender(client, random.Random(chance.random()), number)
            sender.start()
            if death % 2 == 0:
                assert sender.ending.wait(60), f"death {death}: no message was sent"
                time.sleep(chance.uniform(0, 0.002))
            else:
                time.sleep(chance.uniform(0, 0.1 if is_emulated else 0.02))
            os.killpg(client.process.pid, signal.SIGKILL)
            sender.join(60)
            where = f"death {death}"
            assert not sender.is_alive(), f"{where}: the client waits for a dead process"
            client.close()
            assert sender.fault is None, f"{where}: {sender.fault}"
            number = sender.number
            counts["while a message was stored" if sender.unconfirmed else "at another moment"] += 1
            for user in USERS:
                seen = [path.read_bytes() for path in mailboxes.files(user)]
                wanted = [text for who, text in sender.confirmed if who == user]
                possible = wanted + [text for who, text in sender.unconfirmed if who == user]
                assert len(set(seen)) == len(seen), f"{where}: {user} has a message twice"
                missing = [text[:50] for text in wanted if text not in seen]
                assert not missing, f"{where}: {user} has lost {missing}"
                strange = [(len(text), text[:50]) for text in seen if text not in possible]
                assert not strange, f"{where}: {user} has {strange}"
                mailboxes.clear(user)
                left_over += len(mailboxes.files(user, "tmp"))
                for path in mailboxes.files(user, "tmp"):  # a killed process cannot remove what it was writing
                    path.unlink()
            if death % 10 == 9:
                check(mailboxes)
        check(mailboxes)
        print(", ".join(f"{count} {when}" for when, count in counts.items()) + f"; {left_over} unfinished files")
        assert deaths < 200 or counts["while a message was stored"] * 10 >= deaths, "the deaths do not come at the right moment"
    finally:
        mailboxes.remove()


def check(mailboxes):
    """A new process delivers."""
    with delivery.Client(mailboxes).begin(*USERS) as client:
        client.send(b"Subject: check\r\n.\r\n")
        for user in USERS:
            assert client.reply().startswith(b"250"), user
        client.ok("QUIT")
        assert client.end() == (b"", 0)
    for user in USERS:
        assert mailboxes.messages(user) == [delivery.RETURN_PATH % b"carl@example.org" + b"Subject: check\r\n"], user
        mailboxes.clear(user)


main()
