"""Runs programs under the system call filter of the systemd unit.

Usage: unit_filter_test.py SOURCE_DIR BIN_DIR

systemd need not run: the test expands the unit's groups of calls with systemd-analyze, and loads the filter with libseccomp.
"""

import ctypes
import errno
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
UNIT = SOURCE / "packaging/systemd/distnet.service"
sys.path.append(str(SOURCE / "tests/support"))
import devices  # noqa: E402

try:
    SECCOMP = ctypes.CDLL("libseccomp.so.2")
    SECCOMP.seccomp_init.restype = ctypes.c_void_p
except OSError:
    SECCOMP = None
ALLOW, ERRNO = 0x7FFF0000, 0x00050000
UNKNOWN_CALL = -1

# Calls that change nothing and succeed for every user without the filter, by group.
FORBIDDEN = {
    "@chown": "os.chown(sys.argv[1], -1, -1)",
    "@resources": "os.setpriority(os.PRIO_PROCESS, 0, os.getpriority(os.PRIO_PROCESS, 0))",
    "@privileged": "os.setreuid(-1, -1)",
    "@debug": "check(libc.ptrace(0, 0, 0, 0))",
}
ALLOWED = {"@file-system": "os.stat(sys.argv[1])", "@network-io": "socket.socket()"}
# Makes one call, and prints its error number or 0.
PROBE = """import ctypes, os, socket, sys
libc = ctypes.CDLL(None, use_errno=True)
def check(result):
    if result == -1: raise OSError(ctypes.get_errno(), "")
try:
    %s
    print(0)
except OSError as error:
    print(error.errno)
"""


def expand(group):
    """Returns the calls of a group, the groups in it included. systemd-analyze prints them one a line."""
    shown = subprocess.run(["systemd-analyze", "syscall-filter", "--no-pager", group], capture_output=True, text=True, check=True)
    calls = set()
    for word in re.findall(r"(?m)^    ([@\w-]+)$", shown.stdout):
        calls |= expand(word) if word.startswith("@") else {word}
    return calls


def allowed_calls():
    """Returns the allowed calls. As in systemd, the first list adds calls, and a list with ~ removes some again."""
    allowed = expand("@default")
    for inverted, words in re.findall(r"(?m)^SystemCallFilter=(~?)(.+)$", UNIT.read_text()):
        calls = set().union(*(expand(word) if word.startswith("@") else {word} for word in words.split()))
        allowed = allowed - calls if inverted else allowed | calls
    return allowed


def make_filter():
    """Returns a function that puts the calling process and its children under the unit's filter."""
    error = getattr(errno, re.search(r"(?m)^SystemCallErrorNumber=(\w+)$", UNIT.read_text()).group(1))
    numbers = {SECCOMP.seccomp_syscall_resolve_name(call.encode()) for call in allowed_calls()} - {UNKNOWN_CALL}
    context = ctypes.c_void_p(SECCOMP.seccomp_init(ERRNO | error))
    for number in numbers:
        if number >= 0 and SECCOMP.seccomp_rule_add(context, ALLOW, number, 0) != 0:
            raise AssertionError(f"libseccomp rejects call {number}")

    def load():
        if SECCOMP.seccomp_load(context) != 0:
            os._exit(99)
    return load


@unittest.skipUnless(SECCOMP and shutil.which("systemd-analyze"), "needs libseccomp and systemd-analyze")
class UnitFilter(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.load = make_filter()

    def probe(self, body, **options):
        shown = subprocess.run([sys.executable, "-c", PROBE % body, self.folder], capture_output=True, text=True, **options,
                               check=True)
        return int(shown.stdout)

    def test_calls_outside_unit_list_fail_with_eperm(self):
        for group, body in {**FORBIDDEN, **ALLOWED}.items():
            with self.subTest(group):
                self.assertEqual(self.probe(body), 0, "the call fails without the filter, too")
                self.assertEqual(self.probe(body, preexec_fn=self.load), errno.EPERM if group in FORBIDDEN else 0)

    def test_daemons_under_filter_get_one_device_online(self):
        devices.BINARIES = BINARIES
        laptop, phone = (devices.Device(self, name, name, self.folder, preexec_fn=self.load) for name in ("laptop", "phone"))
        for device in laptop, phone:
            process = (device.state / "distnetd.lock").read_text().strip()
            self.assertIn("Seccomp:\t2", pathlib.Path("/proc", process, "status").read_text())
        devices.make_account(self, laptop, phone)
        devices.wait_until(self, lambda: "reachable" in laptop.run("devices").stdout)
        for command, words in (("up", "You are online through phone"), ("down", "phone closed its hotspot")):
            shown = laptop.run(command)
            self.assertIn(words, shown.stdout, shown.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
