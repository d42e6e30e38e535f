"""A client written from docs/ipc.md alone, against a real daemon: what the page says of the bytes must come back.

Usage: ipc_test.py SOURCE_DIR BIN_DIR
"""

import json
import os
import pathlib
import resource
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

BINARIES = pathlib.Path(sys.argv[2]).resolve()
SERVICE, HOST = 1163, 1164
TOKEN = {SERVICE: "Vexo.NetManagerStandard.IDistNetService", HOST: "Vexo.DistNet.IDistNetHost"}
MAGIC = 0x314E5344
MAX_DESCRIPTORS = 96


def text(value):
    data = value.encode() + b"\0"
    return struct.pack("<i", len(data) - 1) + data + bytes(-len(data) % 4)


def token(value):
    data = value.encode("utf-16-le") + bytes(2)
    return struct.pack("<i", len(value)) + data + bytes(-len(data) % 4)


def texts(values):
    return struct.pack("<i", len(values)) + b"".join(map(text, values))


class Client:
    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.socket.settimeout(20)
        self.socket.connect(str(path))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def read(self):
        reply = self.socket.recv(1 << 18)
        magic, version, flags, ability, status = struct.unpack("<IHHIi", reply[:16])
        assert (magic, version, flags) == (MAGIC, 1, 1), reply[:16]
        return ability, status, reply[16:]

    def send(self, datagram):
        self.socket.send(datagram)
        return self.read()

    def ask(self, ability, code, arguments=b"", interface=None):
        header = struct.pack("<IHHII", MAGIC, 1, 0, ability, code)
        answered, status, parcel = self.send(header + token(interface or TOKEN[ability]) + arguments)
        assert answered == ability, answered
        return status, parcel


class Ipc(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        policy = {"entries": [{"user": str(os.getuid()), "token_type": "native", "system_app": True}]}
        configuration = {"platform": "simulated", "state_dir": "phone", "access": {"policy": "policy.json"}}
        (self.folder / "policy.json").write_text(json.dumps(policy))
        (self.folder / "phone.json").write_text(json.dumps(configuration))
        self.path = self.folder / "phone/ipc.sock"
        daemon = subprocess.Popen(
            [BINARIES / "distnetd", "--config", self.folder / "phone.json"], stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (MAX_DESCRIPTORS,) * 2))
        self.addCleanup(daemon.wait)
        self.addCleanup(daemon.terminate)
        deadline = time.monotonic() + 20
        while not self.path.exists() and time.monotonic() < deadline:
            time.sleep(0.01)

    def service(self):
        with Client(self.path) as client:
            status, parcel = client.ask(HOST, 1)
            self.assertEqual((status, parcel[:4]), (0, bytes(4)))
            return json.loads(parcel[8:].rstrip(b"\0"))["service"]

    def test_the_object_of_remote_device_info(self):
        with Client(self.path) as client:
            status, parcel = client.ask(SERVICE, 1001, texts(["bssid", "hotspotName", "nothing", "supportSmartHotSpot"]))
            length = struct.unpack("<i", parcel[:4])[0]
            answer = json.loads(parcel[4:4 + length])
            self.assertEqual((status, list(answer)), (0, ["bssid", "hotspotName", "supportSmartHotSpot"]))
            self.assertEqual(answer["bssid"], {"variable": "true", "valueType": "string", "value": ""})
            self.assertRegex(answer["hotspotName"].pop("value"), r"-[0-9a-f]{4}$")
            self.assertEqual(answer["hotspotName"], {"variable": "true", "valueType": "string"})
            self.assertIsInstance(answer["supportSmartHotSpot"].pop("value"), bool)
            self.assertEqual(answer["supportSmartHotSpot"], {"variable": "true", "valueType": "boolean"})
            self.assertEqual(json.loads(client.ask(SERVICE, 1001, texts([]))[1][4:].rstrip(b"\0")), {})
            self.assertEqual(client.ask(SERVICE, 1001), (1004500103, b""))

    def test_a_release_by_somebody_who_holds_nothing(self):
        self.assertEqual(self.service(), "not_loaded")
        with Client(self.path) as client:
            self.assertEqual(client.ask(SERVICE, 1), (0, struct.pack("<iI", 0, 1)))
            while self.service() != "idle":
                time.sleep(0.01)
            holder = subprocess.Popen([BINARIES / "distnetctl", "--socket", self.path, "service", "hold"],
                                      stdout=subprocess.PIPE, text=True)
            try:
                holder.stdout.readline()
                self.assertEqual(client.ask(SERVICE, 1), (0, struct.pack("<iI", 0, 0)))
                self.assertEqual(self.service(), "running")
            finally:
                holder.terminate()
                holder.communicate()

    def test_what_is_answered_to_requests_that_nobody_takes(self):
        with Client(self.path) as client:
            for ability, code, interface, answer in [
                    (SERVICE, 5, None, (305, b"")), (HOST, 9, None, (305, b"")), (1121, 1, TOKEN[HOST], (305, b"")),
                    (4802, 1, TOKEN[HOST], (306, b"")), (SERVICE, 0, TOKEN[HOST], (305, struct.pack("<i", 1004500108))),
                    (HOST, 1, TOKEN[SERVICE], (305, struct.pack("<i", 2)))]:
                self.assertEqual(client.ask(ability, code, b"", interface), answer, (ability, code))
            whole = struct.pack("<IHHII", MAGIC, 1, 0, HOST, 1)
            for damaged in (b"", whole[:15], b"\1" + whole[1:], whole[:4] + b"\2" + whole[5:], whole[:6] + b"\2" + whole[7:],
                            whole + bytes(160 * 1024 - 15)):
                self.assertEqual(client.send(damaged), (0, 308, b""), damaged[:20])
            self.assertEqual(client.send(whole[:6] + b"\1" + whole[7:]), (HOST, 308, b""))
            self.assertEqual(client.ask(HOST, 3)[0], 0, "the connection stays usable")

    def test_a_connection_too_many_is_answered_unasked_and_closed(self):
        clients = []
        try:
            for _ in range(2 * MAX_DESCRIPTORS):
                clients.append(Client(self.path))
                clients[-1].socket.settimeout(0.05)
                try:
                    self.assertEqual(clients[-1].read(), (0, 309, b""))
                    self.assertEqual(clients[-1].socket.recv(1), b"", "closed")
                    return
                except TimeoutError:
                    continue
            self.fail("every connection was taken")
        finally:
            for client in clients:
                client.socket.close()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
