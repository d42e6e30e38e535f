"""A device that speaks the link protocol, written in Python from docs/link.md alone, for both sides of a connection.

It is created from the state folder of an enrolled device. A call that waits too long raises TimeoutError. The device sends
no PING, so its sessions must not be idle for 6 s. It uses no pre-shared keys, so each of its handshakes has certificates.
"""

import contextlib
import hashlib
import hmac
import json
import os
import socket
import ssl
import struct
import time

HELLO, OPEN, OPENED, DATA, PING, CLOSE, GOODBYE, STATE, REMOVED, CERTIFICATE = range(1, 11)
START, ANSWER, _, READY = range(1, 5)
COLLABORATION = "vexo.distnet.collaboration"
HOTSPOT = "vexo.communication.network_connectivity_ext.distributed"
DAEMON = "vexo.distnet.daemon"
HOTSPOT_REQUEST = bytes([3, 2, 0])
TIMEOUT = 5  # seconds
# The answers of this device to the requests of another device's daemon.
ANSWERS = {"facts": {"obstacle": "none", "permission": "allowed", "uplink": "mobile", "technology": "5G", "signal_percent": 80,
                     "metered": True, "internet": "yes", "mobile_data_off": False, "battery_percent": None, "charging": False},
           "lease": {"held": False}, "release": {"closed": True}}
P256 = bytes.fromhex("3059301306072a8648ce3d020106082a8648ce3d030107034200")  # SubjectPublicKeyInfo without the key


def derive(link_key, purpose):
    """Returns the first 32 bytes of HKDF without salt."""
    return hmac.digest(hmac.digest(bytes(32), link_key, "sha256"), purpose + b"\x01", "sha256")


def prove(link_key, challenge, first_message):
    return hmac.digest(derive(link_key, b"distnet preamble"), challenge + first_message, "sha256")


def network_id(certificate):
    key = certificate.index(P256)
    return hashlib.sha256(certificate[key:key + len(P256) + 65]).hexdigest()


def masked(key, period, tag, device):
    return bytes(a ^ b for a, b in zip(device, hmac.digest(key, struct.pack("<BQ4s", 2, period, tag), "sha256")))


def make_token(key, period, device):
    """device: the first 4 bytes of its network id."""
    tag = hmac.digest(key, struct.pack("<BQ4s", 1, period, device), "sha256")[:4]
    return tag + masked(key, period, tag, device)


def read_token(key, token, seconds):
    """Returns the device that made the token, or None."""
    for period in range(seconds // 900 - 1, seconds // 900 + 2):
        device = masked(key, period, token[:4], token[4:])
        if make_token(key, period, device) == token:
            return device
    return None


def frame(kind, payload=b""):
    return struct.pack("<IB", len(payload), kind) + payload


def text(value):
    return bytes([len(value.encode())]) + value.encode()


def open_frame(wanted, own):
    return frame(OPEN, bytes([1, 2]) + text(wanted) + text(own))


def start_message(request):
    return struct.pack("<IIII", START, request, 1163, 0) + 2 * struct.pack("<i4s", 0, b"")


def read_exactly(read, size):
    data = b""
    while len(data) < size:
        if not (more := read(size - len(data))):
            raise ConnectionError("closed")
        data += more
    return data


class Link:
    """A connection with TLS and frames."""

    def __init__(self, connection, context, **options):
        self.socket, self.incoming, self.outgoing = connection, ssl.MemoryBIO(), ssl.MemoryBIO()
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.state = None  # the account's state, if the other side sends it
        self.tls = context.wrap_bio(self.incoming, self.outgoing, **options)

    def complete(self, operation, *arguments):
        """Runs a TLS operation, and sends and receives its bytes until it is complete."""
        while True:
            try:
                result = operation(*arguments)
                self.socket.sendall(self.outgoing.read())
                return result
            except ssl.SSLWantReadError:
                self.socket.sendall(self.outgoing.read())
                if not (received := self.socket.recv(65536)):
                    raise ConnectionError("closed") from None
                self.incoming.write(received)

    def begin(self, operation):
        """Starts a TLS operation. Returns its first bytes without sending them."""
        with contextlib.suppress(ssl.SSLError):
            operation()
        return self.outgoing.read()

    def send(self, *frames):
        self.complete(self.tls.write, b"".join(frames))

    def read(self, size):
        return read_exactly(lambda missing: self.complete(self.tls.read, missing), size)

    def receive(self):
        """Returns kind and payload of the next frame that is not PING or STATE. Stores the state of a STATE frame."""
        kind = PING
        while kind in (PING, STATE):
            length, kind = struct.unpack("<IB", self.read(5))
            payload = self.read(length)
            self.state = payload if kind == STATE else self.state
        return kind, payload

    def ask(self, number, kind, **members):
        """Sends a request over a session between daemons. Returns the answer."""
        self.send(frame(DATA, json.dumps({"version": 1, "request": number, "ask": kind, **members}).encode()))
        return json.loads(self.expect(DATA))

    def expect(self, expected):
        kind, payload = self.receive()
        assert kind == expected, f"frame {kind} instead of {expected}"
        return payload

    def close(self):
        with self.socket, contextlib.suppress(OSError):
            self.send(frame(CLOSE))
            self.socket.sendall(self.begin(self.tls.unwrap))
            self.socket.shutdown(socket.SHUT_WR)
            while self.socket.recv(65536):
                pass


class Device:
    def __init__(self, state, name):
        self.name, identity = name, state / "identity"
        self.link_key = bytes.fromhex(json.loads((identity / "link.key").read_text())["key"])
        self.token_key = derive(self.link_key, b"distnet announcement tcp")
        self.state = (identity / "account.state").read_bytes()
        signed = self.state[self.state.index(b'{"version"'):]  # the JSON text, then the signature
        state, end = json.JSONDecoder().raw_decode(signed.decode("latin-1"))
        self.state_number, self.state_digest = state["number"], hashlib.sha256(signed[:end]).digest()[:8]
        self.device_id = (identity / "device.id").read_text().strip()
        self.network_id = network_id(ssl.PEM_cert_to_DER_cert((identity / "device.crt").read_text()))
        self.dialling, self.listening = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT), ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.dialling.check_hostname, self.listening.num_tickets = False, 0
        for context in self.dialling, self.listening:
            context.minimum_version, context.verify_mode = ssl.TLSVersion.TLSv1_3, ssl.CERT_REQUIRED
            context.load_cert_chain(identity / "device.crt", identity / "device.key")
            context.load_verify_locations(identity / "account.crt")

    def announce(self, folder, address, period=None):
        period = period or int(time.time()) // 900
        token = make_token(self.token_key, period, bytes.fromhex(self.network_id[:8])).hex()
        (folder / "new").write_text(json.dumps({"version": 2, "token": token, "transport": "tcp", "address": address}))
        (folder / "new").rename(folder / f"{token}-{os.urandom(4).hex()}.json")

    def hello(self):
        """Returns the HELLO frame of a tablet without an address."""
        return frame(HELLO, struct.pack("<BHq", 2, 2, time.time_ns() // 10**6) + text(self.device_id) + text(self.name) + b"\0" +
                     struct.pack("<Q", self.state_number) + self.state_digest)

    def dial(self, address, *frames):
        """Connects and sends the first frames. Returns the link."""
        link = Link(socket.create_connection(address.rsplit(":", 1), TIMEOUT), self.dialling)
        challenge, first_message = read_exactly(link.socket.recv, 16), link.begin(link.tls.do_handshake)
        link.socket.sendall(prove(self.link_key, challenge, first_message) + first_message)
        link.complete(link.tls.do_handshake)
        link.send(*frames)
        return link

    def greet(self, address):
        """Exchanges HELLO frames and closes the link. Returns the closed link and the HELLO of the other side."""
        link = self.dial(address, self.hello())
        hello = link.expect(HELLO)
        if self.state_number > struct.unpack("<Q", hello[-16:-8])[0]:
            link.send(frame(STATE, self.state))
        link.close()
        return link, hello

    def open(self, address, name, result=0):
        """Opens a session between the servers with this name on both sides. OPENED must have this result. Returns the link."""
        link = self.dial(address, self.hello(), open_frame(name, name))
        link.expect(HELLO)
        opened, = struct.unpack("<i", link.expect(OPENED))
        assert opened == result, f"OPENED {opened} instead of {result}"
        return link

    def leave(self, address):
        self.dial(address, self.hello(), frame(GOODBYE)).close()

    def serve(self, connection, hotspot):
        """Serves a connection until the other side closes it. hotspot: the JSON object of the answer. Returns the purpose of
        the connection (the name of a session server, or the kind of its frame) and the link."""
        connection.settimeout(TIMEOUT)
        link, challenge = Link(connection, self.listening, server_side=True), os.urandom(16)
        connection.sendall(challenge)
        proof, header = read_exactly(connection.recv, 32), read_exactly(connection.recv, 5)
        first_message = header + read_exactly(connection.recv, int.from_bytes(header[3:], "big"))
        assert hmac.compare_digest(proof, prove(self.link_key, challenge, first_message)), "wrong proof"
        link.incoming.write(first_message)
        link.complete(link.tls.do_handshake)
        link.expect(HELLO)
        link.send(self.hello())

        kind, payload = link.receive()
        purpose = payload[3:3 + payload[2]].decode() if kind == OPEN else kind
        if kind == OPEN:
            link.send(frame(OPENED, bytes(4)))
        while kind in (OPEN, DATA):
            kind, payload = link.receive()
            if purpose == COLLABORATION and payload[:4] == struct.pack("<I", START):
                link.send(frame(DATA, struct.pack("<I4si", ANSWER, payload[4:8], 0)))
            elif purpose == HOTSPOT and payload == HOTSPOT_REQUEST:
                answer = json.dumps(hotspot).encode()
                link.send(frame(DATA, struct.pack("<BI", 4, len(answer)) + answer))
            elif purpose == DAEMON and kind == DATA:
                request = json.loads(payload)
                answer = {"version": 1, "request": request["request"], "answer": request["ask"], **ANSWERS[request["ask"]]}
                link.send(frame(DATA, json.dumps(answer).encode()))
        link.close()
        return purpose, link
