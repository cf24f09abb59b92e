#!/usr/bin/env python3
"""Makes each call of lmtpd fail.

A process of lmtpd delivers a message to two mailboxes. In the first process the first call of the system fails, in the
second one the second call, and so on, until a process makes fewer calls. The calls are made to fail in four ways: one
call alone, a call and all later ones, one call that moves half of its bytes, and on Linux one call that a signal
interrupts.

After the last two, the client must not notice anything. After the first two, it may get an error, or no answer, but:
- no error is for ever, because the client would return the message to its sender;
- a mailbox for which the delivery was confirmed has the whole message;
- no mailbox has a part of the message, or has it twice;
- nothing is left in "tmp", unless the call that removes it failed;
- the next process works.
"""

from refused import ERROR, KINDS, delivery, preload, support

USERS = ("anna", "ben")
CONTENT = support.big_message(100_000).replace(b"\n", b"\r\n")  # so large that it goes through a temporary file
STORED = delivery.RETURN_PATH % b"carl@example.org" + CONTENT


def session(mailboxes):
    """Delivers the message. Returns the users for whom this was confirmed, and the status of the process."""
    confirmed = []
    try:
        client = delivery.Client(mailboxes)
    except EOFError:
        return confirmed, 0  # no greeting; the constructor has read to the end
    with client:
        try:
            client.begin(*USERS)
            client.send(b"".join(b"." * line.startswith(b".") + line for line in CONTENT.splitlines(True)) + b".\r\n")
            for user in USERS:
                reply = client.reply()
                assert reply.startswith((b"250", b"4")), reply
                if reply.startswith(b"250"):
                    confirmed.append(user)
            client.ok("QUIT")
        except delivery.Refused as refusal:
            assert refusal.reply.startswith(b"4"), refusal.reply
        except (EOFError, OSError):
            pass  # it has not answered
    return confirmed, client.process.returncode


def run(mailboxes, how, kind):
    """Lets call after call fail. Returns how many there are."""
    counted_in = mailboxes.root / "counted"
    refused = {**preload(), "TUZUTIL_COUNTED": mailboxes.native(counted_in)}
    for number in range(1, 2000):
        counted_in.unlink(missing_ok=True)
        mailboxes.variables |= {**refused, "TUZUTIL_ORDER": f"{how} {number} {kind}"}
        confirmed, status = session(mailboxes)
        for name in (*refused, "TUZUTIL_ORDER"):
            del mailboxes.variables[name]
        assert counted_in.exists(), f"{how} {number} of kind {kind}: the process has not ended by itself"
        counted, name = counted_in.read_text().split()
        where = f"{how} {number} of kind {kind}, {name}: confirmed for {confirmed}, status {status}"
        assert status in (0, 1), where
        if kind != ERROR or int(counted) < number:
            assert confirmed == list(USERS) and status == 0, where
        for user in USERS:
            seen = [path.read_bytes() for path in mailboxes.files(user)]
            assert seen == [STORED] or (seen == [] and user not in confirmed), f"{where}: {user} has {list(map(len, seen))}"
            left = mailboxes.files(user, "tmp")
            assert not left or name in ("unlinkat", "DeleteFileW") or how == "from", f"{where}: {left}"
            for path in left:
                path.unlink()
            mailboxes.clear(user)
        assert session(mailboxes) == (list(USERS), 0), f"after {where}"
        for user in USERS:
            assert mailboxes.messages(user) == [STORED], f"after {where}"
            mailboxes.clear(user)
        if int(counted) < number:
            return number - 1
    raise AssertionError("the calls of a session do not end")


def main():
    mailboxes = delivery.Mailboxes(USERS)
    try:
        for how, kind in KINDS:
            count = run(mailboxes, how, kind)
            print(f"{how}, kind {kind}: {count} calls")
            assert count >= 10, "too few calls were counted"
    finally:
        mailboxes.remove()


main()
