"""A client written from docs/ipc.md alone, against a real daemon: the replies must have the documented bytes.

Usage: ipc_test.py SOURCE_DIR BIN_DIR
"""

import codecs
import contextlib
import json
import os
import pathlib
import resource
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

SERVICE, HOST = 1163, 1164
TOKEN = {SERVICE: "Vexo.NetManagerStandard.IDistNetService", HOST: "Vexo.DistNet.IDistNetHost"}
MAGIC = 0x314E5344
NOBODY = 65534
START, RELEASE, REMOTE_INFO = 0, 1, 1001
STATUS, COUNTS, EVENTS = 1, 3, 5

codecs.lookup("utf-16-le")  # loaded now: another user may not be able to read Python's files


def text(value):
    data = value.encode() + b"\0"
    return struct.pack("<i", len(data) - 1) + data + bytes(-len(data) % 4)


def token(value):
    data = value.encode("utf-16-le") + bytes(2)
    return struct.pack("<i", len(value)) + data + bytes(-len(data) % 4)


def texts(values):
    return struct.pack("<i", len(values)) + b"".join(map(text, values))


def request(ability, code, arguments=b"", interface=None):
    return struct.pack("<IHHII", MAGIC, 1, 0, ability, code) + token(interface or TOKEN[ability]) + arguments


class Client:
    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.socket.settimeout(20)
        self.socket.connect(str(path))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def receive(self):
        try:
            return self.socket.recv(1 << 18)
        except ConnectionResetError:  # reported once if the server left a request unread; earlier replies can still be read
            return self.socket.recv(1 << 18)

    def read(self):
        reply = self.receive()
        magic, version, flags, ability, status = struct.unpack("<IHHIi", reply[:16])
        assert (magic, version, flags) == (MAGIC, 1, 1), reply[:16]
        return ability, status, reply[16:]

    def send(self, datagram):
        with contextlib.suppress(BrokenPipeError):  # the server has refused the connection, and its reply has already arrived
            self.socket.send(datagram)
        return self.read()

    def ask(self, ability, code, arguments=b"", interface=None):
        answered, status, parcel = self.send(request(ability, code, arguments, interface))
        assert answered == ability, answered
        return status, parcel


@contextlib.contextmanager
def program_of_another(body, user=NOBODY):
    """Runs the body in a process of another user. Yields the number that the body returns. The process, with all that the
    body has opened, lives until the end of the context."""
    result, results = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            os.setgroups([])
            os.setgid(NOBODY)
            os.setuid(user)
            os.write(results, str(body()).encode())
            signal.pause()
        finally:
            os._exit(1)
    os.close(results)
    try:
        yield int(os.read(result, 16))
    finally:
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)
        os.close(result)


needs_second_user = unittest.skipUnless(os.geteuid() == 0, "only root can act for another user")


class Ipc(unittest.TestCase):
    def start(self, descriptors=1024):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.path = daemon.start(self, BINARIES / "distnetd", self.folder, preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_NOFILE, (descriptors,) * 2))
        os.chmod(self.folder, 0o711)  # so that another user can connect to the socket
        os.chmod(self.path.parent, 0o711)

    def wait_until(self, condition):
        deadline = time.monotonic() + 20
        while not condition():
            self.assertLess(time.monotonic(), deadline, self.log())
            time.sleep(0.01)

    def log(self):
        return (self.folder / "log").read_text()

    def connect(self, count):
        return [self.enterContext(Client(self.path)) for _ in range(count)]

    def about_itself(self, code, member):
        with Client(self.path) as client:
            _, status, parcel = client.send(request(HOST, code))
            return json.loads(parcel[8:].rstrip(b"\0"))[member] if (status, parcel[:4]) == (0, bytes(4)) else status

    def service(self):
        return self.about_itself(STATUS, "service")

    def connections(self):
        return self.about_itself(COUNTS, "ipc_connections")

    def remote_info(self, client, *items):
        status, parcel = client.ask(SERVICE, REMOTE_INFO, texts(items))
        self.assertEqual(status, 0)
        return parcel[4:4 + struct.unpack("<i", parcel[:4])[0]].decode()

    def set_device(self, *assignments):
        subprocess.run([BINARIES / "distnetctl", "sim", "set", *assignments, "--state", self.folder / "phone"],
                       stdout=subprocess.DEVNULL, check=True)

    def test_remote_device_info_returns_documented_object(self):
        self.start()
        self.set_device('hotspot.ssid=say "hi"')
        with Client(self.path) as client:
            self.wait_until(lambda: r'say \"hi\"' in self.remote_info(client, "hotspotName"))
            item = {"variable": "true", "valueType": "string"}
            self.assertEqual(json.loads(self.remote_info(client, "bssid", "BSSID", "hotspotName", "")),
                             {"bssid": {**item, "value": ""}, "hotspotName": {**item, "value": 'say "hi"'}})
            self.assertEqual(self.remote_info(client, "bssid", "hotspotName", "bssid").count('"bssid"'), 2)
            self.assertEqual(json.loads(self.remote_info(client)), {})
            self.assertEqual(client.ask(SERVICE, REMOTE_INFO), (1004500103, b""))

    def test_smart_hotspot_needs_sim_radio_and_mobile_data(self):
        self.start()
        # Each setting changes the answer, so that the previous answer cannot end the wait.
        settings = [("sims.0.state=loaded", "radio.0=off", "radio.1=on", "cellular_data=true"), ("radio.1=off",),
                    ("radio.0=on",), ("sims.0.state=not_ready",), ("sims.1.state=ready",), ("cellular_data=false",)]
        with Client(self.path) as client:
            for number, assignments in enumerate(settings):
                self.set_device(*assignments)
                item = {"variable": "true", "valueType": "boolean", "value": number % 2 == 0}
                self.wait_until(lambda: json.loads(self.remote_info(client, "supportSmartHotSpot")) ==
                                {"supportSmartHotSpot": item})

    def test_service_is_started_and_released(self):
        self.start()
        self.assertEqual(self.service(), "not_loaded")
        with Client(self.path) as client:
            self.assertEqual(client.ask(SERVICE, RELEASE), (0, struct.pack("<iI", 0, 1)), "it holds nothing")
            self.wait_until(lambda: self.service() == "idle")
            self.assertEqual(client.ask(SERVICE, START), (0, struct.pack("<iI", 0, 1)))
            holder = subprocess.Popen([BINARIES / "distnetctl", "--socket", self.path, "service", "hold"],
                                      stdout=subprocess.PIPE, text=True)
            try:
                holder.stdout.readline()
                self.assertEqual(client.ask(SERVICE, RELEASE), (0, struct.pack("<iI", 0, 0)))
                self.assertEqual(self.service(), "running")
            finally:
                holder.terminate()
                holder.communicate()
            self.wait_until(lambda: self.service() == "idle")

    def test_unknown_and_damaged_requests_get_documented_errors(self):
        self.start()
        with Client(self.path) as client:
            for ability, code, interface, answer in [
                    (SERVICE, 5, None, (305, b"")), (HOST, 32, None, (305, b"")), (1121, 1, TOKEN[HOST], (305, b"")),
                    (4802, 1, TOKEN[HOST], (306, b"")), (SERVICE, 0, TOKEN[HOST], (305, struct.pack("<i", 1004500108))),
                    (HOST, 1, TOKEN[SERVICE], (305, struct.pack("<i", 2)))]:
                self.assertEqual(client.ask(ability, code, b"", interface), answer, (ability, code))
            whole = struct.pack("<IHHII", MAGIC, 1, 0, HOST, 1)
            for damaged in (b"", whole[:15], b"\1" + whole[1:], whole[:4] + b"\2" + whole[5:], whole[:6] + b"\2" + whole[7:],
                            whole + bytes(160 * 1024 - 15), whole + bytes(168 * 1024)):
                self.assertEqual(client.send(damaged), (0, 308, b""), damaged[:20])
            self.assertEqual(client.send(whole[:6] + b"\1" + whole[7:]), (HOST, 308, b""))
            self.assertEqual(client.ask(HOST, 3)[0], 0, "the connection stays usable")

    def test_daemon_with_few_descriptors_serves_fewer_clients(self):
        self.start(descriptors=96)
        self.assertIn("at most 48 local clients", self.log())
        served = []
        while (reply := (client := self.connect(1)[0]).send(request(HOST, COUNTS)))[1] == 0:
            served.append(client)
        self.assertEqual(reply, (0, 309, b""))
        self.assertEqual(client.receive(), b"", "closed")
        self.assertIn(len(served), (47, 48), "the daemon may not know yet that the first look is over")
        for client in served[24:]:
            client.socket.close()
        self.wait_until(lambda: self.connections() == 24 + 1)

    def test_waits_for_events_occupy_no_workers(self):
        self.start()
        with Client(self.path) as client:
            status, parcel = client.ask(HOST, EVENTS, struct.pack("<QI", 0, 1))
            self.assertEqual((status, json.loads(parcel[8:].rstrip(b"\0"))["events"]), (0, []), "at its limit")
        waiting = self.connect(300)  # more connections than workers
        for client in waiting:
            client.socket.send(request(HOST, EVENTS, struct.pack("<QI", 0, 60_000)))
            client.socket.send(request(HOST, COUNTS))
        self.wait_until(lambda: self.connections() == len(waiting) + 1)
        with Client(self.path) as client:
            client.ask(SERVICE, REMOTE_INFO, texts([]))  # causes an event; without one the waits last a minute
        for client in waiting:
            for member in b'"events"', b'"descriptors"':  # replies arrive in the order of the requests
                _, status, parcel = client.read()
                self.assertEqual((status, member in parcel), (0, True), parcel)

    @needs_second_user
    def test_connections_of_one_user_are_limited(self):
        self.start()
        def flood():
            return [client.send(request(HOST, COUNTS))[1] for client in self.connect(300)].count(309)
        with program_of_another(flood) as refused:
            self.assertEqual(refused, 300 - 64)
            self.wait_until(lambda: self.connections() == 64 + 1)  # 64, and the connection of root that asks
            self.assertEqual(self.service(), "not_loaded")

    @needs_second_user
    def test_refused_requests_log_few_lines_and_keep_service_unloaded(self):
        self.start()
        before = len(self.log())
        for datagram, answer in [
                (request(SERVICE, START), (305, struct.pack("<i", 201))),
                (request(SERVICE, START, b"", TOKEN[HOST]), (305, struct.pack("<i", 1004500108))),
                (request(SERVICE, 1000), (305, b"")), (request(HOST, STATUS), (305, struct.pack("<i", 201))),
                (b"noise", (308, b""))]:
            def flood():
                with Client(self.path) as client:
                    return [client.send(datagram)[1:] for _ in range(200)].count(answer)
            with program_of_another(flood) as refused:
                self.assertEqual(refused, 200)
            self.wait_until(lambda: self.service() != "running")
        self.assertLess(len(self.log()) - before, 4096, self.log())

    @needs_second_user
    def test_refused_request_keeps_service_for_its_holders(self):
        self.start()
        with Client(self.path) as holder:
            holder.ask(SERVICE, START)
            for user, datagram in enumerate((request(SERVICE, START), request(SERVICE, 1000)), NOBODY - 1):
                def ask():
                    with Client(self.path) as client:
                        return client.send(datagram)[1]
                with program_of_another(ask, user) as status:
                    self.assertEqual((status, self.service()), (305, "running"))
        self.wait_until(lambda: self.service() == "idle")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
