"""Helpers for tests in Python: simulated devices, each with its own daemon, that find each other in a shared folder, and
distnetctl commands with a terminal. Set BINARIES to the folder of the programs before use."""

import json
import os
import pathlib
import pty
import select
import signal
import subprocess
import time

import daemon

BINARIES = pathlib.Path()
PATIENCE = 40


class Command:
    """A running distnetctl with its own terminal, whose output is what a user sees."""

    def __init__(self, test, device, *words):
        self.test, self.shown = test, ""
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.environ["NO_COLOR"] = "1"
            os.environ["LC_ALL"] = "C.UTF-8"
            os.execv(BINARIES / "distnetctl", ["distnetctl", "--socket", str(device.socket), *words])
        test.addCleanup(os.close, self.terminal)

    def read_until(self, text):
        """Waits for the text. Returns the output between the text of the previous call and this one."""
        deadline = time.monotonic() + PATIENCE
        while text not in self.shown:
            ready, _, _ = select.select([self.terminal], [], [], max(0, deadline - time.monotonic()))
            try:
                piece = os.read(self.terminal, 4096) if ready else b""
            except OSError:  # the program has ended
                piece = b""
            self.test.assertTrue(piece, f"{text!r} did not come: {self.shown!r}")
            self.shown += piece.decode(errors="replace")
        before, self.shown = self.shown.split(text, 1)
        return before

    def write(self, text):
        os.write(self.terminal, text.encode())

    def interrupt(self):
        os.kill(self.pid, signal.SIGINT)

    def kill(self):
        os.kill(self.pid, signal.SIGKILL)

    def wait(self):
        """Reads the remaining output and waits for the end. Returns the exit code."""
        rest = b""
        while True:
            try:
                piece = os.read(self.terminal, 4096)
            except OSError:
                piece = b""
            if not piece:
                break
            rest += piece
        self.shown += rest.decode(errors="replace")
        return os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])


class Device:
    def __init__(self, test, name, kind, world, preexec_fn=None, **settings):
        self.name, self.folder = name, world / name
        self.folder.mkdir()
        settings = {"device": {"name": name, "type": kind}, "softbus": {"announce_dir": str(world / "announcements")},
                    "simulated": {"air_dir": str(world / "air")}, **settings}
        self.socket = daemon.start(test, BINARIES / "distnetd", self.folder, settings, preexec_fn=preexec_fn)
        self.state = self.folder / "phone"

    def run(self, *words, typed=None, **options):
        return subprocess.run([BINARIES / "distnetctl", "--socket", self.socket, *words], input=typed, text=True,
                              capture_output=True, timeout=PATIENCE, check=False, **options)

    def json(self, *words, typed=None):
        return [json.loads(line) for line in self.run("--json", *words, typed=typed).stdout.splitlines()]

    def set(self, *assignments):
        """Changes the state of the simulated device. Its daemon applies the change soon after."""
        changed = self.run("sim", "set", "--state", self.state, *assignments)
        if changed.returncode != 0:
            raise ValueError(joined_text(changed))


def joined_text(ended):
    return ended.stdout + ended.stderr


def make_account(test, holder, *members):
    """Makes the holder create an account, and each member join it with a ticket."""
    created = holder.run("account", "create", "home", "--device-name", holder.name, "--state", holder.state)
    test.assertEqual(created.returncode, 0, joined_text(created))
    for member in members:
        invite = Command(test, holder, "account", "invite", "--yes")
        invite.read_until("one device.")
        invite.read_until("\r\n    ")
        ticket = invite.read_until("\r\n")
        joined = member.run("account", "join", typed=ticket + "\n")
        test.assertEqual(joined.returncode, 0, joined_text(joined))
        test.assertEqual(invite.wait(), 0, invite.shown)


def wait_until(test, condition, what=""):
    deadline = time.monotonic() + PATIENCE
    while not condition():
        test.assertLess(time.monotonic(), deadline, what)
        time.sleep(0.05)
