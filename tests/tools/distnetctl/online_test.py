"""`distnetctl up` and `down` as a user runs them, with real daemons of simulated devices.

Usage: online_test.py SOURCE_DIR BIN_DIR
"""

import pathlib
import sys
import tempfile
import unittest

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
sys.path.append(str(SOURCE / "tests/support"))
import daemon  # noqa: E402
import devices  # noqa: E402
from devices import Command, Device, joined_text, make_account, wait_until  # noqa: E402

devices.BINARIES = BINARIES


class Devices(unittest.TestCase):
    """Starts a laptop that is connected to the network "office", and a phone."""

    share = {}

    def setUp(self):
        self.world = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.world / "announcements").mkdir(mode=0o700)
        self.laptop = Device(self, "laptop", "laptop", self.world)
        self.phone = Device(self, "phone", "phone", self.world, share={"close_after_s": 10, **self.share})
        make_account(self, self.laptop, self.phone)
        self.laptop.set("network.wifi=office")

    def hotspots(self):
        return [path.name for path in (self.world / "air").glob("hotspot-*.json")]

    def assert_taken_back(self):
        def phase():
            return self.laptop.json("status")[-1]["online"]["attempt"]["phase"]

        wait_until(self, lambda: not self.hotspots(), "the hotspot stays on")
        wait_until(self, lambda: phase() not in ["running", "cancelling"], "the attempt goes on")
        self.assertNotEqual(self.laptop.json("status")[-1]["status"]["wifi"]["state"], "connected")

    def up(self, code, *words):
        ended = self.laptop.run(*(words or ("up",)))
        self.assertEqual(ended.returncode, code, joined_text(ended))
        return joined_text(ended)

    def reasons(self):
        return [event["params"].get("REASON") for event in self.laptop.json("events") if event["name"] == "NET_ONLINE_FAIL"]


class Start(unittest.TestCase):
    def test_daemon_starts_with_automatic_mode_on(self):
        world = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        for number in range(10):  # the mode begins its work on another thread while the daemon starts
            folder = world / str(number)
            (folder / "phone").mkdir(parents=True, mode=0o700)
            (folder / "phone/online.json").write_text('{"version": 1, "auto": true, "preferred": [], "successes": []}')
            daemon.start(self, BINARIES / "distnetd", folder)


class Online(Devices):
    def test_up_and_down_leave_nothing_behind(self):
        said = self.up(0)
        for text in ["phone", "hotspot ready", "Wi-Fi joined", "online", "You are online through phone", "distnetctl down"]:
            self.assertIn(text, said)
        wait_until(self, lambda: "laptop, since" in self.phone.run("status").stdout)
        self.laptop.set("wifi.received_bytes=5000000", "wifi.sent_bytes=1000000")
        self.assertIn("online through phone", self.up(0))
        self.assertIn("phone", self.laptop.run("status").stdout)
        down = self.up(0, "down")
        self.assertIn('back on "office"', down)
        self.assertIn("phone closed its hotspot", down)
        self.assert_taken_back()
        self.assertIn("nothing to leave", self.up(0, "down"))
        share = self.phone.json("share")[-1]["sharing"]
        self.assertEqual((share["users"], share["month_bytes"]), ([], 6000000))

    def test_up_leaves_and_start_keeps_phone_without_internet(self):
        self.phone.set("cellular_data=false")
        said = self.up(1)
        self.assertIn("its mobile data is switched off", said)
        self.assertIn("On phone: switch mobile data on", said)
        self.assert_taken_back()
        self.assertEqual(self.reasons(), ["NO_INTERNET"])
        self.assertIn("has no internet", self.up(1, "start", "phone"))
        self.assertEqual(self.laptop.json("status")[-1]["status"]["wifi"]["state"], "connected")
        self.up(0, "down")
        self.assert_taken_back()

    def test_interrupt_killed_client_and_time_limit_undo_everything(self):
        self.laptop.set("wifi.join_ms=20000")
        command = Command(self, self.laptop, "up")
        command.read_until("hotspot ready")
        command.interrupt()
        command.read_until('cancelled: this device is back on "office"; phone closed its hotspot.')
        self.assertEqual(command.wait(), 130)
        self.assert_taken_back()

        command = Command(self, self.laptop, "up")
        command.read_until("hotspot ready")
        command.kill()
        self.assertLess(command.wait(), 0)
        self.assert_taken_back()

        self.assertIn("--timeout", self.up(5, "--timeout", "2", "up"))
        self.assert_taken_back()
        self.assertEqual(self.laptop.json("--timeout", "2", "up")[-1]["name"], "TIMED_OUT")

    def test_up_tries_next_device_after_failure(self):
        tablet = Device(self, "tablet", "tablet", self.world)
        invite = Command(self, self.laptop, "account", "invite", "--yes")
        invite.read_until("one device.\r\n\r\n    ")
        self.assertEqual(tablet.run("account", "join", typed=invite.read_until("\r\n") + "\n").returncode, 0)
        self.assertEqual(invite.wait(), 0)
        self.up(0, "prefer", "phone")
        self.phone.set("faults.hotspot.enable.code=5")
        said = self.up(0)
        self.assertIn("phone did not open its hotspot", said)
        self.assertIn("You are online through tablet", said)
        self.up(0, "down")
        self.phone.set("faults.hotspot.enable.code=0", "wifi.enabled=false")
        self.assertNotIn("phone", self.up(0))
        self.up(0, "start", "tablet")
        self.up(0, "down")
        self.assert_taken_back()

    def test_failures_of_this_device_name_step_and_advice(self):
        self.laptop.set("wifi.enabled=false")
        self.assertIn("switched off", self.up(1))
        self.laptop.set("wifi.enabled=true")
        self.phone.set("faults.hotspot.enable.code=5")
        self.assertIn("On phone:", self.up(1))
        self.assertEqual(self.reasons(), ["WIFI_OFF", "HOTSPOT_FAILED"])
        self.assert_taken_back()


class Asking(Devices):
    share = {"allow": "ask"}

    def test_owner_is_asked_and_decides(self):
        self.assertIn("asked", self.up(1, "start", "phone"))
        command = Command(self, self.laptop, "up")
        wait_until(self, lambda: "laptop asks" in self.phone.run("share", "requests").stdout)
        self.assertEqual(self.phone.run("share", "allow", "laptop", "--once").returncode, 0)
        command.read_until("You are online through phone")
        self.assertEqual(command.wait(), 0)
        self.up(0, "down")
        self.assert_taken_back()
        command = Command(self, self.laptop, "up")
        wait_until(self, lambda: "laptop asks" in self.phone.run("share", "requests").stdout)
        self.assertEqual(self.phone.run("share", "deny", "laptop").returncode, 0)
        self.assertEqual(command.wait(), 1)
        self.assertNotIn("laptop asks", self.phone.run("share", "requests").stdout)
        self.assertEqual(self.phone.run("share", "allow", "laptop", "--always").returncode, 0)
        self.up(0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
