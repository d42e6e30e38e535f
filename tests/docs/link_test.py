"""The device of link_peer.py and a real daemon exchange what docs/link.md describes.

Usage: link_test.py SOURCE_DIR BIN_DIR
"""

import concurrent.futures
import json
import os
import pathlib
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
sys.path.append(str(SOURCE / "tests/support"))
import daemon  # noqa: E402
import link_peer as link  # noqa: E402


class Link(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        for step in ("create home --state phone --device-name phone", "request tablet.csr --state tablet --device-name tablet",
                     "admit tablet.csr -o tablet.pem --state phone", "install tablet.pem --state tablet"):
            self.distnetctl("account", *step.split())
        self.start()
        self.tablet = link.Device(self.folder / "tablet", "tablet")
        self.phone_id = self.distnetctl("account", "show", "--state", "phone")["network_id"]
        self.phone = self.wait_for(self.announced)

    def start(self, **settings):
        settings = {"device": {"name": "phone"}, "softbus": {"announce_dir": "link"}, **settings}
        daemon.start(self, BINARIES / "distnetd", self.folder, settings)

    def stop(self):
        """Sends SIGTERM to the phone's daemon. Returns a function that returns whether the daemon has ended."""
        process = int((self.folder / "phone/distnetd.lock").read_text())
        os.kill(process, signal.SIGTERM)
        return lambda: os.waitid(os.P_PID, process, os.WEXITED | os.WNOWAIT | os.WNOHANG)

    def restart(self, **settings):
        self.wait_for(self.stop())
        self.start(**settings)

    def distnetctl(self, *arguments, code=0):
        done = subprocess.run([BINARIES / "distnetctl", "--json", "--socket", "phone/ipc.sock", *arguments], cwd=self.folder,
                              capture_output=True, text=True, timeout=10, check=False)
        self.assertEqual(done.returncode, code, done.stdout + done.stderr)
        return json.loads(done.stdout)

    def wait_for(self, condition):
        deadline = time.monotonic() + 10
        while not (result := condition()):
            self.assertLess(time.monotonic(), deadline, (self.folder / "log").read_text())
            time.sleep(0.01)
        return result

    def announced(self):
        """Returns the address in the announcement with the phone's token, or None."""
        announcements = [json.loads(file.read_text()) for file in (self.folder / "link").glob("*.json")]
        addresses = {link.read_token(self.tablet.token_key, bytes.fromhex(announcement["token"]), int(time.time())):
                     announcement["address"] for announcement in announcements}
        return addresses.get(bytes.fromhex(self.phone_id[:8]))

    def listed(self):
        return {device["name"]: device for device in self.distnetctl("devices")["devices"]}.get("tablet")

    def test_connecting_device_is_listed_served_and_away_after_goodbye(self):
        greeting, hello = self.tablet.greet(self.phone)
        self.assertEqual(link.network_id(greeting.tls.getpeercert(True)), self.phone_id)
        self.assertIn(link.text("phone"), hello)
        self.assertEqual(hello[0], 2)
        self.assertEqual([self.wait_for(self.listed)[key] for key in ("network_id", "device_id", "type", "online")],
                         [self.tablet.network_id, self.tablet.device_id, "tablet", True])
        self.assertFalse(greeting.tls.session.has_ticket)

        collaboration = self.tablet.open(self.phone, link.COLLABORATION)
        collaboration.send(link.frame(link.DATA, link.start_message(1)))
        self.assertEqual({collaboration.expect(link.DATA) for _ in range(2)},
                         {struct.pack("<IIi", link.ANSWER, 1, 0), struct.pack("<I", link.READY)})
        session = self.tablet.open(self.phone, link.HOTSPOT)
        session.send(link.frame(link.DATA, link.HOTSPOT_REQUEST))
        answer = session.expect(link.DATA)
        self.assertEqual(answer[:5], struct.pack("<BI", 4, len(answer) - 5))
        hotspot = json.loads(answer[5:])
        ssid = self.distnetctl("info", "hotspotName")["items"]["hotspotName"]
        self.assertEqual((hotspot["RES"], hotspot["SSID"], hotspot["SECURITY_TYPE"], len(hotspot["PRESHARED_KEY"]) >= 8),
                         (0, ssid, 4, True))
        session.close()
        collaboration.close()

        self.tablet.leave(self.phone)
        self.wait_for(lambda: not self.listed()["online"])

        self.restart()  # earlier messages of the tablet would outweigh the announcement
        ten_hours_ago = int(time.time()) // 900 - 40
        self.tablet.announce(self.folder / "link", "127.0.0.1:1", ten_hours_ago)
        self.wait_for(lambda: self.listed()["clock_ahead_ms"] == -36_000_000)
        self.assertIn("its clock is 10 h behind", self.distnetctl("start", "tablet", code=1)["message"])

    def test_announced_device_is_greeted_asked_and_sent_goodbye(self):
        with socket.create_server(("127.0.0.1", 0)) as listener, concurrent.futures.ThreadPoolExecutor() as pool:
            listener.settimeout(10)
            def serve():
                return pool.submit(self.tablet.serve, listener.accept()[0], {"RES": -97})
            self.tablet.announce(self.folder / "link", f"127.0.0.1:{listener.getsockname()[1]}")
            served = [serve()]
            self.wait_for(self.listed)
            start = pool.submit(self.distnetctl, "start", "tablet", code=1)
            served += [serve(), serve(), serve()]
            self.assertEqual(start.result()["name"], "HOTSPOT_FAILED")
            self.assertIn("error: -97", (self.folder / "log").read_text())
            ended = self.stop()
            served.append(serve())
            self.wait_for(ended)
        # The phone offers pre-shared keys from its second connection on. The tablet knows none, and asks for the certificate.
        self.assertEqual([(purpose, connection.tls.session_reused) for purpose, connection in (task.result() for task in served)],
                         [(purpose, False) for purpose in
                          (link.CLOSE, link.DAEMON, link.COLLABORATION, link.HOTSPOT, link.GOODBYE)])

    def open(self, name, **expected):
        session = self.tablet.open(self.phone, name, **expected)
        self.addCleanup(session.close)
        return session

    def is_sharing(self):
        return self.distnetctl("status")["status"]["hotspot"]["active"]

    def test_daemon_answers_facts_and_closes_hotspot_after_release(self):
        session, mac = self.open(link.DAEMON), "02:00:5e:10:00:01"
        facts = session.ask(1, "facts")
        self.assertEqual({key: facts.pop(key) for key in ("version", "request", "answer", "obstacle", "permission", "uplink")},
                         {"version": 1, "request": 1, "answer": "facts", "obstacle": "none", "permission": "allowed",
                          "uplink": "mobile"})
        self.assertEqual(set(facts), {"technology", "signal_percent", "metered", "internet", "mobile_data_off",
                                      "battery_percent", "charging"})
        self.assertEqual(session.ask(2, "dance"), {"version": 1, "request": 2, "answer": "unknown"})
        self.assertFalse(session.ask(3, "lease", mac=mac)["held"], "the hotspot is off")

        collaboration = self.open(link.COLLABORATION)
        collaboration.send(link.frame(link.DATA, link.start_message(1)))
        collaboration.expect(link.DATA)
        hotspot = self.open(link.HOTSPOT)
        hotspot.send(link.frame(link.DATA, link.HOTSPOT_REQUEST))
        hotspot.expect(link.DATA)
        self.assertTrue(self.is_sharing())
        self.assertEqual(session.ask(4, "lease", mac=mac), {"version": 1, "request": 4, "answer": "lease", "held": True})
        released = time.monotonic()
        self.assertEqual(session.ask(5, "release", mac=mac), {"version": 1, "request": 5, "answer": "release", "closed": True})
        self.wait_for(lambda: not self.is_sharing())
        self.assertLess(time.monotonic() - released, 3)

        session.send(link.frame(link.DATA, json.dumps({"version": 1, "request": 6, "ask": "lease", "mac": mac[1:]}).encode()))
        session.expect(link.CLOSE)
        self.wait_for(lambda: "is damaged: mac is" in (self.folder / "log").read_text())

    def test_allow_nobody_refuses_at_once_but_answers_facts(self):
        self.restart(share={"allow": "nobody"})
        self.phone = self.wait_for(self.announced)
        self.open(link.HOTSPOT, result=-100)
        collaboration = self.open(link.COLLABORATION)
        collaboration.send(link.frame(link.DATA, link.start_message(1)))
        self.assertEqual(collaboration.expect(link.DATA), struct.pack("<IIi", link.ANSWER, 1, -100))
        self.assertEqual(self.open(link.DAEMON).ask(1, "facts")["permission"], "not_allowed")
        self.assertEqual((self.folder / "log").read_text().count("refused by the owner's rules: NOT_ALLOWED"), 2)

    def test_misplaced_frame_closes_connection_with_one_log_line(self):
        hello = self.tablet.hello()
        for number, (fault, *frames) in enumerate([
                ("two HELLOs", hello, hello),
                ("GOODBYE before HELLO", link.frame(link.GOODBYE)),
                ("OPENED instead of OPEN", hello, link.frame(link.OPENED, bytes(4))),
                ("PING instead of OPEN", hello, link.frame(link.PING)),
                ("DATA before OPENED", hello, link.open_frame("nobody", "nobody"), link.frame(link.DATA, b"x"))], 1):
            attack = self.tablet.dial(self.phone, *frames)
            with self.subTest(fault), attack.socket, self.assertRaises(ConnectionError):
                attack.expect(link.HELLO)
                attack.expect(link.HELLO)
            self.wait_for(lambda: (self.folder / "log").read_text().count(f"{self.tablet.network_id[-5:]} ended: ") == number)
        self.assertTrue(self.listed()["online"], "the GOODBYE counts for nothing")

    def test_first_message_in_two_records_closes_connection(self):
        with socket.create_connection(self.phone.rsplit(":", 1), 5) as attack:
            challenge, unsent = link.read_exactly(attack.recv, 16), link.Link(attack, self.tablet.dialling)
            whole = unsent.begin(unsent.tls.do_handshake)
            first, second = (whole[:3] + struct.pack(">H", len(part)) + part for part in (whole[5:100], whole[100:]))
            attack.sendall(link.prove(self.tablet.link_key, challenge, first) + first + second)
            self.assertRaises(ConnectionError, link.read_exactly, attack.recv, 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
