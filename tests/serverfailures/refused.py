"""What the tests of failing calls share: their arguments, and how a program is started whose calls fail."""

import argparse
import contextlib
import os
import sys

parser = argparse.ArgumentParser()
parser.add_argument("--clients", required=True, help="the folder of the other tests of these programs")
parser.add_argument("--pop3d")
parser.add_argument("--lmtpd")
parser.add_argument("--refuser", help="a library that makes calls of a program fail; without it, the programs contain it")
parser.add_argument("--emulator")
arguments = parser.parse_args()
sys.path.insert(0, arguments.clients)
import delivery  # pylint: disable=wrong-import-position
import support  # pylint: disable=wrong-import-position

support.settings.server, support.settings.lmtpd = arguments.pop3d, arguments.lmtpd
support.settings.emulator = arguments.emulator

ERROR, INTERRUPTED, PARTIAL = range(3)
KINDS = [("only", ERROR), ("from", ERROR), ("only", PARTIAL)]
if arguments.refuser:
    KINDS.append(("only", INTERRUPTED))  # on Windows, nothing interrupts a call


def preload():
    return {"LD_PRELOAD": arguments.refuser} if arguments.refuser else {}


@contextlib.contextmanager
def preloaded(variables):
    """Within this context, programs are started with these variables of the environment, and with the refuser."""
    former = dict(os.environ)
    os.environ.update(preload() | variables)
    try:
        yield
    finally:
        os.environ.clear()
        os.environ.update(former)
