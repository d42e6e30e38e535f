#!/usr/bin/env python3
"""Measures two daemons on two machines of one network: how soon they find each other, and what they do while idle.

    bench/pair_bench.py [--build build/release] [--idle SECONDS] [--away SECONDS]

Each machine is a network namespace with a D-Bus daemon, an avahi-daemon and a distnetd on the platform linux. One veth
pair connects them. Needs root. Prints one line per figure. A packet socket counts the packets (packet(7)); wake-ups are
the voluntary context switches of all threads of a daemon (proc(5)).
"""
import argparse
import collections
import contextlib
import ctypes
import json
import pathlib
import signal
import socket
import struct
import subprocess
import tempfile
import threading
import time

ETH_P_ALL = 0x0003
CLONE_NEWNET = 0x40000000
MDNS_PORT = 5353
HOLD = ("mount -t tmpfs tmpfs /run && ip link set lo up && for f in passwd group; do"
        " sed -E 's/^(avahi:x):[0-9]+(:[0-9]+)?/\\1:0\\2/; s/^(avahi:x:0):[0-9]+/\\1:0/' /etc/$f >/run/$f &&"
        " mount --bind /run/$f /etc/$f || exit; done && echo ready && exec sleep infinity")
BUS = ('<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context="default">'
       '<allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>')


class Machine:
    def __init__(self, world, binaries, name, number):
        self.folder, self.binaries, self.name = world / name, binaries, name
        self.folder.mkdir()
        self.address = f"192.0.2.{number}"
        self.bus = f"unix:path={self.folder}/bus"
        self.processes = {}
        self.holder = subprocess.Popen(["unshare", "--net", "--mount", "sh", "-c", HOLD], stdout=subprocess.PIPE,
                                       text=True)
        assert self.holder.stdout.readline() == "ready\n"
        (self.folder / "bus.conf").write_text(BUS)
        (self.folder / "avahi.conf").write_text(f"[server]\nhost-name={name}\n[publish]\npublish-addresses=no\n")
        (self.folder / "policy.json").write_text(
            '{"entries": [{"user": "root", "token_type": "native", "system_app": true}]}')
        (self.folder / "distnetd.json").write_text(json.dumps({
            "platform": "linux", "state_dir": str(self.folder), "device": {"name": name, "type": "laptop"},
            "softbus": {"listen": "0.0.0.0", "port": 11630}, "linux": {"bus": self.bus},
            "access": {"policy": "policy.json"}}))

    def enter(self, *command):
        return ["nsenter", "--target", str(self.holder.pid), "--net", "--mount", *map(str, command)]

    def run(self, *command):
        return subprocess.run(self.enter(*command), check=True, capture_output=True, text=True).stdout

    def begin(self, name, *command):
        log = open(self.folder / f"{name}.log", "a")
        self.processes[name] = subprocess.Popen(self.enter(*command), stdout=log, stderr=log)

    def end(self, name, number=signal.SIGTERM):
        process = self.processes.pop(name)
        process.send_signal(number)
        process.wait()

    def start_daemons(self):
        self.begin("bus", "dbus-daemon", "--nofork", "--nosyslog", f"--address={self.bus}",
                   f"--config-file={self.folder}/bus.conf")
        wait_until(lambda: (self.folder / "bus").exists())
        self.begin("avahi", "env", f"DBUS_SYSTEM_BUS_ADDRESS={self.bus}", "avahi-daemon", "--no-drop-root",
                   "--no-chroot", "--no-rlimits", "--no-proc-title", "-f", self.folder / "avahi.conf")
        wait_until(lambda: "startup complete" in (self.folder / "avahi.log").read_text())

    def start_distnet(self):
        self.begin("distnetd", self.binaries / "distnetd", "--config", self.folder / "distnetd.json")

    def account(self, *words):
        self.run(self.binaries / "distnetctl", "account", *words, "--state", self.folder)

    def sees(self, other, address=""):
        try:
            answer = json.loads(self.run(self.binaries / "distnetctl", "--json", "--socket", self.folder / "ipc.sock",
                                         "devices"))
        except subprocess.CalledProcessError:
            return False
        return any(device["name"] == other and device["online"] and device["address"].startswith(address)
                   for device in answer["devices"])

    def move(self, address):
        self.run("ip", "address", "replace", f"{address}/24", "dev", "wire")
        self.run("ip", "address", "del", f"{self.address}/24", "dev", "wire")
        self.run("ip", "address", "replace", f"{address}/24", "dev", "wire")  # the "del" above also removed it
        self.address = address

    def wake_ups(self):
        total = 0
        for task in pathlib.Path(f"/proc/{self.processes['distnetd'].pid}/task").iterdir():
            for line in (task / "status").read_text().splitlines():
                total += int(line.split()[1]) if line.startswith("voluntary") else 0
        return total


def wait_until(condition, limit=90.0):
    began = time.monotonic()
    while not condition():
        if time.monotonic() - began > limit:
            return None
        time.sleep(0.02)
    return time.monotonic() - began


def report(what, seconds):
    print(f"{what:64} {'not within 90 s' if seconds is None else f'{seconds:.2f} s'}", flush=True)


def enter_namespace(file):
    if ctypes.CDLL(None, use_errno=True).setns(file.fileno(), CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "setns")


class Wire:
    """Counts packets of one interface of a namespace, by what they are."""

    def __init__(self, machine, interface):
        with open(f"/proc/{machine.holder.pid}/ns/net") as namespace, open("/proc/self/ns/net") as own:
            enter_namespace(namespace)
            self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_ALL))
            self.socket.bind((interface, 0))
            enter_namespace(own)
        self.counts = collections.Counter()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        with contextlib.suppress(OSError):  # recv fails when the veth pair is removed
            while True:
                self.counts[self.kind(self.socket.recv(65535))] += 1

    @staticmethod
    def kind(frame):
        ether = struct.unpack_from("!H", frame, 12)[0]
        if ether == 0x0800:
            protocol, at = frame[23], 14 + 4 * (frame[14] & 15)
        elif ether == 0x86DD:
            protocol, at = frame[20], 54
        else:
            return "ARP and the like"
        if protocol in (6, 17):
            ports = struct.unpack_from("!HH", frame, at)
            return "multicast DNS" if MDNS_PORT in ports and protocol == 17 else "ours" if protocol == 6 else "other"
        return "ICMP and IGMP"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/release", type=pathlib.Path)
    parser.add_argument("--idle", default=600, type=float, metavar="SECONDS")
    parser.add_argument("--away", default=120, type=float, metavar="SECONDS")
    options = parser.parse_args()
    binaries = (options.build / "bin").resolve()
    with tempfile.TemporaryDirectory() as folder:
        laptop, phone = (Machine(pathlib.Path(folder), binaries, name, number)
                         for number, name in enumerate(("laptop", "phone"), start=1))
        machines = (laptop, phone)
        try:
            laptop.run("ip", "link", "add", "wire", "type", "veth", "peer", "name", "wire", "netns", phone.holder.pid)
            for machine in machines:
                machine.run("ip", "address", "add", f"{machine.address}/24", "dev", "wire")
                machine.run("ip", "link", "set", "wire", "up")
                machine.start_daemons()
            laptop.account("create", "bench", "--device-name", "laptop")
            request, answer = pathlib.Path(folder) / "phone.csr", pathlib.Path(folder) / "phone.pem"
            phone.account("request", request, "--device-name", "phone")
            laptop.account("admit", request, "-o", answer)
            phone.account("install", answer)
            laptop.start_distnet()
            wait_until(lambda: (laptop.folder / "ipc.sock").exists())
            time.sleep(3)
            measure(laptop, phone, options)
        finally:
            for machine in machines:
                for name in list(machine.processes)[::-1]:
                    machine.end(name)
                machine.holder.kill()


def measure(laptop, phone, options):
    phone.start_distnet()
    report("a device that was never met, from its start", wait_until(lambda: laptop.sees("phone")))
    for what in ("again after a restart of the phone", "and once more"):
        phone.end("distnetd")
        report("gone after the phone's goodbye", wait_until(lambda: not laptop.sees("phone")))
        phone.start_distnet()
        report(what, wait_until(lambda: laptop.sees("phone")))
    laptop.end("distnetd")
    laptop.start_distnet()
    report("after a restart of the laptop", wait_until(lambda: laptop.sees("phone")))
    phone.move("192.0.2.77")
    report("at its new address", wait_until(lambda: laptop.sees("phone", "192.0.2.77:")))
    laptop.end("distnetd")
    phone.move("192.0.2.78")
    laptop.start_distnet()
    report("at its new address, after a restart of the laptop",
           wait_until(lambda: laptop.sees("phone", "192.0.2.78:")))
    phone.end("distnetd")
    time.sleep(options.away)
    phone.start_distnet()
    report(f"after the phone was off for {options.away:.0f} s", wait_until(lambda: laptop.sees("phone")))
    time.sleep(15)
    wire = Wire(laptop, "wire")
    before = [machine.wake_ups() for machine in (laptop, phone)]
    time.sleep(options.idle)
    after = [machine.wake_ups() for machine in (laptop, phone)]
    print(f"idle for {options.idle:.0f} s: packets on the wire: {dict(wire.counts)}; ours: {wire.counts['ours']}")
    print(f"  wake-ups of the daemons: laptop {after[0] - before[0]}, phone {after[1] - before[1]}")


if __name__ == "__main__":
    main()
