"""The account commands as a user runs them, with real daemons of simulated devices that find each other in a folder.

Usage: account_test.py SOURCE_DIR BIN_DIR
"""

import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
sys.path.append(str(SOURCE / "tests/support"))
import devices  # noqa: E402
from devices import PATIENCE, Command, Device, joined_text, wait_until  # noqa: E402

devices.BINARIES = BINARIES
NOBODY = 65534


class Account(unittest.TestCase):
    def setUp(self):
        self.world = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.world / "announcements").mkdir(mode=0o700)
        self.laptop = Device(self, "laptop", "laptop", self.world)
        self.phone = Device(self, "phone", "phone", self.world)
        created = self.laptop.run("account", "create", "home", "--device-name", "laptop", "--state", self.laptop.state)
        self.assertEqual(created.returncode, 0, joined_text(created))

    def invite(self, *words):
        """Starts an invitation. Returns the running command and its ticket."""
        command = Command(self, self.laptop, "account", "invite", *words)
        command.read_until("one device.")
        command.read_until("\r\n    ")
        ticket = command.read_until("\r\n")
        self.assertRegex(ticket, r"^([0-9A-Z]{4}-){6}[0-9A-Z*~$=]{3}$")
        command.read_until("waiting")
        return command, ticket

    def join_by_yes(self, device):
        command, ticket = self.invite("--yes")
        joined = device.run("account", "join", typed=ticket + "\n")
        self.assertEqual(joined.returncode, 0, joined_text(joined))
        self.assertEqual(command.wait(), 0, command.shown)

    def names(self, device):
        return [member["name"] for member in device.json("account", "devices")[-1]["members"]]

    def test_join_succeeds_after_mistyped_ticket(self):
        invite, ticket = self.invite()
        self.assertEqual(self.laptop.json("account", "invite")[-1]["fault"], "busy")
        join = Command(self, self.phone, "account", "join")
        join.read_until("Ticket: ")
        wrong = "X" if ticket[0] != "X" else "Y"
        join.write(wrong + ticket[1:] + "\n")
        join.read_until("this is no ticket: ")
        join.read_until("Ticket: ")
        join.write(ticket.lower().replace("-", " ") + "\n")
        invite.read_until("phone (phone, ")
        invite.read_until("asks to join.")
        invite.read_until("Both devices show ")
        number = invite.read_until(". Admit it?")
        join.read_until('Found "laptop" over the LAN.')
        join.read_until('"laptop" shows ')
        self.assertEqual(join.read_until(" …"), number)
        invite.write("y\n")
        invite.read_until('phone is a member of "home".')
        join.read_until('This device is "phone" in the account "home".')
        self.assertEqual((invite.wait(), join.wait()), (0, 0))
        self.assertIn('"home", 2 members', self.phone.run("status").stdout)
        started = self.phone.run("start", "laptop")
        self.assertEqual(started.returncode, 0, joined_text(started))
        self.assertEqual(self.names(self.laptop), ["laptop", "phone"])
        again = self.phone.run("account", "join", typed=ticket)
        self.assertIn('is a member of "home" already', again.stderr)

    def test_refused_withdrawn_and_used_tickets_are_reported(self):
        command, ticket = self.invite()
        waiting = subprocess.Popen([BINARIES / "distnetctl", "--socket", self.phone.socket, "account", "join"],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        waiting.stdin.write(ticket + "\n")
        waiting.stdin.flush()
        command.read_until("Admit it?")
        command.write("n\n")
        self.assertEqual(command.wait(), 1)
        self.assertIn("the device was not admitted", command.shown)
        self.assertIn("did not admit this one", waiting.communicate(timeout=PATIENCE)[0])
        self.assertEqual(waiting.returncode, 1)

        command, ticket = self.invite()
        command.write("\3")
        self.assertEqual(command.wait(), 130)
        self.assertIn("nobody can join with this ticket any more", command.shown)
        self.assertEqual(self.phone.json("account", "join", typed=ticket)[-1]["fault"], "expired")
        self.join_by_yes(self.phone)

    def test_interrupted_join_can_be_repeated(self):
        command, ticket = self.invite()
        join = Command(self, self.phone, "account", "join")
        join.read_until("Ticket: ")
        join.write(ticket + "\n")
        command.read_until("Admit it?")
        join.read_until("shows ")
        join.write("\3")
        self.assertEqual(join.wait(), 130)
        self.assertIn("this device joins no account", join.shown)
        command.read_until("waiting")  # the holder continues
        join = Command(self, self.phone, "account", "join", "--device-name", "laptop")
        join.read_until("Ticket: ")
        join.write(ticket + "\n")
        command.read_until("Admit it?")
        command.write("y\n")
        self.assertEqual(join.wait(), 1)
        self.assertIn('called "laptop" already', join.shown)
        self.assertIn("--device-name laptop-2", join.shown)

    def test_rename_remove_leave_and_join_again(self):
        self.join_by_yes(self.phone)
        self.assertEqual(self.laptop.json("account", "rename", "phone", "laptop")[-1]["suggestion"], "laptop-2")
        self.assertIn("does not hold", self.phone.run("account", "rename", "phone", "x").stderr)
        self.assertEqual(self.laptop.run("account", "rename", "phone", "old phone").returncode, 0)
        wait_until(self, lambda: self.names(self.phone) == ["laptop", "old phone"])
        self.assertIn("laptop holds its key", self.phone.run("status").stdout)

        kept = self.laptop.run("account", "remove", "old", typed="n\n")
        self.assertIn("will be refused by every device", kept.stdout)
        self.assertIn("nothing was changed", kept.stderr)
        self.assertEqual(self.laptop.run("account", "remove", "old", "--yes").returncode, 0)
        self.assertEqual(self.names(self.laptop), ["laptop"])
        removed = r'removed from the account "home" on \d{4}-\d\d-\d\d'
        self.assertRegex(self.phone.run("start", "laptop").stderr, removed)
        for words in ("devices", "account devices", "account join"):
            self.assertRegex(self.phone.run(*words.split()).stderr, removed)
        self.assertIn("removed from it on", self.phone.run("status").stdout)
        self.assertRegex(" ".join(self.phone.run("doctor").stdout.split()), removed)

        self.assertEqual(self.phone.run("account", "leave", typed="y\n").returncode, 0)
        self.assertIn("none: see", self.phone.run("status").stdout)
        self.join_by_yes(self.phone)
        wait_until(self, lambda: "reachable" in self.phone.run("devices").stdout)  # a slow machine needs more than a search
        started = self.phone.run("start", "laptop")
        self.assertEqual(started.returncode, 0, joined_text(started))
        self.assertIn("has other members", self.laptop.run("account", "leave", "--yes").stderr)

    def test_holder_may_leave_after_handing_over_key(self):
        self.join_by_yes(self.phone)
        wait_until(self, lambda: "reachable" in self.laptop.run("devices").stdout)
        self.assertEqual(self.laptop.json("account", "transfer", "laptop", "--yes")[-1]["fault"], "this_device")
        moved = self.laptop.run("account", "transfer", "phone", typed="y\n")
        self.assertEqual(moved.returncode, 0, joined_text(moved))
        wait_until(self, lambda: "this device holds its key" in self.phone.run("status").stdout)
        self.assertEqual(self.laptop.json("account", "rename", "phone", "x")[-1]["fault"], "not_holder")
        self.assertEqual(self.laptop.run("account", "leave", "--yes").returncode, 0)
        self.assertEqual(self.phone.run("account", "remove", "laptop", "--yes").returncode, 0)
        self.assertEqual(self.names(self.phone), ["phone"])

    @unittest.skipUnless(os.geteuid() == 0, "only root can act for another user")
    def test_other_user_cannot_change_account(self):
        self.world.chmod(0o711)
        self.laptop.folder.chmod(0o711)
        self.laptop.state.chmod(0o711)
        for words in ("invite", "rename laptop x", "leave --yes", "renew"):
            ended = self.laptop.run("account", *words.split(), user=NOBODY, extra_groups=[])
            self.assertEqual(ended.returncode, 4, joined_text(ended))
        self.assertEqual(self.names(self.laptop), ["laptop"])

    def test_backup_asks_passphrase_twice_and_restores_on_other_device(self):
        wait_until(self, lambda: "has no backup" in self.laptop.run("status").stdout)
        file = self.world / "home.p12"
        command = Command(self, self.laptop, "account", "backup", str(file), "--state", str(self.laptop.state))
        for prompt in ("Passphrase: ", "The same again: "):
            command.read_until(prompt)
            command.write("correct horse\n")
        self.assertEqual(command.wait(), 0, command.shown)
        self.assertNotIn("horse", command.shown)
        self.assertEqual(file.stat().st_mode & 0o777, 0o600)
        self.assertNotIn("has no backup", self.laptop.run("status").stdout)
        for passphrase, code in (("wrong horse", 1), ("correct horse", 0)):
            ends = os.pipe()
            os.write(ends[1], passphrase.encode() + b"\n")
            os.close(ends[1])
            ended = self.phone.run("account", "restore", file, "--alone", "--device-name", "phone", "--state",
                                   self.phone.state, "--passphrase-fd", str(ends[0]), pass_fds=[ends[0]])
            os.close(ends[0])
            self.assertEqual(ended.returncode, code, joined_text(ended))
        wait_until(self, lambda: "this device holds its key" in self.phone.run("status").stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
